#include "Foundation/OperationLock.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Paths.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace fernwahrung {

LockBusyError::LockBusyError()
    : FernwahrungError(Case::message, {},
                       "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.") {
}

OperationLock::OperationLock() {
  BlockingCalls::announce("lock");
  Paths::ensure(Paths::supportDirectory());
  // Closed on exec: a program started during the operation must not keep the lock when we die.
  fd_ = FileDescriptor(::open(Paths::lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  if (!fd_) throw FernwahrungError::message("Sperrdatei kann nicht geöffnet werden.");
  if (::flock(fd_.get(), LOCK_EX | LOCK_NB) != 0) throw LockBusyError();
}

OperationLock::~OperationLock() {
  // Before the descriptor's own close: a process forked meanwhile may share the open file description.
  ::flock(fd_.get(), LOCK_UN);
}

bool OperationLock::isHeldElsewhere() {
  BlockingCalls::announce("lock");
  const FileDescriptor fd(::open(Paths::lockFile().c_str(), O_RDWR | O_CLOEXEC));
  if (!fd) return false;
  if (::flock(fd.get(), LOCK_EX | LOCK_NB) == 0) {
    ::flock(fd.get(), LOCK_UN);
    return false;
  }
  return errno == EWOULDBLOCK;
}

}  // namespace fernwahrung
