#include "helper/Help.h"

#include "helper/CommandTable.h"
#include "helper/TextColumns.h"

#include <algorithm>
#include <fmt/format.h>

namespace fernwahrung {

std::string overview() {
  int widest = 0;
  for (const CommandEntry* entry : commandTable()) widest = std::max(widest, columns(entry->name));
  std::string commands;
  for (const CommandEntry* entry : commandTable())
    commands += fmt::format("  {}  {}\n", padded(entry->name, widest), entry->summary);
  return fmt::format(
      "fernwahrung – lagert Ordner auf ein externes Laufwerk aus und hält sie an ihrem Platz erreichbar.\n"
      "\n"
      "Aufruf: fernwahrung BEFEHL [OPTIONEN]\n"
      "\n"
      "{}\n"
      "Hilfe zu einem Befehl: fernwahrung help BEFEHL\n"
      "Version: fernwahrung --version\n"
      "\n"
      "Rückgabewerte: 0 erledigt · 1 fehlgeschlagen und zurückgerollt · 2 falsch aufgerufen ·\n"
      "3 ein anderer Vorgang läuft · 4 die Prüfung fand Hindernisse · 130 abgebrochen\n",
      commands);
}

std::string commandHelp(const CommandEntry& entry, const Arguments& arguments) {
  const std::string details = entry.details.empty() ? "" : fmt::format("{}\n\n", entry.details);
  return fmt::format("fernwahrung {0} – {1}\n\nAufruf: fernwahrung {0} {2}\n\n{3}{4}", entry.name,
                     entry.summary, arguments.synopsis(), details, arguments.descriptions());
}

}  // namespace fernwahrung
