#include "helper/CommandTable.h"

#include <algorithm>

namespace fernwahrung {

const std::vector<const CommandEntry*>& commandTable() {
  static const std::vector<const CommandEntry*> table = {
      &checkCommand,  &relocateCommand, &restoreCommand,  &listCommand,     &statusCommand,
      &mountCommand,  &unmountCommand,  &mountAllCommand, &journalsCommand, &rollbackCommand,
      &reportCommand, &capacityCommand, &pauseCommand,    &settingsCommand,
  };
  return table;
}

const CommandEntry* findCommand(const std::string& name) {
  const auto& table = commandTable();
  const auto found = std::find_if(table.begin(), table.end(),
                                  [&](const CommandEntry* entry) { return entry->name == name; });
  return found == table.end() ? nullptr : *found;
}

}  // namespace fernwahrung
