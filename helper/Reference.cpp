#include "helper/Reference.h"

#include "helper/Failure.h"
#include "helper/PathArgument.h"
#include "helper/TextColumns.h"

#include "Foundation/Dates.h"
#include "Foundation/Unicode.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <limits>

namespace fernwahrung::Reference {

namespace {

constexpr std::size_t leastBeginning = 4;
constexpr std::size_t shownCandidates = 20;
constexpr std::size_t shortLength = 8;

bool beginsWith(const Uuid& id, const std::string& reference) {
  return reference.size() >= leastBeginning && id.text().starts_with(Unicode::uppercased(reference));
}

std::string line(const Relocation& relocation) {
  return fmt::format("  {}  {}  {}", relocation.id.text(), visible(relocation.name),
                     visible(relocation.sourcePath));
}

std::string line(const Journal& journal) {
  return fmt::format("  {}  {}  {}  {}", journal.id.text(), Dates::german(journal.startedAt),
                     title(journal.kind), visible(journal.relocation.name));
}

template <typename Record>
std::vector<const Record*> pointers(const std::vector<Record>& records) {
  std::vector<const Record*> result;
  for (const Record& record : records) result.push_back(&record);
  return result;
}

template <typename Record>
std::string list(const std::vector<const Record*>& records) {
  std::string text;
  for (std::size_t i = 0; i < std::min(records.size(), shownCandidates); ++i)
    text += "\n" + line(*records[i]);
  if (records.size() > shownCandidates)
    text += fmt::format("\n  … und {} weitere", records.size() - shownCandidates);
  return text;
}

template <typename Record>
const Record& only(const std::vector<Record>& records, const std::string& reference, const std::string& none,
                   const std::function<bool(const Record&)>& matches) {
  std::vector<const Record*> found;
  for (const Record& record : records) {
    if (Uuid::parse(reference) == record.id) return record;
    if (matches(record)) found.push_back(&record);
  }
  if (found.size() == 1) return *found.front();
  const std::string shown = visible(reference);
  if (found.size() > 1)
    throw UsageError(fmt::format("„{}“ ist nicht eindeutig. Es passen:{}", shown, list(found)));
  if (records.empty()) throw UsageError(fmt::format("„{}“ ist unbekannt. {}", shown, none));
  throw UsageError(fmt::format("„{}“ ist unbekannt. Bekannt sind:{}", shown, list(pointers(records))));
}

}  // namespace

const Relocation& find(const std::vector<Relocation>& relocations, const std::string& reference) {
  const std::string name = Unicode::precomposed(reference);
  // A name alone is no path: it would name a folder by the accident of the working folder.
  const bool isPath = reference.find('/') != std::string::npos || reference == "." || reference == "..";
  const std::string path = isPath ? FileOps::normalize(absolutePath(reference)) : "";
  return only<Relocation>(
      relocations, reference, "Es ist nichts ferngewahrt.", [&](const Relocation& relocation) {
        return beginsWith(relocation.id, reference) || Unicode::precomposed(relocation.name) == name ||
               (isPath && FileOps::normalize(relocation.sourcePath) == path);
      });
}

const Journal& find(const std::vector<Journal>& journals, const std::string& reference) {
  return only<Journal>(journals, reference, "Es gibt keinen solchen Vorgang.",
                       [&](const Journal& journal) { return beginsWith(journal.id, reference); });
}

std::vector<Journal> allJournals() {
  std::vector<Journal> journals = Journal::unfinished();
  const std::vector<Journal> finished = Journal::finishedJournals(std::numeric_limits<std::size_t>::max());
  journals.insert(journals.end(), finished.begin(), finished.end());
  return journals;
}

std::string candidates(const std::vector<Journal>& journals) {
  return list(pointers(journals));
}

std::vector<std::string> shortIdentifiers(const std::vector<Uuid>& identifiers) {
  std::vector<std::string> result;
  for (const Uuid& id : identifiers) {
    std::size_t length = shortLength;
    for (const Uuid& other : identifiers) {
      if (other == id) continue;
      const auto [mine, theirs] = std::mismatch(id.text().begin(), id.text().end(), other.text().begin());
      length = std::max(length, static_cast<std::size_t>(mine - id.text().begin()) + 1);
    }
    result.push_back(id.text().substr(0, length));
  }
  return result;
}

}  // namespace fernwahrung::Reference
