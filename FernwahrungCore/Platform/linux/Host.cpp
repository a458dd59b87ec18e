#include "Foundation/Errors.h"
#include "Platform/SystemCalls.h"

#include <cerrno>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace fernwahrung::System {

std::string homeDirectory() {
  passwd record;
  passwd* found = nullptr;
  std::vector<char> buffer(4096);
  int error = 0;
  while ((error = ::getpwuid_r(::getuid(), &record, buffer.data(), buffer.size(), &found)) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  if (!found) {
    throw SystemError("Der Benutzerordner ist nicht bekannt", std::to_string(::getuid()),
                      error ? error : ENOENT);
  }
  return record.pw_dir;
}

}  // namespace fernwahrung::System
