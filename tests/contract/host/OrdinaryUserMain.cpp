// Runs the tests as an ordinary user: root becomes one first, in name spaces of its own for mounts and
// processes. They make FUSE's device usable on machines that keep it to root, and take all away that is still
// mounted or running when the tests end, however they end.
#include "support/Program.h"
#include "support/TempFolder.h"

#include "Foundation/PathString.h"
#include "Platform/linux/MountTable.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// Asked by the address sanitizer where it is built in: its search for leaks cannot attach to a process in a
/// name space of its own. The same tests are searched when they run as root.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0";
}

namespace fernwahrung {
namespace {

constexpr const char* fuseDevice = "/dev/fuse";

/// Best effort: where it fails the tests tell that the device may not be used.
void openFuseToAll() {
  struct stat device;
  if (::stat(fuseDevice, &device) != 0) return;
  const TempFolder folder;
  const std::string node = folder / "fuse";
  if (::mknod(node.c_str(), S_IFCHR, device.st_rdev) != 0 || ::chmod(node.c_str(), 0666) != 0) return;
  ::mount(node.c_str(), fuseDevice, nullptr, MS_BIND, nullptr);
}

/// A name space begins with a copy of all mounts, which would keep the images and drives of other tests busy.
void letGoOfOthersMounts() {
  const std::string temporary = std::filesystem::temp_directory_path();
  const auto mounts = MountTable::read();
  for (auto mount = mounts.rbegin(); mount != mounts.rend(); ++mount) {
    const std::string& place = mount->mountPoint;
    if (place != temporary &&
        (PathString::isInside(place, temporary) || PathString::isInside(place, "/Volumes")))
      ::umount2(place.c_str(), MNT_DETACH);
  }
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

int runAsNobody() {
  if (!becomeNobody()) {
    std::perror("becoming an ordinary user");
    return 1;
  }
  return RUN_ALL_TESTS();
}

bool reachesThePrograms(const std::string& folder) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(becomeNobody() && ::access((folder + "/host-tools").c_str(), X_OK) == 0 ? 0 : 1);
  int status = -1;
  return ::waitpid(child, &status, 0) == child && status == 0;
}

/// The same tests again from a place that the user can reach, which a folder of root's may not be.
[[noreturn]] void runCopiesAsNobody(const std::string& built, const std::string& folder, char** argv) {
  const std::string program = copyProgramWithTools(built + "/contract-host-user", folder);
  if (becomeNobody() && ::chdir("/") == 0) ::execv(program.c_str(), argv);
  std::perror(program.c_str());
  ::_exit(1);
}

int statusOf(pid_t child) {
  for (int status = 0;;) {
    // The first process of a name space inherits the orphans of all others.
    const pid_t ended = ::wait(&status);
    if (ended < 0 && errno != EINTR) return 1;
    if (ended == child) return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }
}

/// As the first process of the name space: all others end with it, and it ends with the one that started it.
int superviseTests(char** argv) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::mount("proc", "/proc", "proc", 0, nullptr);
  letGoOfOthersMounts();
  openFuseToAll();
  const std::string built = PathString::parent(std::filesystem::read_symlink("/proc/self/exe").string());
  const bool isReachable = reachesThePrograms(built);
  const TempFolder copies;
  if (!isReachable) ::chmod(copies.path().c_str(), 0755);
  const pid_t tests = ::fork();
  if (tests == 0 && !isReachable) runCopiesAsNobody(built, copies.path(), argv);
  if (tests == 0) std::exit(runAsNobody());
  return statusOf(tests);
}

int runInNameSpaces(char** argv) {
  if (::unshare(CLONE_NEWNS | CLONE_NEWPID) != 0) return runAsNobody();
  ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  const pid_t supervisor = ::fork();
  return supervisor == 0 ? superviseTests(argv) : statusOf(supervisor);
}

}  // namespace
}  // namespace fernwahrung

int main(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc + 1);  // GoogleTest takes its own out
  testing::InitGoogleTest(&argc, argv);
  if (::geteuid() == 0 && !testing::GTEST_FLAG(list_tests))
    return fernwahrung::runInNameSpaces(arguments.data());
  return RUN_ALL_TESTS();
}
