// launchctl print, which tells whether an agent is loaded.
#include "Foundation/Shell.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace fernwahrung {
namespace {

ShellResult print(const std::string& service) {
  return Shell::run("/bin/launchctl", {"print", "gui/" + std::to_string(::getuid()) + service},
                    {.check = false, .log = false});
}

TEST(Launchd, AnAgentThatIsNotLoadedHasAnExitStatus) {
  EXPECT_NE(print("/de.fernwahrung.selftest.is-not-there").status, 0);
}

TEST(Launchd, TheUsersOwnDomainIsPrinted) {
  const ShellResult domain = print("");
  if (domain.status != 0) GTEST_SKIP() << "this user has no graphical session: " << domain.stderrText;
  EXPECT_NE(domain.stdoutBytes.find("services = {"), std::string::npos);
}

}  // namespace
}  // namespace fernwahrung
