#include "Samples.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Clock.h"
#include "Records/MountPause.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

class MountPauseTest : public ::testing::Test {
 protected:
  std::string file() const { return home_ / "pause.json"; }
  std::string log() const {
    return exists(home_ / "fernwahrung.log") ? readFile(home_ / "fernwahrung.log") : "";
  }

  void pass(int seconds) { now_ += std::chrono::seconds(seconds); }
  Relocation onDrive() const { return fullRelocation(drive_ / "Fotos.sparsebundle"); }
  std::string absentVolume() const { return drive_ / "absent"; }
  Relocation onAbsentVolume() const { return fullRelocation(absentVolume() + "/Fotos.sparsebundle"); }
  static bool isPaused(const Relocation& relocation) {
    return MountPause::load().isPaused(relocation).has_value();
  }

  TempHome home_;
  TempFolder drive_;
  Date now_ = *Dates::parseIso8601("2026-11-15T10:00:00Z");
  Clock::Override clock_{[this] { return now_; }, [](double) {}};
};

TEST_F(MountPauseTest, WithoutAFileNothingIsPaused) {
  EXPECT_TRUE(MountPause::load().entries.empty());
  EXPECT_FALSE(isPaused(onDrive()));
}

TEST_F(MountPauseTest, IsWrittenAsItIs) {
  MountPause::set(drive_.path(), 120, "Auswerfen");
  MountPause::set(std::nullopt, 3600, "Ruhezustand");
  const Json::Value expected = {
      {"entries", Json::Value::array({{{"volume", drive_.path()},
                                       {"since", "2026-11-15T10:00:00Z"},
                                       {"until", "2026-11-15T10:02:00Z"},
                                       {"reason", "Auswerfen"}},
                                      {{"since", "2026-11-15T10:00:00Z"},
                                       {"until", "2026-11-15T11:00:00Z"},
                                       {"reason", "Ruhezustand"}}})},
  };
  EXPECT_EQ(readFile(file()), Json::print(expected));
  EXPECT_FALSE(exists(file() + ".bak"));
  EXPECT_EQ(MountPause::load().entries,
            (std::vector<MountPause::Entry>{
                {drive_.path(), now_, now_ + std::chrono::seconds(120), "Auswerfen"},
                {std::nullopt, now_, now_ + std::chrono::seconds(3600), "Ruhezustand"}}));
}

TEST_F(MountPauseTest, SettingAndClearingIsLogged) {
  MountPause::set("/Volumes/Extern", 120, "Auswerfen");
  MountPause::set(std::nullopt, 120, "Ruhezustand");
  MountPause::clear("/Volumes/Extern");
  MountPause::clear(std::nullopt);
  EXPECT_NE(log().find("] Einhängen pausiert (/Volumes/Extern): Auswerfen\n"), std::string::npos);
  EXPECT_NE(log().find("] Einhängen pausiert (alle Laufwerke): Ruhezustand\n"), std::string::npos);
  EXPECT_NE(log().find("] Pause aufgehoben (/Volumes/Extern)\n"), std::string::npos);
  EXPECT_NE(log().find("] Pause aufgehoben (alle Laufwerke)\n"), std::string::npos);
}

TEST_F(MountPauseTest, ADamagedFileReadsAsEmptyAndTheNextSetReplacesIt) {
  for (const char* text :
       {"", "{", "[]", "{}", "{\"entries\":7}", "{\"entries\":[{}]}", "{\"entries\":[null]}",
        "{\"entries\":[{\"since\":\"x\",\"until\":\"y\",\"reason\":\"z\"}]}", "{\"entries\":null}"}) {
    writeFile(file(), text);
    EXPECT_TRUE(MountPause::load().entries.empty()) << text;
    MountPause::set(std::nullopt, 60, "x");
    EXPECT_EQ(MountPause::load().entries.size(), 1U) << text;
  }
}

TEST_F(MountPauseTest, SettingAVolumeTwiceLeavesTheLaterEntry) {
  MountPause::set(drive_.path(), 60, "erste");
  MountPause::set("/Volumes/Andere", 60, "andere");
  pass(10);
  MountPause::set(drive_.path(), 60, "zweite");
  const auto entries = MountPause::load().entries;
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].reason, "andere");
  EXPECT_EQ(entries[1], (MountPause::Entry{drive_.path(), now_, now_ + std::chrono::seconds(60), "zweite"}));
}

TEST_F(MountPauseTest, AllDrivesAndOneVolumeAreDifferentEntries) {
  MountPause::set(std::nullopt, 60, "alle");
  MountPause::set(drive_.path(), 60, "eines");
  MountPause::clear(std::nullopt);
  ASSERT_EQ(MountPause::load().entries.size(), 1U);
  EXPECT_EQ(MountPause::load().entries[0].reason, "eines");
  MountPause::clear(drive_.path() + "/");
  EXPECT_EQ(MountPause::load().entries.size(), 1U);
  MountPause::clear(drive_.path());
  EXPECT_TRUE(MountPause::load().entries.empty());
}

TEST_F(MountPauseTest, APauseForAllDrivesStopsEveryRelocation) {
  MountPause::set(std::nullopt, 3600, "Ruhezustand");
  pass(600);
  EXPECT_TRUE(isPaused(onDrive()));
  EXPECT_TRUE(isPaused(plainRelocation("/irgendwo")));
  EXPECT_EQ(MountPause::load().isPaused(onDrive())->reason, "Ruhezustand");
}

TEST_F(MountPauseTest, ARelocationOnAnotherVolumeIsNotPaused) {
  MountPause::set(drive_.path(), 3600, "Auswerfen");
  EXPECT_FALSE(isPaused(fullRelocation(drive_.path() + "2/Fotos.sparsebundle")));
  EXPECT_FALSE(isPaused(fullRelocation(drive_.path())));
  EXPECT_TRUE(isPaused(onDrive()));
}

TEST_F(MountPauseTest, AVolumeThatIsThereStaysPausedForItsFirst60Seconds) {
  MountPause::set(drive_.path(), 3600, "Auswerfen");
  pass(30);
  EXPECT_TRUE(isPaused(onDrive()));
  pass(30);
  EXPECT_TRUE(isPaused(onDrive()));
  EXPECT_EQ(log().find("aufgehoben"), std::string::npos);
}

TEST_F(MountPauseTest, AVolumeThatIsThereAfter61SecondsHasComeBack) {
  MountPause::set(drive_.path(), 3600, "Auswerfen");
  MountPause::set("/Volumes/Andere", 3600, "Auswerfen");
  pass(61);
  EXPECT_FALSE(isPaused(onDrive()));
  EXPECT_NE(log().find("Pause aufgehoben (" + drive_.path() + ")\n"), std::string::npos);
  ASSERT_EQ(MountPause::load().entries.size(), 1U);
  EXPECT_EQ(MountPause::load().entries[0].volume, "/Volumes/Andere");
}

TEST_F(MountPauseTest, APauseIsLiftedOnceHoweverManyRelocationsAreAsked) {
  MountPause::set(drive_.path(), 3600, "Auswerfen");
  pass(61);
  const auto pause = MountPause::load();
  EXPECT_FALSE(pause.isPaused(onDrive()));
  EXPECT_FALSE(pause.isPaused(plainRelocation(drive_ / "Musik")));
  const auto first = log().find("Pause aufgehoben");
  EXPECT_NE(first, std::string::npos);
  EXPECT_EQ(log().find("Pause aufgehoben", first + 1), std::string::npos);
}

TEST_F(MountPauseTest, APauseSetAnewIsNotLiftedByAnOlderReading) {
  MountPause::set(drive_.path(), 3600, "Auswerfen");
  const auto old = MountPause::load();
  pass(61);
  MountPause::set(drive_.path(), 3600, "noch einmal Auswerfen");
  EXPECT_FALSE(old.isPaused(onDrive()));
  EXPECT_TRUE(isPaused(onDrive()));
  ASSERT_EQ(MountPause::load().entries.size(), 1U);
  EXPECT_EQ(MountPause::load().entries[0].reason, "noch einmal Auswerfen");
  EXPECT_EQ(log().find("aufgehoben"), std::string::npos);
}

TEST_F(MountPauseTest, APauseThatComesBackWithItsVolumeLeavesTheOneForAllDrives) {
  MountPause::set(drive_.path(), 3600, "Auswerfen");
  MountPause::set(std::nullopt, 3600, "Ruhezustand");
  pass(61);
  EXPECT_EQ(MountPause::load().isPaused(onDrive())->reason, "Ruhezustand");
}

TEST_F(MountPauseTest, AVolumeThatIsGoneStaysPaused) {
  MountPause::set(absentVolume(), 3600, "Auswerfen");
  pass(61);
  EXPECT_TRUE(isPaused(onAbsentVolume()));
  pass(3000);
  EXPECT_TRUE(isPaused(onAbsentVolume()));
}

TEST_F(MountPauseTest, AnEntryThatHasRunOutHasNoEffectThoughTheFileHoldsIt) {
  MountPause::set(absentVolume(), 60, "Auswerfen");
  MountPause::set(std::nullopt, 60, "Ruhezustand");
  const auto before = readFile(file());
  pass(60);
  EXPECT_EQ(MountPause::load().entries.size(), 2U);
  pass(1);
  EXPECT_TRUE(MountPause::load().entries.empty());
  EXPECT_FALSE(isPaused(onAbsentVolume()));
  EXPECT_EQ(readFile(file()), before);
}

TEST_F(MountPauseTest, APauseThatCannotBeStoredIsLostWithoutAWord) {
  makeFolder(file() + "/in the way");
  MountPause::set(std::nullopt, 60, "x");
  EXPECT_TRUE(MountPause::load().entries.empty());
  MountPause pause;
  pause.entries.push_back({"\xff", now_, now_, "x"});
  pause.save();
  EXPECT_TRUE(MountPause::load().entries.empty());
}

}  // namespace
}  // namespace fernwahrung
