// What all tests share that kill the helper at one of its changing system calls.
#pragma once

#include "Scene.h"
#include "support/KillAt.h"
#include "support/Program.h"

#include "Records/Journal.h"

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

namespace fernwahrung {

inline bool isRename(const std::string& call, const std::string& target) {
  return call.starts_with("rename ") && call.find(" -> ") != std::string::npos &&
         call.find(target, call.find(" -> ")) != std::string::npos;
}

class KillScene : public Scene {
 protected:
  void SetUp() override {
    if (auto reason = KillAt::unavailable()) GTEST_SKIP() << *reason;
    Scene::SetUp();
  }

  /// The calls to die at, from a run that was only counted: each that touches the folder, the list or a
  /// journal's name, and of the others each `sparse`-th; with FERNWAHRUNG_TEST_FULL set every one.
  std::vector<int> moments(const std::vector<std::string>& calls, int sparse) const {
    const bool all = std::getenv("FERNWAHRUNG_TEST_FULL") != nullptr;
    std::set<int> chosen;
    bool touched = false;
    for (int n = 1; n <= static_cast<int>(calls.size()); ++n) {
      const std::string& call = calls[static_cast<std::size_t>(n - 1)];
      bool copying = call.ends_with("[cp]") || call.ends_with("[ditto]");
      bool touchesTheFolder = call.find(source) != std::string::npos && !copying;
      bool touchesTheList = call.find("registry.json") != std::string::npos;
      // what a journal says changes with its renaming alone
      bool noted = isRename(call, "/journal/");
      if (all || touchesTheFolder || touchesTheList || noted || n % sparse == 0) chosen.insert(n);
      // before the call after it: that one is done, and nothing is noted yet
      if (touched) chosen.insert(n);
      touched = touchesTheFolder;
    }
    return {chosen.begin(), chosen.end()};
  }

  struct Death {
    int killAt = 0;  // 0: none, the calls are only counted
    KillAt::Mode mode = KillAt::Mode::main;
    bool recordCalls = false;
  };
  /// Runs the helper until that call, and waits for the tools it leaves behind.
  static KillAt::Result runUntil(const std::vector<std::string>& arguments, const Death& death) {
    std::vector<std::string> argv{FERNWAHRUNG_HELPER};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    KillAt run({.argv = argv, .killAt = death.killAt, .mode = death.mode, .recordCalls = death.recordCalls});
    run.wait();
    EXPECT_TRUE(run.waitForTree());
    return run.result();
  }

  static void rollBackInAFreshProcess() {
    const ProgramResult result = runProgram({FERNWAHRUNG_HELPER, "rollback", "--all"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(Journal::unfinished().empty());
    EXPECT_EQ(runProgram({FERNWAHRUNG_HELPER, "rollback", "--all"}).status, 0)
        << "a second rollback finds nothing";
  }
};

}  // namespace fernwahrung
