// The executable in the hands of an ordinary user, with images mounted by FUSE. Root lets go of its rights
// for each step; who is an ordinary user already takes the steps as himself.
#include "support/Eventually.h"
#include "support/Files.h"
#include "support/Mounts.h"
#include "support/NastyTree.h"
#include "support/Program.h"
#include "support/TempFolder.h"
#include "support/TreeManifest.h"

#include "Foundation/PathString.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr unsigned nobody = 65534;
constexpr const char* fuseDevice = "/dev/fuse";

bool isRoot() {
  return ::geteuid() == 0;
}

/// Runs the action with the user's rights. Credentials belong to a thread as long as the kernel alone is
/// asked, so the test itself stays what it is. (FUSE shows a mount to nobody but its user, root included.)
template <typename Action>
auto asUser(Action action) {
  return std::async(std::launch::async,
                    [&] {
                      if (isRoot() && (::syscall(SYS_setgroups, 0, nullptr) != 0 ||
                                       ::syscall(SYS_setresgid, nobody, nobody, nobody) != 0 ||
                                       ::syscall(SYS_setresuid, nobody, nobody, nobody) != 0)) {
                        throw std::system_error(errno, std::generic_category(), "becoming an ordinary user");
                      }
                      return action();
                    })
      .get();
}

/// A name space for mounts of the test's own, in which everybody may use FUSE's device: some machines keep it
/// to root. Returns why that can't be.
std::optional<std::string> openFuseToAll() {
  if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0)
    return "no name space for mounts can be had";
  // A copy of somebody else's mount would keep his loop device busy after he has let go of it.
  const auto mounts = Mounts::mounts();
  for (auto mount = mounts.rbegin(); mount != mounts.rend(); ++mount) {
    if (mount->source.starts_with("/dev/loop") && mount->mountPoint != "/")
      ::umount2(mount->mountPoint.c_str(), MNT_DETACH);
  }
  struct stat device;
  if (::stat(fuseDevice, &device) != 0) return "there is no /dev/fuse";
  const TempFolder folder;
  const std::string node = folder / "fuse";
  if (::mknod(node.c_str(), S_IFCHR, device.st_rdev) != 0 || ::chmod(node.c_str(), 0666) != 0 ||
      ::mount(node.c_str(), fuseDevice, nullptr, MS_BIND, nullptr) != 0) {
    return "/dev/fuse can't be opened to an ordinary user";
  }
  return std::nullopt;
}

std::optional<std::string> unavailable() {
  for (const char* program : {"fuse2fs", "fusermount3", "setpriv"}) {
    if (!findProgram(program)) return std::string(program) + " is not installed";
  }
  if (!exists(fuseDevice)) return "there is no /dev/fuse";
  if (isRoot()) {
    static const std::optional<std::string> reason = openFuseToAll();
    if (reason) return reason;
  }
  const bool isAllowed = asUser([] {
    const int fd = ::open(fuseDevice, O_RDWR | O_CLOEXEC);
    return fd >= 0 && ::close(fd) == 0;
  });
  return isAllowed ? std::nullopt : std::optional<std::string>("an ordinary user may not use /dev/fuse");
}

/// What is left of a tree on a volume of fuse2fs, which tells times in whole seconds. All else is kept.
TreeManifest onVolume(TreeManifest tree) {
  constexpr std::int64_t second = 1'000'000'000;
  for (auto& [path, entry] : tree.entries) entry.modifiedNanoseconds -= entry.modifiedNanoseconds % second;
  return tree;
}

class OrdinaryUserTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = unavailable()) GTEST_SKIP() << *reason;
    for (const std::string& path : {home_, mac_, storage_}) {
      makeFolder(path);
      if (isRoot()) {
        ASSERT_EQ(::chown(path.c_str(), nobody, nobody), 0);
      }
    }
    // The user may not be able to look into the folder in which all this was built.
    makeFolder(folder_ / "bin/host-tools");
    const std::string built = PathString::parent(FERNWAHRUNG_HELPER);
    std::filesystem::copy_file(FERNWAHRUNG_HELPER, folder_ / "bin/fernwahrung");
    std::filesystem::copy_file(built + "/fernwahrung-host", folder_ / "bin/fernwahrung-host");
    for (const char* tool : {"hdiutil", "diskutil", "ditto", "ps", "mdutil"})
      std::filesystem::create_symlink("../fernwahrung-host", tools_ + "/" + tool);
    asUser([this] { makeNastyTree(source_); });
    before_ = manifest();
  }

  void TearDown() override {
    for (const std::string& mountPoint : mounts())
      asUser([&] { runProgram({"fusermount3", "-u", "-z", "--", mountPoint}); });
  }

  std::vector<std::string> commandLine(const std::vector<std::string>& arguments) const {
    std::vector<std::string> line;
    if (isRoot()) line = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    for (const char* word : {"env", "-u", "HOME", "-u", "XDG_DATA_HOME"}) line.emplace_back(word);
    line.push_back("FERNWAHRUNG_HOME=" + home_);
    line.push_back(folder_ / "bin/fernwahrung");
    line.insert(line.end(), arguments.begin(), arguments.end());
    return line;
  }
  ProgramResult fernwahrung(const std::vector<std::string>& arguments) const {
    return runProgram(commandLine(arguments), {.folder = "/"});
  }
  /// The command's standard output; it must succeed, and say no more beside than what concerns the disk of
  /// the test itself.
  std::string output(const std::vector<std::string>& arguments) const {
    const ProgramResult result = fernwahrung(arguments);
    EXPECT_EQ(result.status, 0) << arguments[0];
    EXPECT_THAT(result.err, AnyOf("", StartsWith("Hinweis: Das Ziellaufwerk ist nicht APFS")))
        << arguments[0];
    return result.out;
  }
  std::vector<std::string> planned(const std::string& command, const std::string& kind) const {
    std::vector<std::string> arguments = {command,  "--source", source_,  "--storage", storage_,
                                          "--kind", kind,       "--name", "Bibliothek"};
    if (kind == "image") arguments.insert(arguments.end(), {"--size-gb", "2"});
    if (command == "relocate") arguments.emplace_back("--yes");
    return arguments;
  }

  TreeManifest manifest() const {
    return asUser([this] { return TreeManifest::of(source_); });
  }
  std::vector<std::string> mounts() const {
    std::vector<std::string> found;
    for (const Mounts::Mount& mount : Mounts::mounts()) {
      if (PathString::isInside(mount.mountPoint, folder_.path())) found.push_back(mount.mountPoint);
    }
    return found;
  }
  /// The error number of an attempt to make a file in the source; 0 when it succeeds.
  int errorOfWriting() const {
    return asUser([this] {
      const int fd = ::open((source_ + "/neu").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      const int error = fd < 0 ? errno : 0;
      if (fd >= 0) ::close(fd);
      return error;
    });
  }
  std::vector<std::string> journals() const {
    return exists(home_ + "/journal") ? namesIn(home_ + "/journal") : std::vector<std::string>{};
  }

  const TempFolder folder_;
  const std::string home_ = folder_ / "home";
  const std::string mac_ = folder_ / "mac";
  const std::string storage_ = folder_ / "laufwerk";
  const std::string tools_ = folder_ / "bin/host-tools";
  const std::string source_ = mac_ + "/Gro\u00dfe Bibliothek";
  TreeManifest before_;
};

TEST_F(OrdinaryUserTest, AnImageGoesOutIsUnmountedAndMountedAndComesBack) {
  EXPECT_THAT(output(planned("check", "image")), HasSubstr("Der Ordner kann ferngewahrt werden."));
  output(planned("relocate", "image"));
  EXPECT_THAT(mounts(), ElementsAre(source_));
  EXPECT_THAT(output({"list"}), HasSubstr("Eingeh\u00e4ngt"));
  EXPECT_EQ(diff(onVolume(before_), manifest()), "");

  EXPECT_THAT(output({"unmount", "Bibliothek"}), HasSubstr("ist nicht mehr eingeh\u00e4ngt."));
  EXPECT_THAT(mounts(), IsEmpty());
  EXPECT_THAT(namesIn(source_), IsEmpty());
  EXPECT_EQ(errorOfWriting(), EACCES);
  EXPECT_THAT(output({"list"}), HasSubstr("Nicht eingeh\u00e4ngt"));

  output({"mount", "Bibliothek"});
  EXPECT_THAT(mounts(), ElementsAre(source_));
  EXPECT_EQ(diff(onVolume(before_), manifest()), "");

  output({"restore", "Bibliothek"});
  EXPECT_THAT(mounts(), IsEmpty());
  EXPECT_EQ(diff(onVolume(before_), manifest()), "");
  EXPECT_EQ(errorOfWriting(), 0);
}

TEST_F(OrdinaryUserTest, ASymlinkGoesOutAndComesBackWithoutAnyLoss) {
  EXPECT_THAT(output(planned("check", "symlink")), HasSubstr("Der Ordner kann ferngewahrt werden."));
  output(planned("relocate", "symlink"));
  EXPECT_TRUE(std::filesystem::is_symlink(source_));
  EXPECT_THAT(output({"list"}), HasSubstr("Verlinkt"));
  output({"restore", "Bibliothek"});
  EXPECT_EQ(diff(before_, manifest(), {.holes = true}), "");
}

TEST_F(OrdinaryUserTest, AKilledOneIsRolledBack) {
  std::filesystem::remove(tools_ + "/ditto");
  const std::string started = home_ + "/started";
  writeFile(tools_ + "/ditto",
            "#!/bin/sh\ncp \"$1/einfach.txt\" \"$2\"\necho $$ >" + shellQuoted(started + ".new") + "\nmv " +
                shellQuoted(started + ".new") + " " + shellQuoted(started) + "\nexec sleep 600\n",
            0755);
  const std::vector<std::string> line = commandLine(planned("relocate", "image"));
  std::vector<char*> argv;
  for (const std::string& word : line) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  const pid_t helper = ::fork();
  if (helper == 0) {
    ::execvp(argv[0], argv.data());
    ::_exit(127);
  }
  const bool isCopying = eventually([&] { return exists(started); });
  ::kill(helper, SIGKILL);
  int status = 0;
  ::waitpid(helper, &status, 0);
  ASSERT_TRUE(isCopying);
  const pid_t copy = std::stoi(readFile(started));
  EXPECT_THAT(mounts(), testing::SizeIs(1));

  EXPECT_THAT(output({"rollback", "--all"}),
              EndsWith("Der unterbrochene Vorgang wurde zur\u00fcckgerollt.\n"));
  ::kill(copy, SIGKILL);
  EXPECT_EQ(diff(before_, manifest(), {.holes = true}), "");
  EXPECT_EQ(errorOfWriting(), 0);
  EXPECT_THAT(mounts(), IsEmpty());
  EXPECT_THAT(namesIn(mac_), ElementsAre(PathString::lastComponent(source_)));
  EXPECT_THAT(namesIn(storage_), IsEmpty());
  EXPECT_THAT(namesIn(home_ + "/Papierkorb"), ElementsAre(EndsWith("Bibliothek.sparsebundle")));
  EXPECT_THAT(output({"rollback", "--all"}), testing::Not(HasSubstr("wurde zur\u00fcckgerollt")));
}

}  // namespace
}  // namespace fernwahrung
