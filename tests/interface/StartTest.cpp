// How the program starts with many relocations, and what a refresh costs.
#include "FernwahrungApp/Model/Background.h"
#include "FernwahrungApp/Views/MainWindow.h"
#include "MainThread.h"
#include "support/EventLoop.h"
#include "support/Files.h"
#include "support/Mounts.h"
#include "support/ScriptedQuestions.h"
#include "support/TempFolder.h"

#include "Foundation/PropertyList.h"
#include "Records/RegistryStore.h"
#include "Storage/FileOps.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <map>
#include <sys/mount.h>
#include <thread>

namespace fernwahrung {
namespace {

class Start : public testing::Test {
 protected:
  static constexpr int count = 50;

  /// The last `missing` of them lie on a drive that is not there.
  void makeRelocations(int missing) {
    Registry registry;
    for (int number = 0; number < count; ++number) {
      Relocation relocation;
      relocation.id = Uuid::random();
      relocation.name = fmt::format("Ordner {}", number);
      relocation.kind = RelocationKind::image;
      relocation.sourcePath = source(number);
      relocation.storagePath = number < count - missing
                                   ? bundle(number)
                                   : fmt::format("/Volumes/Gibt es nicht/{}.sparsebundle", number);
      relocation.createdAt = *Dates::parseIso8601("2026-11-15T10:09:15Z");
      makeFolder(relocation.sourcePath);
      registry.relocations.push_back(relocation);
      if (number >= count - missing) continue;
      writeFile(bundle(number) + "/Info.plist", PropertyList::printXml({{"size", 2'000'000'000}}));
      writeFile(bundle(number) + "/bands/0", std::string(4096, 'x'));
    }
    RegistryStore::save(registry);
  }
  std::string source(int number) const { return folder / fmt::format("mac/folder-{:02}", number); }
  std::string bundle(int number) const {
    return folder / fmt::format("drive/bundle-{:02}.sparsebundle", number);
  }

  void TearDown() override {
    window.reset();
    model.reset();
    Background::waitForDone();
    pumpOnce();
  }

  static CoreCalls quietCalls() {
    CoreCalls calls;
    calls.notify = [](const std::string&, const std::string&) {};
    return calls;
  }

  TempHome home;
  TempFolder folder;
  ScriptedQuestions questions;
  std::optional<AppModel> model;
  std::optional<MainWindow> window;
};

TEST_F(Start, TheWindowIsThereBeforeTheFirstRefreshHasEndedAndNothingStalls) {
  makeRelocations(10);
  MainThreadWatch disk;
  // As if a missing drive kept the first refresh waiting: the window must not wait with it.
  CoreCalls calls = quietCalls();
  auto shown = std::make_shared<std::atomic<bool>>(false);  // the model reads on after this test's last line
  calls.readWorld = [shown](const CapacityThresholds& thresholds) {
    while (!*shown) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return readWorld(thresholds);
  };
  StallWatch stalls;
  model.emplace(std::move(calls), questions, std::chrono::milliseconds(100));
  {
    MainThreadWatch::Armed armed(disk);
    stalls.begin();
    window.emplace(*model);
    stalls.begin();
    window->show();
    stalls.begin();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&*window));
    EXPECT_FALSE(model->loaded());
    *shown = true;
    ASSERT_TRUE(pumpUntil([this] { return model->loaded(); }));
    // Several refreshes more, and a user who walks through the list meanwhile.
    auto* list = window->findChild<QWidget*>("relocationList");
    ASSERT_NE(list, nullptr);
    list->setFocus();
    pumpOnce();
    for (int i = 0; i < count - 1; ++i) {
      QTest::keyClick(list, Qt::Key_Down);
      pumpOnce();
    }
    EXPECT_EQ(model->selectedRelocation()->name, "Ordner 49");
    std::size_t before = model->statuses().size();
    EXPECT_EQ(before, static_cast<std::size_t>(count));
  }
  EXPECT_EQ(disk.offences(), "");
  RecordProperty("longestStallMilliseconds", std::to_string(stalls.longestMilliseconds()));
  std::cout << "longest stall: " << stalls.longestMilliseconds() << " ms\n";
  EXPECT_LT(stalls.longestMilliseconds(), 50);
}

TEST_F(Start, ARefreshOfFiftyMountedImagesStartsFewToolsAndWalksEachBundleOnce) {
  makeRelocations(0);
  for (int number = 0; number < count; ++number) {
    if (::mount("tmpfs", source(number).c_str(), "tmpfs", 0, "size=1m") != 0) {
      GTEST_SKIP() << "nothing can be mounted here";
    }
  }
  model.emplace(quietCalls(), questions, std::chrono::hours(1));
  ASSERT_TRUE(pumpUntil([this] { return model->loaded(); }));
  std::mutex mutex;
  std::map<std::string, int> calls;
  {
    BlockingCalls::Watch watch([&](const char* call) {
      std::lock_guard guard(mutex);
      ++calls[call];
    });
    model->refresh();
    Background::waitForDone();
    pumpOnce();
  }
  for (const auto& [id, status] : model->statuses()) EXPECT_EQ(status.summary, "Eingehängt");
  EXPECT_LE(calls["start a program"], 3);
  // A bundle has two folders; the journals' is the one more.
  EXPECT_EQ(calls["open folder"], 2 * count + 1);
}

}  // namespace
}  // namespace fernwahrung
