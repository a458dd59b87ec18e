#include "helper/JournalText.h"

#include "helper/Reference.h"
#include "helper/Table.h"

#include "Foundation/Dates.h"

#include <fmt/format.h>

namespace fernwahrung::JournalText {

namespace {

constexpr auto rolledBack = "zurückgerollt";

std::string symbol(const Journal& journal) {
  const auto result = journal.result();
  if (!result) return "✗";
  return *result == rolledBack ? "↩" : "✓";
}

std::string outcome(const Journal& journal) {
  if (!journal.finishedAt) return "unterbrochen";
  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(*journal.finishedAt - journal.startedAt).count();
  const std::string time =
      seconds > 59 ? fmt::format("{} min {} s", seconds / 60, seconds % 60) : fmt::format("{} s", seconds);
  return fmt::format("{} · {}", journal.result().value_or("unterbrochen"), time);
}

}  // namespace

std::string table(const std::vector<Journal>& unfinished, const std::vector<Journal>& finished) {
  std::vector<Journal> journals = unfinished;
  journals.insert(journals.end(), finished.begin(), finished.end());
  if (journals.empty()) return "Noch keine Vorgänge.\n";

  std::vector<Uuid> all;
  for (const Journal& journal : journals) all.push_back(journal.id);
  const auto identifiers = Reference::shortIdentifiers(all);
  Table table({" ", "ID", "Begonnen", "Vorgang", "Name", "Ergebnis", "Ordner"});
  for (std::size_t i = 0; i < journals.size(); ++i)
    table.row({symbol(journals[i]), identifiers[i], Dates::german(journals[i].startedAt),
               title(journals[i].kind), journals[i].relocation.name, outcome(journals[i]),
               journals[i].relocation.sourcePath});
  return table.text();
}

}  // namespace fernwahrung::JournalText
