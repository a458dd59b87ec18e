#include "HelperRun.h"
#include "support/Files.h"

#include "Foundation/Clock.h"
#include "Foundation/OperationLock.h"
#include "Records/MountPause.h"

#include <filesystem>

namespace fernwahrung {
namespace {

class MountCommandTest : public HelperTest {
 protected:
  /// A link that is right, and one whose drive is missing.
  void SetUp() override {
    makeFolder(folder_ / "ziel");
    std::filesystem::create_symlink(folder_ / "ziel", folder_ / "gut");
    good_.storagePath = folder_ / "ziel";
    saveRegistry({good_, missing_});
  }

  TempFolder folder_;
  Relocation good_ = makeRelocation(firstId, "gut", folder_ / "gut");
  Relocation missing_ = makeRelocation(thirdId, "fehlt", folder_ / "fehlt");
};

TEST_F(MountCommandTest, WhatIsRightStays) {
  const HelperResult result = runHelper({"mount", "gut"});
  EXPECT_EQ(result.code, ExitCode::done) << result.err;
  EXPECT_EQ(result.out, "„gut“: Verlinkt – " + (folder_ / "gut") + "\n");
  EXPECT_EQ(runHelper({"mount", "gut", "--json"}).json(), runHelper({"status", "gut", "--json"}).json());
}

TEST_F(MountCommandTest, AMissingDriveIsSaid) {
  const HelperResult result = runHelper({"mount", "fehlt"});
  EXPECT_EQ(result.code, ExitCode::failed);
  EXPECT_EQ(result.err, "Externes Laufwerk fehlt (" + missing_.storagePath + "). App NICHT starten!\n");
}

TEST_F(MountCommandTest, ARestoredOneIsRefused) {
  good_.state = RelocationState::restored;
  saveRegistry({good_});
  const HelperResult result = runHelper({"mount", "gut"});
  EXPECT_EQ(result.code, ExitCode::failed);
  EXPECT_EQ(result.err, "Diese Fernwahrung ist nicht aktiv.\n");
}

TEST_F(MountCommandTest, ABusyLockHasItsStatus) {
  const OperationLock lock;
  EXPECT_EQ(runHelper({"mount", "gut"}).code, ExitCode::lockBusy);
  EXPECT_EQ(runHelper({"unmount", "gut"}).code, ExitCode::lockBusy);
}

TEST_F(MountCommandTest, UnmountLeavesALinkAlone) {
  const HelperResult result = runHelper({"unmount", "gut"});
  EXPECT_EQ(result.code, ExitCode::done);
  EXPECT_EQ(result.out, "„gut“ ist ein Symlink; da gibt es nichts auszuhängen.\n");
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "gut"));
}

TEST_F(MountCommandTest, AllProblemsAreListed) {
  const HelperResult result = runHelper({"mount-all", "--json"});
  EXPECT_EQ(result.code, ExitCode::failed);
  EXPECT_EQ(result.json()["problems"],
            Json::Value::array({{{"name", "fehlt"},
                                 {"kind", "storageMissing"},
                                 {"message", "Externes Laufwerk fehlt (" + missing_.storagePath +
                                                 "). App NICHT starten!"}}}));
  EXPECT_EQ(result.err,
            "fehlt: Externes Laufwerk fehlt (" + missing_.storagePath + "). App NICHT starten!\n");
}

TEST_F(MountCommandTest, ACommandWaitsForNoDrive) {
  int sleeps = 0;
  Date now = Clock::now();
  const Clock::Override clock([&] { return now; },
                              [&](double) {
                                ++sleeps;
                                now += std::chrono::hours(1);
                              });
  EXPECT_EQ(runHelper({"mount-all"}).code, ExitCode::failed);
  EXPECT_EQ(runHelper({"mount", "fehlt"}).code, ExitCode::failed);
  EXPECT_EQ(sleeps, 0);
}

TEST_F(MountCommandTest, WithoutProblemsAllIsWell) {
  saveRegistry({good_});
  const HelperResult result = runHelper({"mount-all"});
  EXPECT_EQ(result.code, ExitCode::done);
  EXPECT_EQ(result.out, "Alles ist eingehängt, was nicht pausiert ist.\n");
  EXPECT_EQ(runHelper({"mount-all", "--json"}).json(), Json::parse(R"({"problems": []})"));
}

TEST_F(MountCommandTest, ARunThatAnotherOperationKeepsFromItsWorkHasNotFailed) {
  const OperationLock lock;
  const HelperResult result = runHelper({"mount-all", "--json"});
  EXPECT_EQ(result.code, ExitCode::done);
  EXPECT_EQ(result.json()["problems"][0]["kind"], "skipped");
}

TEST_F(MountCommandTest, PausesAreShown) {
  EXPECT_EQ(runHelper({"pause"}).out, "Das Einhängen ist nicht pausiert.\n");
  EXPECT_EQ(runHelper({"pause", "--json"}).json(), Json::parse(R"({"entries": []})"));
  MountPause::set("/Volumes/Nicht da", 3600, "Laufwerk wird\nausgeworfen");
  MountPause::set(std::nullopt, 3600, "Ruhezustand");
  const Json::Value entries = runHelper({"pause", "--json"}).json()["entries"];
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0]["volume"], "/Volumes/Nicht da");
  EXPECT_EQ(entries[0]["reason"], "Laufwerk wird\nausgeworfen");
  EXPECT_TRUE(entries[0].contains("since") && entries[0].contains("until"));
  EXPECT_FALSE(entries[1].contains("volume"));
  const std::string text = runHelper({"pause"}).out;
  EXPECT_NE(text.find("Laufwerk wird\\nausgeworfen"), std::string::npos);
  EXPECT_NE(text.find("alle Laufwerke"), std::string::npos);
}

}  // namespace
}  // namespace fernwahrung
