// The executable in the hands of an ordinary user, with images mounted by FUSE. Root lets go of its rights
// for each step; who is an ordinary user already takes the steps as himself.
#include "support/Eventually.h"
#include "support/Files.h"
#include "support/Mounts.h"
#include "support/NastyTree.h"
#include "support/Program.h"
#include "support/TempFolder.h"
#include "support/TreeManifest.h"

#include "Foundation/Json.h"
#include "Foundation/PathString.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
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
    copyProgramWithTools(FERNWAHRUNG_HELPER, folder_ / "bin");
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
  void setMode(const std::string& path, mode_t mode) const {
    ASSERT_EQ(asUser([&] { return ::chmod(path.c_str(), mode); }), 0) << path;
  }
  /// Puts a shell script in a tool's place; it is told, quoted, where the tool itself can be called.
  void replaceTool(const std::string& tool, const std::function<std::string(const std::string&)>& script) {
    makeFolder(folder_ / "bin/echt");
    const std::string real = folder_ / ("bin/echt/" + tool);
    std::filesystem::create_symlink("../fernwahrung-host", real);
    std::filesystem::remove(tools_ + "/" + tool);
    writeFile(tools_ + "/" + tool, "#!/bin/sh\n" + script(shellQuoted(real)), 0755);
  }
  void replaceWithReal(const std::string& tool) {
    std::filesystem::remove(tools_ + "/" + tool);
    std::filesystem::create_symlink("../fernwahrung-host", tools_ + "/" + tool);
  }
  /// Lines of sh that tell killWhenStopped that the tool has come so far, and stop there.
  std::string stopHere() const {
    const std::string file = shellQuoted(stopped_);
    return "echo $$ >" + file + ".new; mv " + file + ".new " + file + "; exec sleep 600\n";
  }
  /// Runs the command until a tool has stopped, and kills it there, and then the tool.
  void killWhenStopped(const std::vector<std::string>& arguments) const {
    const std::vector<std::string> line = commandLine(arguments);
    std::vector<char*> argv;
    for (const std::string& word : line) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    const pid_t helper = ::fork();
    if (helper == 0) {
      ::execvp(argv[0], argv.data());
      ::_exit(127);
    }
    const bool hasStopped = eventually([&] { return exists(stopped_); });
    ::kill(helper, SIGKILL);
    int status = 0;
    ::waitpid(helper, &status, 0);
    ASSERT_TRUE(hasStopped);
    ::kill(std::stoi(readFile(stopped_)), SIGKILL);
  }
  void expectRolledBack() const {
    EXPECT_THAT(output({"rollback", "--all"}), EndsWith("Der unterbrochene Vorgang wurde zurückgerollt.\n"));
    EXPECT_THAT(output({"rollback", "--all"}), testing::Not(HasSubstr("wurde zurückgerollt")));
  }
  /// Where the data lies while it is offloaded.
  std::string offloadedData(const std::string& kind) const {
    return kind == "image" ? source_ : storage_ + "/Bibliothek";
  }
  /// The source as it was, but for the mode of the folder itself.
  void expectBackWithMode(mode_t mode, const std::string& kind) {
    TreeManifest expected = kind == "image" ? onVolume(before_) : before_;
    expected.entries.at(".").mode = mode;
    EXPECT_EQ(diff(expected, manifest()), "");
    EXPECT_FALSE(std::filesystem::is_symlink(source_));
  }
  void readOnlyFolderComesBack(const std::string& kind) {
    output(planned("relocate", kind));
    setMode(offloadedData(kind), 0500);
    output({"restore", "Bibliothek"});
    expectBackWithMode(0500, kind);
    EXPECT_THAT(mounts(), IsEmpty());
  }
  void copyOfAReadOnlyFolderIsGivenUp(const std::string& kind) {
    output(planned("relocate", kind));
    setMode(offloadedData(kind), 0500);
    replaceTool("ditto", [](const std::string& real) {
      return real + " \"$@\" && if [ -d \"$2\" ]; then rm -f \"$2/einfach.txt\"; else rm -f \"$2\"; fi\n";
    });
    const ProgramResult result = fernwahrung({"restore", "Bibliothek"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("Fehlt in der Kopie: "));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("Zusätzlich konnte der Ausgangszustand")));
    EXPECT_THAT(namesIn(mac_), testing::SizeIs(2)) << "the link or mount point, and the kept original";
    EXPECT_THAT(namesIn(home_ + "/Papierkorb"), testing::SizeIs(1));
    EXPECT_THAT(journals(), ElementsAre("erledigt"));
  }

  const TempFolder folder_;
  const std::string home_ = folder_ / "home";
  const std::string mac_ = folder_ / "mac";
  const std::string storage_ = folder_ / "laufwerk";
  const std::string tools_ = folder_ / "bin/host-tools";
  const std::string stopped_ = folder_ / "home/stopped";
  const std::string source_ = mac_ + "/Große Bibliothek";
  TreeManifest before_;
};

TEST_F(OrdinaryUserTest, AnImageGoesOutIsUnmountedAndMountedAndComesBack) {
  EXPECT_THAT(output(planned("check", "image")), HasSubstr("Der Ordner kann ferngewahrt werden."));
  output(planned("relocate", "image"));
  EXPECT_THAT(mounts(), ElementsAre(source_));
  EXPECT_THAT(output({"list"}), HasSubstr("Eingehängt"));
  EXPECT_EQ(diff(onVolume(before_), manifest()), "");

  EXPECT_THAT(output({"unmount", "Bibliothek"}), HasSubstr("ist nicht mehr eingehängt."));
  EXPECT_THAT(mounts(), IsEmpty());
  EXPECT_THAT(namesIn(source_), IsEmpty());
  EXPECT_EQ(errorOfWriting(), EACCES);
  EXPECT_THAT(output({"list"}), HasSubstr("Nicht eingehängt"));

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

TEST_F(OrdinaryUserTest, AnImageOfAFolderWithoutTheRightToWriteComesBack) {
  readOnlyFolderComesBack("image");
}

TEST_F(OrdinaryUserTest, ALinkedFolderWithoutTheRightToWriteComesBack) {
  readOnlyFolderComesBack("symlink");
}

TEST_F(OrdinaryUserTest, ACopyOfAnImageWithoutTheRightToWriteCanBeGivenUp) {
  copyOfAReadOnlyFolderIsGivenUp("image");
}

TEST_F(OrdinaryUserTest, ACopyOfALinkedFolderWithoutTheRightToWriteCanBeGivenUp) {
  copyOfAReadOnlyFolderIsGivenUp("symlink");
}

TEST_F(OrdinaryUserTest, AFolderWithoutTheRightToReadIsNotMountedOver) {
  output(planned("relocate", "image"));
  output({"unmount", "Bibliothek"});
  setMode(source_, 0);
  const ProgramResult result = fernwahrung({"mount", "Bibliothek"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(
      result.err,
      "Die Zugriffsrechte dieses Ordners erlauben Fernwahrung das Lesen nicht:\n" + source_ +
          "\n\n"
          "Bitte die Rechte im Finder (Informationen) oder mit chmod korrigieren, dann erneut versuchen.\n\n"
          "Es wurde nichts eingehängt und nichts verändert. "
          "Ob im Ordner Daten liegen, kann ohne Lesezugriff nicht geprüft werden.\n");
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(mounts(), IsEmpty());
  EXPECT_FALSE(Json::parse(output({"status", "Bibliothek", "--json"}))["status"]["accessDenied"].get<bool>());
  setMode(source_, 0500);
  output({"mount", "Bibliothek"});
  EXPECT_EQ(diff(onVolume(before_), manifest()), "");
}

TEST_F(OrdinaryUserTest, AFolderThatItsOwnerMayNotWriteToIsRolledBack) {
  // the copy loses a file, which the comparison finds
  std::filesystem::rename(tools_ + "/ditto", tools_ + "/real-ditto");
  writeFile(tools_ + "/ditto", "#!/bin/sh\ncp -a \"$1/.\" \"$2\"\nchmod u+w \"$2\"\nrm \"$2/einfach.txt\"\n",
            0755);
  ASSERT_EQ(::chmod(source_.c_str(), 0500), 0);
  before_ = manifest();
  int copies = 0;
  for (const char* kind : {"symlink", "image"}) {
    SCOPED_TRACE(kind);
    const ProgramResult result = fernwahrung(planned("relocate", kind));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("die Kopie ist NICHT identisch"));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("Zusätzlich")));
    EXPECT_EQ(diff(before_, manifest(), {.holes = true}), "");
    EXPECT_THAT(namesIn(storage_), IsEmpty());
    EXPECT_EQ(namesIn(home_ + "/Papierkorb").size(), ++copies);
  }
}

TEST_F(OrdinaryUserTest, AKilledOneIsRolledBack) {
  replaceTool("ditto", [&](const std::string&) { return "cp \"$1/einfach.txt\" \"$2\"\n" + stopHere(); });
  killWhenStopped(planned("relocate", "image"));
  EXPECT_THAT(mounts(), testing::SizeIs(1));

  expectRolledBack();
  EXPECT_EQ(diff(before_, manifest(), {.holes = true}), "");
  EXPECT_EQ(errorOfWriting(), 0);
  EXPECT_THAT(mounts(), IsEmpty());
  EXPECT_THAT(namesIn(mac_), ElementsAre(PathString::lastComponent(source_)));
  EXPECT_THAT(namesIn(storage_), IsEmpty());
  EXPECT_THAT(namesIn(home_ + "/Papierkorb"), ElementsAre(EndsWith("Bibliothek.sparsebundle")));
}

TEST_F(OrdinaryUserTest, AKillWithTheLockedFolderInPlaceIsRolledBack) {
  replaceTool("hdiutil", [&](const std::string& real) {
    return "case \"$*\" in *\"-mountpoint \"" + shellQuoted(source_) + "\" \"*)\n" + stopHere() +
           ";; esac\nexec " + real + " \"$@\"\n";
  });
  killWhenStopped(planned("relocate", "image"));
  EXPECT_THAT(namesIn(source_), IsEmpty());
  EXPECT_EQ(errorOfWriting(), EACCES);

  replaceWithReal("hdiutil");
  expectRolledBack();
  EXPECT_EQ(diff(before_, manifest(), {.holes = true}), "");
  EXPECT_EQ(errorOfWriting(), 0);
  EXPECT_THAT(namesIn(mac_), ElementsAre(PathString::lastComponent(source_)));
  EXPECT_THAT(namesIn(storage_), IsEmpty());
}

TEST_F(OrdinaryUserTest, AKilledWayBackIsRolledBackToTheMount) {
  output(planned("relocate", "image"));
  replaceTool("hdiutil", [&](const std::string& real) {
    return "case \"$1\" in detach) " + real + " \"$@\"\n" + stopHere() + ";; esac\nexec " + real +
           " \"$@\"\n";
  });
  killWhenStopped({"restore", "Bibliothek"});
  EXPECT_THAT(mounts(), IsEmpty());

  replaceWithReal("hdiutil");
  expectRolledBack();
  EXPECT_THAT(mounts(), ElementsAre(source_));
  EXPECT_EQ(diff(onVolume(before_), manifest()), "");
  EXPECT_THAT(namesIn(mac_), testing::SizeIs(2)) << "the mount point and the kept original";
  output({"unmount", "Bibliothek"});
  EXPECT_EQ(errorOfWriting(), EACCES) << "locked again";
}

}  // namespace
}  // namespace fernwahrung
