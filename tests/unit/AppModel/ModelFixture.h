#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Model/Background.h"
#include "support/EventLoop.h"
#include "support/FakeCore.h"
#include "support/ScriptedQuestions.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"

#include <gtest/gtest.h>
#include <optional>

namespace fernwahrung {

/// A model on a described world, with the event loop of the test's thread.
class ModelFixture : public testing::Test {
 protected:
  /// The model, after its first refresh. Its timer never ticks by itself.
  AppModel& start() {
    create();
    EXPECT_TRUE(pumpUntil([this] { return owned->loaded(); }));
    return *owned;
  }
  AppModel& create() { return owned.emplace(core.calls(), questions, std::chrono::hours(1)); }

  /// Refreshes once more and waits for the end.
  void refresh() {
    std::size_t before = count("readWorld");
    owned->refresh();
    EXPECT_TRUE(pumpUntil([&] { return count("readWorld") > before; }));
    settle();
  }
  bool untilIdle() {
    bool idle = pumpUntil([this] { return !owned->busyTitle(); });
    settle();
    return idle;
  }
  /// Everything that runs in the background has ended and was published.
  void settle() {
    Background::waitForDone();
    pumpOnce();
    Background::waitForDone();
    pumpOnce();
  }
  std::size_t count(const std::string& call) {
    auto notes = core.noted();
    return static_cast<std::size_t>(std::count(notes.begin(), notes.end(), call));
  }

  void TearDown() override {
    owned.reset();
    Background::waitForDone();
    pumpOnce();
  }

  TempHome home;
  FakeCore core;
  ScriptedQuestions questions;
  std::optional<AppModel> owned;
};

}  // namespace fernwahrung
