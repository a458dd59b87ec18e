#pragma once

namespace fernwahrung {

/// What the helper's exit status says.
enum class ExitCode : int {
  done = 0,
  failed = 1,      // what was begun has been rolled back, or the message says otherwise
  usage = 2,       // unknown command, option or reference
  lockBusy = 3,    // another operation holds the lock
  blocked = 4,     // the check found blockers; nothing was begun
  cancelled = 130  // rolled back
};

}  // namespace fernwahrung
