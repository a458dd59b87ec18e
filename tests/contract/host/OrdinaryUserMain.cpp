// Runs the tests as an ordinary user: root becomes one first. A name space for mounts of its own makes FUSE's
// device usable on machines that keep it to root, and takes all that is still mounted away when the process
// ends.
#include "support/TempFolder.h"

#include <cstdio>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

constexpr const char* fuseDevice = "/dev/fuse";

/// Best effort: where it fails the tests tell that the device may not be used.
void openFuseToAll() {
  if (::unshare(CLONE_NEWNS) != 0) return;
  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return;
  struct stat device;
  if (::stat(fuseDevice, &device) != 0) return;
  const fernwahrung::TempFolder folder;
  const std::string node = folder / "fuse";
  if (::mknod(node.c_str(), S_IFCHR, device.st_rdev) != 0 || ::chmod(node.c_str(), 0666) != 0) return;
  ::mount(node.c_str(), fuseDevice, nullptr, MS_BIND, nullptr);
}

bool becomeNobody() {
  const passwd* nobody = ::getpwnam("nobody");
  if (!nobody) return false;
  const uid_t user = nobody->pw_uid;
  const gid_t group = nobody->pw_gid;
  // Without the last call the process could not be looked at by programs of the same user.
  return ::setgroups(0, nullptr) == 0 && ::setgid(group) == 0 && ::setuid(user) == 0 &&
         ::prctl(PR_SET_DUMPABLE, 1) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (::geteuid() == 0 && !testing::GTEST_FLAG(list_tests)) {
    openFuseToAll();
    if (!becomeNobody()) {
      std::perror("becoming an ordinary user");
      return 1;
    }
  }
  return RUN_ALL_TESTS();
}
