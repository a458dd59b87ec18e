// The persistent record of one running operation. It is rewritten before anything is made under a new name
// and after each completed step, so it may be one step behind the disk and is never ahead of it.
//
//   Journal journal(OperationKind::relocate, relocation);
//   journal.save();
//   journal.record("image", path);      // the name first …
//   DiskImage::create(path, …);         // … then the thing
//   journal.complete("imageCreated");
//   journal.close();
#pragma once

#include "Records/Relocation.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

enum class OperationKind { relocate, restore, resize, compact, protect, move, resolveNotEmpty };

std::string rawValue(OperationKind kind);
std::string title(OperationKind kind);
std::optional<OperationKind> operationKind(const std::string& rawValue);

struct Journal {
  Journal() = default;
  /// A new identifier, started now, no steps; writes nothing.
  Journal(OperationKind kind, Relocation relocation);

  Uuid id;
  OperationKind kind = OperationKind::relocate;
  Relocation relocation;  // as the operation saw it when it began
  std::vector<std::string> completedSteps;
  std::map<std::string, std::string> paths;
  Date startedAt;
  bool finished = false;
  std::optional<Date> finishedAt;

  /// Nothing while open; else paths["ergebnis"], or "erfolgreich".
  std::optional<std::string> result() const;
  bool has(const std::string& step) const;
  /// The value under the key, if it was recorded.
  std::optional<std::string> path(const std::string& key) const;

  /// Writes "{id}.json" into Paths::journalDirectory. Throws.
  void save() const;
  /// Appends the step, logs "Schritt erledigt [{kind}]: {step}", saves. Throws; the step then counts as
  /// failed.
  void complete(const std::string& step);
  /// Sets a path or fact, saves. Throws.
  void record(const std::string& key, const std::string& value);
  /// Marks it finished and moves its file to Paths::finishedJournalDirectory. Never throws.
  void close() noexcept;

  /// Open journals, oldest first. Damaged files are passed over; no folder is no journals.
  static std::vector<Journal> unfinished();
  /// Closed journals, newest first, at most `limit`.
  static std::vector<Journal> finishedJournals(std::size_t limit);

  bool operator==(const Journal&) const = default;
};

Json::Value toJson(const Journal& journal);
Journal journalFromJson(const Json::Value& value);

}  // namespace fernwahrung
