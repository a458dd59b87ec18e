#include "Places.h"

#include <cerrno>
#include <exception>
#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung::contract {
namespace {

const passwd& nobody() {
  const passwd* record = ::getpwnam("nobody");
  if (!record) throw std::system_error(ENOENT, std::generic_category(), "user nobody");
  return *record;
}

std::string tell(const std::function<std::string()>& work) {
  try {
    return work();
  } catch (const std::exception& error) {
    return std::string("threw: ") + error.what();
  }
}

std::string becomeAndTell(const passwd& user, const std::function<std::string()>& work) {
  if (::setgroups(0, nullptr) != 0 || ::setgid(user.pw_gid) != 0 || ::setuid(user.pw_uid) != 0) {
    return "could not become " + std::string(user.pw_name);
  }
  return tell(work);
}

}  // namespace

std::string asOrdinaryUser(const std::function<std::string()>& work) {
  if (::geteuid() != 0) return tell(work);
  const passwd user = nobody();
  int ends[2];
  if (::pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  const pid_t child = ::fork();
  if (child == 0) {
    const std::string text = becomeAndTell(user, work);
    const bool told = ::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::_exit(told ? 0 : 1);
  }
  ::close(ends[1]);
  std::string text;
  char buffer[1024];
  for (ssize_t count; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  int status = 0;
  if (::waitpid(child, &status, 0) != child || status != 0)
    text += " (the child ended with " + std::to_string(status) + ")";
  return text;
}

void giveToOrdinaryUser(const std::string& path) {
  if (::geteuid() == 0 && ::lchown(path.c_str(), nobody().pw_uid, nobody().pw_gid) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

}  // namespace fernwahrung::contract
