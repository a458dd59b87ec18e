#pragma once

#include "helper/Arguments.h"
#include "helper/ExitCode.h"
#include "helper/Session.h"

#include <memory>
#include <string_view>

namespace fernwahrung {

/// One run of a command. What it accepts is declared first; parsing fills its members.
class Command {
 public:
  virtual ~Command() = default;
  virtual void declare(Arguments& arguments) = 0;
  /// What it throws becomes a message and an exit status in one place (Failure.h).
  virtual ExitCode run(Session& session) = 0;
};

/// A row of the table of commands.
struct CommandEntry {
  std::string_view name;
  std::string_view summary;  // a line in the list of commands
  std::string_view details;  // what its help adds; may be empty
  std::unique_ptr<Command> (*make)();
};

template <typename Type>
std::unique_ptr<Command> makeCommand() {
  return std::make_unique<Type>();
}

}  // namespace fernwahrung
