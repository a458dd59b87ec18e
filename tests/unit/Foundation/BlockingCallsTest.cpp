#include "support/TempFolder.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/Log.h"
#include "Foundation/OperationLock.h"
#include "Foundation/Shell.h"

#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <thread>

namespace fernwahrung {
namespace {

struct Calls {
  std::mutex mutex;
  std::set<std::pair<std::string, std::thread::id>> seen;

  BlockingCalls::Watch watch{[this](const char* call) {
    std::lock_guard guard(mutex);
    seen.emplace(call, std::this_thread::get_id());
  }};
  bool has(const char* call, std::thread::id thread = std::this_thread::get_id()) {
    std::lock_guard guard(mutex);
    return seen.contains({call, thread});
  }
};

TEST(BlockingCalls, AreToldOnTheThreadThatMakesThem) {
  TempHome home;
  Calls calls;
  std::thread::id other;
  std::thread([&] {
    other = std::this_thread::get_id();
    Log::write("Zeile");
  }).join();
  EXPECT_TRUE(calls.has("log", other));
  EXPECT_FALSE(calls.has("log"));
}

TEST(BlockingCalls, TheLockAndAProgramsStartAreAmongThem) {
  TempHome home;
  Calls calls;
  { OperationLock lock; }
  Shell::run("/bin/true", {}, {.check = true, .log = false});
  EXPECT_TRUE(calls.has("lock"));
  EXPECT_TRUE(calls.has("start a program"));
}

TEST(BlockingCalls, NobodyIsToldAfterTheWatchHasEnded) {
  int told = 0;
  {
    BlockingCalls::Watch watch([&](const char*) { ++told; });
    BlockingCalls::announce("einmal");
  }
  BlockingCalls::announce("zweimal");
  EXPECT_EQ(told, 1);
}

}  // namespace
}  // namespace fernwahrung
