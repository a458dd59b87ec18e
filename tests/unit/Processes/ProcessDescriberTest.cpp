#include "support/Eventually.h"
#include "support/Files.h"
#include "support/TempFolder.h"
#include "support/ToolDouble.h"

#include "Foundation/Host.h"
#include "Foundation/PropertyList.h"
#include "Foundation/Text.h"
#include "Processes/ProcessDescriber.h"

#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

using Kind = ProcessDescription::Kind;
using Origin = ProcessDescription::Origin;
using Termination = ProcessDescription::Termination;
using Calls = std::vector<std::vector<std::string>>;
using nlohmann::json;

constexpr std::int32_t myPID = 4000;
constexpr std::uint32_t myUID = 501;
const std::string start = "Mon Nov 16 10:09:15 2026";

std::vector<std::string> psVector(std::int32_t pid) {
  return {"-p", std::to_string(pid), "-o", "ppid=,uid=,lstart=,comm="};
}

/// As ps prints it, with the day padded to two columns.
std::string psLine(std::int32_t ppid, std::uint32_t uid, const std::string& path) {
  return fmt::format("{:5} {:5} {} {}\n", ppid, uid, start, path);
}

/// A program without an application around it, held by nothing but two files.
ProcessDescription description() {
  ProcessDescription result;
  result.pid = 1234;
  result.ppid = 700;
  result.uid = myUID;
  result.startedAt = start;
  result.executablePath = "/Users/anna/tool";
  result.displayName = "X";
  result.technicalName = "X";
  result.kind = Kind::program();
  result.origin = Origin::userProgram;
  result.openFileCount = 1;
  return result;
}

/// A child that does nothing until a signal ends it.
class IdleChild {
 public:
  IdleChild() : pid_(::fork()) {
    if (pid_ == 0) {
      ::signal(SIGTERM, SIG_DFL);
      while (true) ::pause();
    }
  }
  ~IdleChild() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
  }
  IdleChild(const IdleChild&) = delete;
  IdleChild& operator=(const IdleChild&) = delete;

  pid_t pid() const { return pid_; }
  bool isRunning() { return ::waitpid(pid_, nullptr, WNOHANG) == 0; }
  /// The signal that ended it within the time; 0 for none.
  int endingSignal() {
    int status = 0;
    const bool ended = eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; });
    if (!ended) return 0;
    pid_ = -1;
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

 private:
  pid_t pid_;
};

class ProcessDescriberTest : public ::testing::Test {
 protected:
  std::string log() const {
    return exists(home_ / "fernwahrung.log") ? readFile(home_ / "fernwahrung.log") : "";
  }

  TempHome home_;
};

// parsePS

TEST_F(ProcessDescriberTest, ParsesALineOfPs) {
  EXPECT_EQ(ProcessDescriber::parsePS("  700   501 Fri Oct  9 21:54:11 2026 /bin/zsh\n"),
            (ProcessDescriber::PSInfo{700, 501, "Fri Oct 9 21:54:11 2026", "/bin/zsh"}));
}

TEST_F(ProcessDescriberTest, APathKeepsItsBlanks) {
  EXPECT_EQ(ProcessDescriber::parsePS(
                "1 0 Fri Oct 9 21:54:11 2026 \t /Applications/My  App.app/Contents/MacOS/My  App "),
            (ProcessDescriber::PSInfo{1, 0, "Fri Oct 9 21:54:11 2026",
                                      "/Applications/My  App.app/Contents/MacOS/My  App "}));
}

TEST_F(ProcessDescriberTest, TheFirstLineThatIsNotEmptyCounts) {
  const auto info = ProcessDescriber::parsePS("\n\n1 4294967294 a b c d e /x\n2 3 a b c d e /y\n");
  EXPECT_EQ(info, (ProcessDescriber::PSInfo{1, 4294967294U, "a b c d e", "/x"}));
}

TEST_F(ProcessDescriberTest, ALineThatLacksSomethingIsNone) {
  for (const char* line :
       {"", "\n", "   \n1 2 a b c d e /x", "1", "1 2", "1 2 a b c d e", "1 2 a b c d e \t ", "1 2 a b c d",
        "x 2 a b c d e /x", "1 x a b c d e /x", "1 -1 a b c d e /x", "1 4294967296 a b c d e /x",
        "2147483648 1 a b c d e /x", "1.5 1 a b c d e /x", "0x1 1 a b c d e /x"}) {
    EXPECT_EQ(ProcessDescriber::parsePS(line), std::nullopt) << line;
  }
}

TEST_F(ProcessDescriberTest, ReadsWhatPsReallyWrites) {
  const auto starts =
      Text::split(readFile(FERNWAHRUNG_FIXTURES "/ps/macos27.2-pid-ppid-lstart-C-locale.txt"), '\n');
  const auto names =
      Text::split(readFile(FERNWAHRUNG_FIXTURES "/ps/axo-pid-ppid-comm-blanks.fixture.txt"), '\n');
  ASSERT_EQ(starts.size(), 3U);
  ASSERT_EQ(names.size(), 6U);
  // Two numbers, the start as the C locale has it, and a path: the columns of two recordings side by side.
  for (const auto& name : names) {
    const std::string path = name.substr(name.find('/'));
    const auto info = ProcessDescriber::parsePS(starts[0] + " " + path + "\n");
    EXPECT_EQ(info, (ProcessDescriber::PSInfo{450, 1, "Fri Oct 9 21:54:11 2026", path}));
  }
  EXPECT_EQ(ProcessDescriber::parsePS(starts[2] + " /x")->startedAt, "Sat Oct 10 03:04:05 2026");
}

// ps

TEST_F(ProcessDescriberTest, AsksPsWithTheExactVector) {
  const ToolDouble ps("/bin/ps", {.out = psLine(700, 501, "/bin/zsh")});
  EXPECT_EQ(ProcessDescriber::ps(1234), (ProcessDescriber::PSInfo{700, 501, start, "/bin/zsh"}));
  EXPECT_EQ(ps.calls(), Calls{psVector(1234)});
}

TEST_F(ProcessDescriberTest, AFailedPsIsAnAbsentProcess) {
  const ToolDouble gone("/bin/ps", {.out = psLine(700, 501, "/bin/zsh"), .status = 1});
  EXPECT_EQ(ProcessDescriber::ps(1234), std::nullopt);
  const ToolDouble garbage("/bin/ps", {.out = "\xff\xfe garbage"});
  EXPECT_EQ(ProcessDescriber::ps(1234), std::nullopt);
  const ToolDouble empty("/bin/ps");
  EXPECT_EQ(ProcessDescriber::ps(1234), std::nullopt);
  const HostTools::Replacement absent("/bin/ps", home_ / "absent");
  EXPECT_EQ(ProcessDescriber::ps(1234), std::nullopt);
  EXPECT_EQ(log(), "");
}

TEST_F(ProcessDescriberTest, SeesThisVeryProcess) {
  const auto info = ProcessDescriber::ps(::getpid());
  ASSERT_TRUE(info);
  EXPECT_EQ(info->ppid, ::getppid());
  EXPECT_EQ(info->uid, ::getuid());
  EXPECT_EQ(ProcessDescriber::ps(::getpid()), info);
}

// layout, enclosingApp

TEST_F(ProcessDescriberTest, AnExecutableWithoutABundleIsAProgram) {
  for (const char* path :
       {"/usr/bin/x", "/", "", "-zsh", "x", "/Users/anna/Foo.app", "/Users/anna/Foo.apple/x"}) {
    EXPECT_EQ(ProcessDescriber::layout(path), (ProcessDescriber::BundleLayout{Kind::program(), std::nullopt}))
        << path;
  }
}

TEST_F(ProcessDescriberTest, AnExecutableInAnApplicationIsAnApp) {
  const ProcessDescriber::BundleLayout foo{Kind::app(), "/Applications/Foo.app"};
  EXPECT_EQ(ProcessDescriber::layout("/Applications/Foo.app/Contents/MacOS/Foo"), foo);
  EXPECT_EQ(ProcessDescriber::layout("/Applications/Foo.app/Contents/Resources/bin/helper"), foo);
  EXPECT_EQ(ProcessDescriber::layout("/System/Volumes/Data/Applications//Foo.app/Contents/MacOS/Foo"), foo);
  EXPECT_EQ(
      ProcessDescriber::layout("/Applications/Foo.app/Contents/Frameworks/Foo Helper.app/Contents/MacOS/x"),
      (ProcessDescriber::BundleLayout{Kind::app(),
                                      "/Applications/Foo.app/Contents/Frameworks/Foo Helper.app"}));
}

TEST_F(ProcessDescriberTest, AServiceBelongsToTheNearestBundleAroundIt) {
  EXPECT_EQ(ProcessDescriber::layout("/Applications/Foo.app/Contents/PlugIns/Bar.appex/Contents/MacOS/Bar"),
            (ProcessDescriber::BundleLayout{Kind::service("Foo"),
                                            "/Applications/Foo.app/Contents/PlugIns/Bar.appex"}));
  EXPECT_EQ(
      ProcessDescriber::layout("/Applications/Foo.app/Contents/XPCServices/Bar.xpc/Contents/MacOS/Bar").kind,
      Kind::service("Foo"));
  EXPECT_EQ(
      ProcessDescriber::layout("/Library/Foo.framework/Versions/A/XPCServices/Baz.xpc/Contents/MacOS/Baz")
          .kind,
      Kind::service("Foo"));
  for (const char* owner : {"Own.app", "Own.framework", "Own.bundle", "Own.plugin", "Own.systemextension"}) {
    EXPECT_EQ(ProcessDescriber::layout(std::string("/Library/Far.app/") + owner + "/Baz.xpc/Baz").kind,
              Kind::service("Own"));
  }
  EXPECT_EQ(ProcessDescriber::layout("/Library/Lone.xpc/Contents/MacOS/Lone"),
            (ProcessDescriber::BundleLayout{Kind::service(std::nullopt), "/Library/Lone.xpc"}));
}

TEST_F(ProcessDescriberTest, KnowsTheApplicationAroundAnExecutable) {
  EXPECT_EQ(ProcessDescriber::enclosingApp("/Applications/Foo.app/Contents/MacOS/Foo"), "Foo");
  EXPECT_EQ(ProcessDescriber::enclosingApp("/Applications/Foo.app/Contents/Foo Helper.app/Contents/MacOS/x"),
            "Foo Helper");
  EXPECT_EQ(
      ProcessDescriber::enclosingApp("/Applications/Foo.app/Contents/XPCServices/B.xpc/Contents/MacOS/B"),
      "Foo");
  EXPECT_EQ(ProcessDescriber::enclosingApp("/usr/bin/Foo.app"), std::nullopt);
  EXPECT_EQ(ProcessDescriber::enclosingApp("/bin/zsh"), std::nullopt);
  EXPECT_EQ(ProcessDescriber::enclosingApp(""), std::nullopt);
}

// names

TEST_F(ProcessDescriberTest, TheLocalizedDisplayNameComesFirst) {
  const json info = {{"CFBundleDisplayName", "Photos"}, {"CFBundleName", "photos"}};
  EXPECT_EQ(ProcessDescriber::displayName(info, {{"CFBundleDisplayName", "Fotos"}}, "x"), "Fotos");
  EXPECT_EQ(ProcessDescriber::displayName(info, {{"CFBundleName", "Fotos"}}, "x"), "Photos");
  EXPECT_EQ(ProcessDescriber::displayName({{"CFBundleName", "photos"}}, {{"CFBundleName", "Fotos"}}, "x"),
            "Fotos");
  EXPECT_EQ(ProcessDescriber::displayName({{"CFBundleName", "photos"}}, json(), "x"), "photos");
  EXPECT_EQ(ProcessDescriber::displayName(json(), json(), "x"), "x");
}

TEST_F(ProcessDescriberTest, ANameThatIsBlankOrNoTextIsNone) {
  for (const json& name :
       {json(""), json(" \t\n"), json("\u00a0\u2003"), json(7), json(nullptr), json::array()}) {
    EXPECT_EQ(
        ProcessDescriber::displayName({{"CFBundleDisplayName", name}, {"CFBundleName", "Foo"}}, json(), "x"),
        "Foo")
        << name;
  }
  EXPECT_EQ(ProcessDescriber::displayName({{"CFBundleName", " Foo "}}, json(), "x"), " Foo ");
}

TEST_F(ProcessDescriberTest, TheTechnicalNameIsTheBundleIdentifier) {
  EXPECT_EQ(ProcessDescriber::technicalName({{"CFBundleIdentifier", "com.foo"}}, "x"), "com.foo");
  EXPECT_EQ(ProcessDescriber::technicalName({{"CFBundleIdentifier", ""}}, "x"), "x");
  EXPECT_EQ(ProcessDescriber::technicalName({{"CFBundleIdentifier", 7}}, "x"), "x");
  EXPECT_EQ(ProcessDescriber::technicalName(json(), "x"), "x");
}

// origin, shortPath, termination

TEST_F(ProcessDescriberTest, KnowsWhereAProgramComesFrom) {
  const auto originOf = [](const std::string& path) { return ProcessDescriber::origin(path, "/Users/a/"); };
  for (const char* path : {"/usr/bin/x", "/System/Library/x", "/usr/libexec/x", "/usr/sbin/x", "/usr/lib/x",
                           "/bin/x", "/sbin/x", "/Library/Apple/x", "/System/Volumes/Data/usr/bin/x"}) {
    EXPECT_EQ(originOf(path), Origin::macOS) << path;
  }
  EXPECT_EQ(originOf("/Applications/Foo.app/x"), Origin::installedApp);
  EXPECT_EQ(originOf("/Users/a/Applications/Foo.app/x"), Origin::installedApp);
  EXPECT_EQ(originOf("/Users/b/Applications/Foo.app/x"), Origin::userProgram);
  for (const char* path : {"/usr/local/bin/x", "/opt/homebrew/bin/x", "/Library/Foo/x"}) {
    EXPECT_EQ(originOf(path), Origin::installedProgram) << path;
  }
  for (const char* path :
       {"/Users/a/tool", "/Users/a/Library/x", "/usr/x", "/opt/x", "/Applications2/x", "-zsh"}) {
    EXPECT_EQ(originOf(path), Origin::userProgram) << path;
  }
}

TEST_F(ProcessDescriberTest, AShortPathIsThatBelowTheFolder) {
  EXPECT_EQ(ProcessDescriber::shortPath("/f/a/b", "/f"), "…/a/b");
  EXPECT_EQ(ProcessDescriber::shortPath("/System/Volumes/Data/f/a", "/f/"), "…/a");
  EXPECT_EQ(ProcessDescriber::shortPath("/a/b", "/"), "…/a/b");
  EXPECT_EQ(ProcessDescriber::shortPath("/g/a", "/f"), "/g/a");
  EXPECT_EQ(ProcessDescriber::shortPath("/fg/a", "/f"), "/fg/a");
}

TEST_F(ProcessDescriberTest, TheFolderItselfHasItsWholePath) {
  EXPECT_EQ(ProcessDescriber::shortPath("/f/a", "/f/a"), "/f/a");
  EXPECT_EQ(ProcessDescriber::shortPath("/", "/"), "/");
}

TEST_F(ProcessDescriberTest, From49CharactersOnTheLastTwoComponentsAreLeft) {
  const std::string whole = "a/" + std::string(43, 'b') + "/cc";
  ASSERT_EQ(whole.size(), 48U);
  EXPECT_EQ(ProcessDescriber::shortPath("/f/" + whole, "/f"), "…/" + whole);
  EXPECT_EQ(ProcessDescriber::shortPath("/f/" + whole + "c", "/f"), "…/" + std::string(43, 'b') + "/ccc");
  EXPECT_EQ(ProcessDescriber::shortPath("/f/" + std::string(49, 'x'), "/f"), "…/" + std::string(49, 'x'));
  EXPECT_EQ(ProcessDescriber::shortPath("/g/h/" + std::string(60, 'x'), "/f"), "…/h/" + std::string(60, 'x'));
}

TEST_F(ProcessDescriberTest, CharactersAreCountedAsPeopleReadThem) {
  std::string composed = "d/e/";
  std::string decomposed = "d/e/";
  for (int count = 0; count < 44; ++count) {
    composed += "ä";
    decomposed += "a\xcc\x88";
  }
  EXPECT_EQ(ProcessDescriber::shortPath("/f/" + composed, "/f"), "…/" + composed);
  EXPECT_EQ(ProcessDescriber::shortPath("/f/" + decomposed, "/f"), "…/" + decomposed);
}

TEST_F(ProcessDescriberTest, ACharacterOfSeveralScalarsIsOne) {
  std::string families;
  for (int count = 0; count < 30; ++count) families += "👩‍👩‍👧";
  EXPECT_EQ(ProcessDescriber::shortPath("/f/d/e/" + families, "/f"), "…/d/e/" + families);
  for (int count = 0; count < 15; ++count) families += "x\xcc\xa3\xcc\x87";
  EXPECT_EQ(ProcessDescriber::shortPath("/f/d/e/" + families, "/f"), "…/e/" + families) << "49 of them";
}

TEST_F(ProcessDescriberTest, OnlyTheUsersOwnProcessesMayBeEnded) {
  using ProcessDescriber::termination;
  EXPECT_EQ(termination(1234, myUID, myUID, myPID), Termination::allowed());
  EXPECT_EQ(termination(1, myUID, myUID, myPID), Termination::forbidden("Systemprozess"));
  EXPECT_EQ(termination(1, 0, myUID, myPID), Termination::forbidden("Systemprozess"));
  EXPECT_EQ(termination(0, myUID, myUID, 0), Termination::forbidden("Systemprozess"));
  EXPECT_EQ(termination(-1, myUID, myUID, myPID), Termination::forbidden("Systemprozess"));
  EXPECT_EQ(termination(myPID, 0, myUID, myPID), Termination::forbidden("Das ist Fernwahrung selbst"));
  EXPECT_EQ(termination(1234, 0, myUID, myPID),
            Termination::forbidden("Gehört einem anderen Benutzer (z. B. dem System)"));
}

// describe

TEST_F(ProcessDescriberTest, DescribesAnApplicationFromItsBundle) {
  const auto bundle = home_ / "Foo.app";
  writeFile(bundle + "/Contents/Info.plist",
            PropertyList::printXml({{"CFBundleDisplayName", "Föö"}, {"CFBundleIdentifier", "com.foo"}}));
  ToolDouble ps("/bin/ps", {.status = 1});
  ps.answerCall(1, {.out = psLine(700, myUID, bundle + "/Contents/MacOS/foo")});
  ps.answerCall(2, {.out = psLine(1, myUID, "/Applications/Launcher.app/Contents/MacOS/Launcher")});
  makeFolder(home_ / "data");
  const auto folder = home_ / "data";
  const auto found = ProcessDescriber::describe(1234,
                                                {{1234, "foo", "u", folder + "/b"},
                                                 {1234, "foo", "r", folder + "/a"},
                                                 {1234, "foo", "w", folder + "/b"},
                                                 {1234, "foo", "r", folder + "/d"},
                                                 {1234, "foo", "r", folder + "/c"}},
                                                folder + "/./", myPID, myUID);
  ASSERT_TRUE(found);
  ProcessDescription expected;
  expected.pid = 1234;
  expected.ppid = 700;
  expected.uid = myUID;
  expected.startedAt = start;
  expected.executablePath = bundle + "/Contents/MacOS/foo";
  expected.displayName = "Föö";
  expected.technicalName = "com.foo";
  expected.kind = Kind::app();
  expected.origin = Origin::userProgram;
  expected.parentAppName = "Launcher";
  expected.openFileCount = 4;
  expected.exampleFiles = {"…/a", "…/b", "…/c"};
  EXPECT_EQ(*found, expected);
  EXPECT_TRUE(found->canTerminate());
  EXPECT_EQ(ps.calls(), (Calls{psVector(1234), psVector(700)}));
}

// In the locale C ps writes "é" as "M-CM-)".
TEST_F(ProcessDescriberTest, ANameThatPsEscapesIsTakenForWhatItMeans) {
  const struct {
    std::string name;
    std::string escaped;
  } cases[] = {{"Café", "CafM-CM-)"},          {"Größe", "GrM-CM-6M-CM^_e"}, {"à", "M-C\\240"},
               {"tab\tdel\x7f", "tab^Idel^?"}, {"M-x ^y", "M-x ^y"},         {"back\\101", "back\\101"}};
  for (const auto& each : cases) {
    const std::string executable = home_ / (each.name + ".app/Contents/MacOS/" + each.name);
    writeFile(executable, "");
    const ToolDouble ps(
        "/bin/ps", {.out = psLine(1, myUID, home_ / (each.escaped + ".app/Contents/MacOS/" + each.escaped))});
    auto process = ProcessDescriber::describe(1234, {}, "/f", myPID, myUID);
    ASSERT_TRUE(process);
    EXPECT_EQ(process->executablePath, executable);
    EXPECT_EQ(process->displayName, each.name);
    EXPECT_EQ(process->kind, Kind::app());
    // The identity is what ps says, wherever the file has gone.
    process->pid = 2147483646;
    removeEverything(home_ / (each.name + ".app"));
    int asked = 0;
    EXPECT_TRUE(ProcessDescriber::requestTermination(
        *process, [&](std::int32_t) { return ++asked > 0; }, myPID, myUID))
        << each.name;
  }
}

TEST_F(ProcessDescriberTest, SoIsThatOfTheParentApplication) {
  writeFile(home_ / "Café.app/Contents/MacOS/x", "");
  ToolDouble ps("/bin/ps", {.out = psLine(700, myUID, "/bin/x")});
  ps.answerCall(2, {.out = psLine(1, myUID, home_ / "CafM-CM-).app/Contents/MacOS/x")});
  EXPECT_EQ(ProcessDescriber::describe(1234, {}, "/f", myPID, myUID)->parentAppName, "Café");
}

TEST_F(ProcessDescriberTest, APathThatMeansNothingElseStaysAsItIs) {
  for (const std::string path :
       {"/missing/M-CM-)", "/missing/M-", "/missing/M^", "/missing/^", "/missing/\\40"}) {
    const ToolDouble ps("/bin/ps", {.out = psLine(1, myUID, path)});
    EXPECT_EQ(ProcessDescriber::describe(1234, {}, "/f", myPID, myUID)->executablePath, path);
  }
}

TEST_F(ProcessDescriberTest, ADamagedBundleLeavesTheFileName) {
  const auto bundle = home_ / "Foo.app";
  for (const std::string& plist :
       {std::string("garbage"), std::string(), PropertyList::printXml(json::array({1}))}) {
    writeFile(bundle + "/Contents/Info.plist", plist);
    const ToolDouble ps("/bin/ps", {.out = psLine(1, 0, bundle + "/Contents/MacOS/foo")});
    const auto found = ProcessDescriber::describe(1234, {}, home_.path(), myPID, myUID);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->displayName, "foo");
    EXPECT_EQ(found->technicalName, "foo");
    EXPECT_EQ(found->openFileCount, 0);
    EXPECT_TRUE(found->exampleFiles.empty());
    EXPECT_FALSE(found->canTerminate());
  }
}

TEST_F(ProcessDescriberTest, AVanishedProcessIsNotDescribed) {
  const ToolDouble ps("/bin/ps", {.status = 1});
  EXPECT_EQ(ProcessDescriber::describe(1234, {}, home_.path(), myPID, myUID), std::nullopt);
  EXPECT_EQ(ps.calls(), Calls{psVector(1234)});
}

TEST_F(ProcessDescriberTest, AChildOfTheFirstProcessIsABackgroundServiceWithoutParent) {
  const ToolDouble ps("/bin/ps", {.out = psLine(1, myUID, "/Applications/Foo.app/Contents/MacOS/Foo")});
  const auto found = ProcessDescriber::describe(1234, {}, home_.path(), myPID, myUID);
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->isBackgroundService);
  EXPECT_EQ(found->parentAppName, std::nullopt);
  EXPECT_EQ(ps.calls().size(), 1U);
}

TEST_F(ProcessDescriberTest, AParentOutsideAnApplicationOrGoneHasNoName) {
  ToolDouble ps("/bin/ps", {.status = 1});
  ps.answerCall(1, {.out = psLine(700, myUID, "/bin/zsh")});
  auto found = ProcessDescriber::describe(1234, {}, home_.path(), myPID, myUID);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->parentAppName, std::nullopt);
  EXPECT_FALSE(found->isBackgroundService);
  ps.answerCall(3, {.out = psLine(700, myUID, "/bin/zsh")});
  ps.answerCall(4, {.out = psLine(1, myUID, "/bin/bash")});
  found = ProcessDescriber::describe(1234, {}, home_.path(), myPID, myUID);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->parentAppName, std::nullopt);
  EXPECT_EQ(ps.calls().size(), 4U);
}

TEST_F(ProcessDescriberTest, AFileOpenTwiceCountsOnce) {
  const ToolDouble ps("/bin/ps", {.out = psLine(1, myUID, "/bin/zsh")});
  const auto found = ProcessDescriber::describe(
      1234, {{1234, "zsh", "r", "/f/a"}, {1234, "zsh", "w", "/f/a"}}, "/f", myPID, myUID);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->openFileCount, 1);
  EXPECT_EQ(found->exampleFiles, std::vector<std::string>{"…/a"});
}

// blockingProcesses

TEST_F(ProcessDescriberTest, BlockingProcessesComeByProcessIdAfterOneLsof) {
  const auto folder = home_ / "data";
  makeFolder(folder);
  const auto outside = home_ / "database/x";
  const ToolDouble lsof("/usr/sbin/lsof",
                        {.out = "p30\nczsh\nf1\nau\nn" + folder + "/z\n" +                             //
                                "p20\ncmds_stores\nf1\nar\nn" + folder + "/index\n" +                  //
                                "p10\ncfoo\nf1\nar\nn" + folder + "/a\nf2\naw\nn" + folder + "/b\n" +  //
                                "p40\ncbar\nf1\nar\nn" + outside + "\n" +                              //
                                "p50\ncgone\nf1\nar\nn" + folder + "/c\n"});
  const ToolDouble ps(
      "/bin/ps",
      {.status = 1,
       .script =
           "case $2 in 10) echo '1 0 a b c d e /bin/foo'; exit 0;; 30) echo '1 0 a b c d e /bin/zsh'; exit 0;; esac"});
  const auto found = ProcessDescriber::blockingProcesses(folder);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].pid, 10);
  EXPECT_EQ(found[0].openFileCount, 2);
  EXPECT_EQ(found[0].exampleFiles, (std::vector<std::string>{"…/a", "…/b"}));
  EXPECT_EQ(found[1].pid, 30);
  EXPECT_EQ(found[1].displayName, "zsh");
  EXPECT_EQ(lsof.calls(), (Calls{{"-w", "-n", "-P", "-F", "pcan"}}));
  EXPECT_EQ(ps.calls(), (Calls{psVector(10), psVector(30), psVector(50)}));
}

TEST_F(ProcessDescriberTest, AFailedLsofFindsNobody) {
  const ToolDouble ps("/bin/ps");
  {
    const HostTools::Replacement absent("/usr/sbin/lsof", home_ / "absent");
    EXPECT_TRUE(ProcessDescriber::blockingProcesses(home_.path()).empty());
  }
  for (const char* output : {"", "garbage\n\xff\n", "n/x\n", "p\n"}) {
    const ToolDouble lsof("/usr/sbin/lsof", {.out = output, .status = 1});
    EXPECT_TRUE(ProcessDescriber::blockingProcesses(home_.path()).empty()) << output;
    EXPECT_EQ(lsof.calls().size(), 1U);
  }
  EXPECT_TRUE(ps.calls().empty());
}

TEST_F(ProcessDescriberTest, FindsARealProcessThatHoldsAFile) {
  const auto folder = home_ / "data";
  writeFile(folder + "/held", "x");
  const FileDescriptor held(::open((folder + "/held").c_str(), O_RDWR | O_CLOEXEC));
  const auto found = ProcessDescriber::blockingProcesses(folder);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].pid, ::getpid());
  EXPECT_EQ(found[0].openFileCount, 1);
  EXPECT_EQ(found[0].exampleFiles, std::vector<std::string>{"…/held"});
  EXPECT_EQ(found[0].termination, Termination::forbidden("Das ist Fernwahrung selbst"));
}

// texts

TEST_F(ProcessDescriberTest, TellsWhatKindOfThingItIs) {
  const auto text = [](const Kind& kind, Origin origin) {
    auto process = description();
    process.kind = kind;
    process.origin = origin;
    return ProcessDescriber::kindText(process);
  };
  EXPECT_EQ(text(Kind::app(), Origin::installedApp), "installierte App");
  EXPECT_EQ(text(Kind::app(), Origin::macOS), "App, Teil von macOS");
  EXPECT_EQ(text(Kind::app(), Origin::userProgram), "App, Benutzerprogramm");
  EXPECT_EQ(text(Kind::program(), Origin::installedApp), "einzelnes Programm, installierte App");
  EXPECT_EQ(text(Kind::program(), Origin::installedProgram), "einzelnes Programm, installiertes Programm");
  EXPECT_EQ(text(Kind::service("Foo"), Origin::macOS), "Dienst/Erweiterung, Teil von macOS");
  EXPECT_EQ(text(Kind::service(std::nullopt), Origin::installedApp), "Dienst/Erweiterung, installierte App");
}

TEST_F(ProcessDescriberTest, TheShortestMessage) {
  EXPECT_EQ(ProcessDescriber::message(description()),
            "X – einzelnes Programm, Benutzerprogramm (PID 1234) hält 1 Datei in diesem Ordner offen.");
}

TEST_F(ProcessDescriberTest, AMessageNamesExamplesAndIdentifiers) {
  auto process = description();
  process.technicalName = "com.x";
  process.openFileCount = 5;
  process.exampleFiles = {"…/a", "…/b", "…/c"};
  process.parentAppName = "Terminal";
  EXPECT_EQ(
      ProcessDescriber::message(process),
      "X – einzelnes Programm, Benutzerprogramm (com.x, PID 1234) hält 5 Dateien in diesem Ordner offen, z. B. …/a, …/b, …/c. "
      "Gehört zu Terminal.");
}

TEST_F(ProcessDescriberTest, AMessageTellsOwnerAndBackgroundService) {
  auto process = description();
  process.kind = Kind::service("Foo");
  process.origin = Origin::installedApp;
  process.openFileCount = 0;
  EXPECT_EQ(ProcessDescriber::message(process),
            "X – Dienst/Erweiterung, installierte App (PID 1234) hält 0 Dateien in diesem Ordner offen. "
            "Gehört zu Foo.");
  process.isBackgroundService = true;
  process.parentAppName = "Terminal";
  EXPECT_EQ(ProcessDescriber::message(process),
            "X – Dienst/Erweiterung, installierte App (PID 1234) hält 0 Dateien in diesem Ordner offen. "
            "Gehört zu Foo. "
            "Hintergrunddienst, vom System gestartet.");
  process.kind = Kind::service(std::nullopt);
  EXPECT_TRUE(
      ProcessDescriber::message(process).ends_with("offen. Hintergrunddienst, vom System gestartet."));
}

TEST_F(ProcessDescriberTest, OnlyAPartOfMacOSIsSaidToComeBack) {
  auto process = description();
  EXPECT_EQ(process.terminationNote(), std::nullopt);
  process.origin = Origin::macOS;
  EXPECT_EQ(process.terminationNote(), "macOS startet ihn bei Bedarf neu.");
}

// requestTermination

class TerminationTest : public ProcessDescriberTest {
 protected:
  ProcessDescription ofChild() {
    auto process = description();
    process.pid = child_.pid();
    return process;
  }
  std::string sameLine() const { return psLine(700, myUID, "/Users/anna/tool"); }

  /// What was asked of the polite way, which refuses.
  std::vector<std::int32_t> asked_;
  std::function<bool(std::int32_t)> refusing_ = [this](std::int32_t pid) {
    asked_.push_back(pid);
    return false;
  };
  IdleChild child_;
};

TEST_F(TerminationTest, ThePoliteWayComesFirst) {
  const ToolDouble ps("/bin/ps", {.out = sameLine()});
  EXPECT_TRUE(ProcessDescriber::requestTermination(
      ofChild(), [](std::int32_t) { return true; }, myPID, myUID));
  EXPECT_TRUE(child_.isRunning());
  EXPECT_EQ(ps.calls(), Calls{psVector(child_.pid())});
  EXPECT_NE(log().find(fmt::format("] Beenden angefordert: X (PID {})\n", child_.pid())), std::string::npos);
}

TEST_F(TerminationTest, ThenTheProcessIsAskedBySignal) {
  const ToolDouble ps("/bin/ps", {.out = sameLine()});
  const auto pid = child_.pid();
  EXPECT_TRUE(ProcessDescriber::requestTermination(ofChild(), refusing_, myPID, myUID));
  EXPECT_EQ(asked_, std::vector<std::int32_t>{pid});
  EXPECT_EQ(child_.endingSignal(), SIGTERM);
}

TEST_F(TerminationTest, WithoutAPoliteWayTheSignalIsSent) {
  const ToolDouble ps("/bin/ps", {.out = sameLine()});
  EXPECT_TRUE(ProcessDescriber::requestTermination(ofChild(), {}, myPID, myUID));
  EXPECT_EQ(child_.endingSignal(), SIGTERM);
}

TEST_F(TerminationTest, AnotherProcessUnderTheSameNumberIsLeftAlone) {
  for (const std::string& line :
       {fmt::format("700 {} Mon Nov 16 10:09:16 2026 /Users/anna/tool\n", myUID),
        psLine(700, myUID, "/Users/anna/tool2"), psLine(700, 0, "/Users/anna/tool"), std::string()}) {
    const ToolDouble ps("/bin/ps", {.out = line});
    EXPECT_FALSE(ProcessDescriber::requestTermination(ofChild(), refusing_, myPID, myUID)) << line;
  }
  EXPECT_TRUE(asked_.empty());
  EXPECT_TRUE(child_.isRunning());
  EXPECT_EQ(log(), "");
}

TEST_F(TerminationTest, AParentThatChangedIsStillTheSameProcess) {
  const ToolDouble ps("/bin/ps", {.out = psLine(1, myUID, "/Users/anna/tool")});
  EXPECT_TRUE(ProcessDescriber::requestTermination(ofChild(), refusing_, myPID, myUID));
  EXPECT_EQ(child_.endingSignal(), SIGTERM);
}

TEST_F(TerminationTest, AVanishedProcessIsNotAsked) {
  const ToolDouble ps("/bin/ps", {.status = 1});
  EXPECT_FALSE(ProcessDescriber::requestTermination(ofChild(), refusing_, myPID, myUID));
  EXPECT_TRUE(asked_.empty());
  EXPECT_TRUE(child_.isRunning());
}

TEST_F(TerminationTest, WhatMayNotBeEndedIsNotAskedWhateverTheDescriptionSays) {
  const ToolDouble ps("/bin/ps", {.out = sameLine()});
  auto process = ofChild();
  process.termination = Termination::allowed();
  EXPECT_FALSE(ProcessDescriber::requestTermination(process, refusing_, process.pid, myUID));
  EXPECT_FALSE(ProcessDescriber::requestTermination(process, refusing_, myPID, myUID + 1));
  EXPECT_TRUE(asked_.empty());
  EXPECT_TRUE(child_.isRunning());
  EXPECT_EQ(log(), "");
}

// A signal to 0 or -1 goes to many processes.
TEST_F(TerminationTest, TheSystemsNumbersAreNeverAsked) {
  const ToolDouble ps("/bin/ps", {.out = sameLine()});
  const auto agreeing = [this](std::int32_t pid) {
    asked_.push_back(pid);
    return true;
  };
  auto process = description();
  for (const std::int32_t pid : {1, 0, -1}) {
    process.pid = pid;
    EXPECT_FALSE(ProcessDescriber::requestTermination(process, agreeing, myPID, myUID)) << pid;
  }
  EXPECT_TRUE(asked_.empty());
  EXPECT_EQ(log(), "");
}

TEST_F(TerminationTest, ASignalThatCannotBeDeliveredIsNoRequest) {
  // A number far above any that is given out.
  auto process = description();
  process.pid = 2147483646;
  const ToolDouble ps("/bin/ps", {.out = sameLine()});
  EXPECT_FALSE(ProcessDescriber::requestTermination(process, refusing_, myPID, myUID));
  EXPECT_EQ(asked_, std::vector<std::int32_t>{2147483646});
}

}  // namespace
}  // namespace fernwahrung
