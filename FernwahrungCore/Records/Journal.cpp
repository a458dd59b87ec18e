#include "Records/Journal.h"

#include "Foundation/Clock.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Platform/Directory.h"
#include "Platform/FileChanges.h"
#include "Records/AtomicWrite.h"
#include "Records/CaseNames.h"

#include <algorithm>
#include <fmt/format.h>
#include <tuple>

namespace fernwahrung {

namespace {

using KindName = CaseName<OperationKind>;

constexpr std::array kindNames = {
    KindName{OperationKind::relocate, "relocate", "Fernwahren"},
    KindName{OperationKind::restore, "restore", "Zurückholen"},
    KindName{OperationKind::resize, "resize", "Größe ändern"},
    KindName{OperationKind::compact, "compact", "Komprimieren"},
    KindName{OperationKind::protect, "protect", "Schutz aktivieren"},
    KindName{OperationKind::move, "move", "Speicherort umziehen"},
    KindName{OperationKind::resolveNotEmpty, "resolveNotEmpty", "Ordnerinhalt auflösen"},
};

std::string fileName(const Journal& journal) {
  return journal.id.text() + ".json";
}

std::map<std::string, std::string> textsByKey(const Json::Value& object, const char* key) {
  std::map<std::string, std::string> texts;
  for (const auto& [name, text] : Json::object(object, key).items()) {
    if (!text.is_string()) throw JsonError(fmt::format("Der Wert von „{}“ enthält anderes als Texte.", key));
    texts[name] = text.get<std::string>();
  }
  return texts;
}

std::vector<std::string> namesOrNone(const std::string& directory) {
  try {
    return Platform::names(directory);
  } catch (const std::exception&) {
    return {};
  }
}

/// All journals of a folder that can be read, in no order. One that vanishes or is damaged costs only itself.
std::vector<Journal> readAll(const std::string& directory) {
  std::vector<Journal> journals;
  for (const auto& name : namesOrNone(directory)) {
    if (PathString::extension(name) != "json") continue;
    try {
      journals.push_back(journalFromJson(Json::parse(FileOps::readFile(PathString::join(directory, name)))));
    } catch (const std::exception&) {
      continue;
    }
  }
  return journals;
}

/// By start; the identifier makes the order of two of the same second a fixed one.
bool startedEarlier(const Journal& left, const Journal& right) {
  return std::tie(left.startedAt, left.id) < std::tie(right.startedAt, right.id);
}

template <typename Action>
void ignoringFailure(Action action) noexcept {
  try {
    action();
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace

std::string rawValue(OperationKind kind) {
  return nameOf(kindNames, kind).rawValue;
}

std::string title(OperationKind kind) {
  return nameOf(kindNames, kind).title;
}

std::optional<OperationKind> operationKind(const std::string& rawValue) {
  return caseOf(kindNames, rawValue);
}

Journal::Journal(OperationKind operationKind, Relocation snapshot)
    : id(Uuid::random()), kind(operationKind), relocation(std::move(snapshot)), startedAt(Clock::now()) {
}

std::optional<std::string> Journal::result() const {
  if (!finished) return std::nullopt;
  return path("ergebnis").value_or("erfolgreich");
}

bool Journal::has(const std::string& step) const {
  return std::find(completedSteps.begin(), completedSteps.end(), step) != completedSteps.end();
}

std::optional<std::string> Journal::path(const std::string& key) const {
  const auto found = paths.find(key);
  return found == paths.end() ? std::nullopt : std::optional(found->second);
}

void Journal::save() const {
  const auto directory = Paths::journalDirectory();
  Paths::ensure(directory);
  FileOps::atomicWrite(Json::print(toJson(*this)), PathString::join(directory, fileName(*this)), false);
}

void Journal::complete(const std::string& step) {
  completedSteps.push_back(step);
  Log::write(fmt::format("Schritt erledigt [{}]: {}", rawValue(kind), step));
  save();
}

void Journal::record(const std::string& key, const std::string& value) {
  paths[key] = value;
  save();
}

void Journal::close() noexcept {
  // Each step on its own: the operation has ended, and a journal left in the wrong place harms less than a
  // failed success.
  ignoringFailure([&] {
    finished = true;
    finishedAt = Clock::now();
    save();
  });
  ignoringFailure([] { Paths::ensure(Paths::finishedJournalDirectory()); });
  ignoringFailure([&] {
    const auto open = Paths::journalDirectory();
    const auto closed = Paths::finishedJournalDirectory();
    if (Platform::rename(PathString::join(open, fileName(*this)),
                         PathString::join(closed, fileName(*this)))) {
      return;
    }
    static_cast<void>(Platform::flushDirectory(open));
    static_cast<void>(Platform::flushDirectory(closed));
  });
}

std::vector<Journal> Journal::unfinished() {
  auto journals = readAll(Paths::journalDirectory());
  std::erase_if(journals, [](const Journal& journal) { return journal.finished; });
  std::sort(journals.begin(), journals.end(), startedEarlier);
  return journals;
}

std::vector<Journal> Journal::finishedJournals(std::size_t limit) {
  auto journals = readAll(Paths::finishedJournalDirectory());
  std::sort(journals.rbegin(), journals.rend(), startedEarlier);
  if (journals.size() > limit)
    journals.erase(journals.begin() + static_cast<std::ptrdiff_t>(limit), journals.end());
  return journals;
}

Json::Value toJson(const Journal& journal) {
  Json::Value value = {
      {"id", journal.id.text()},
      {"kind", rawValue(journal.kind)},
      {"relocation", toJson(journal.relocation)},
      {"completedSteps", journal.completedSteps},
      {"paths", journal.paths},
      {"startedAt", Dates::iso8601(journal.startedAt)},
      {"finished", journal.finished},
  };
  if (journal.finishedAt) value["finishedAt"] = Dates::iso8601(*journal.finishedAt);
  return value;
}

Journal journalFromJson(const Json::Value& value) {
  Journal journal;
  journal.id = Json::uuid(value, "id");
  journal.kind = decodedCase(kindNames, value, "kind");
  journal.relocation = relocationFromJson(Json::object(value, "relocation"));
  journal.completedSteps = Json::texts(value, "completedSteps");
  journal.paths = textsByKey(value, "paths");
  journal.startedAt = Json::date(value, "startedAt");
  journal.finished = Json::flag(value, "finished");
  journal.finishedAt = Json::optionalDate(value, "finishedAt");
  return journal;
}

}  // namespace fernwahrung
