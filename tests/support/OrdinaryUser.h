// Root may read and write everything; this is for what depends on permissions.
#pragma once

#include <cerrno>
#include <exception>
#include <functional>
#include <iostream>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung {

inline constexpr uid_t ordinaryUser = 65534;

/// Runs the check in a child that has let go of root's rights, if this process has them; true when it
/// returned true there. An exception is told on standard error.
inline bool holdsForOrdinaryUser(const std::function<bool()>& check) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (::geteuid() == 0 && (::setgid(ordinaryUser) != 0 || ::setuid(ordinaryUser) != 0)) ::_exit(3);
    bool holds = false;
    try {
      holds = check();
    } catch (const std::exception& error) {
      std::cerr << "thrown for an ordinary user: " << error.what() << std::endl;
    }
    ::_exit(holds ? 0 : 1);
  }
  int status = -1;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// The item, not what lies in it.
inline void giveToOrdinaryUser(const std::string& path) {
  if (::geteuid() == 0 && ::lchown(path.c_str(), ordinaryUser, ordinaryUser) != 0)
    throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace fernwahrung
