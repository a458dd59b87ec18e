#pragma once

#include "helper/Command.h"

#include <string>
#include <vector>

namespace fernwahrung {

extern const CommandEntry checkCommand;
extern const CommandEntry relocateCommand;
extern const CommandEntry restoreCommand;
extern const CommandEntry listCommand;
extern const CommandEntry statusCommand;
extern const CommandEntry mountCommand;
extern const CommandEntry unmountCommand;
extern const CommandEntry mountAllCommand;
extern const CommandEntry journalsCommand;
extern const CommandEntry rollbackCommand;
extern const CommandEntry reportCommand;
extern const CommandEntry capacityCommand;
extern const CommandEntry pauseCommand;
extern const CommandEntry settingsCommand;

/// All commands in the order of the help. Each stands in a file of its own below commands/.
const std::vector<const CommandEntry*>& commandTable();
/// Nothing for an unknown name.
const CommandEntry* findCommand(const std::string& name);

}  // namespace fernwahrung
