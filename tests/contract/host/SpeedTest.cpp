#include "HostTest.h"
#include "support/Files.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

namespace fernwahrung::host {
namespace {

struct Speed : ImageTest {
  /// The middle of several runs, in milliseconds.
  static double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }

  static double milliseconds(const std::function<ProgramResult()>& run) {
    const auto begin = std::chrono::steady_clock::now();
    const ProgramResult result = run();
    EXPECT_EQ(result.status, 0) << result.err;
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
  }
};

/// Every mounting waits for these. The bounds are far above what is usual, for machines under load.
TEST_F(Speed, OfALargeImageIsThatOfASmallOne) {
  std::vector<double> creations, attachments, detachments, lists;
  for (int i = 0; i < 5; ++i) {
    const std::string image = imagePath(std::to_string(i));
    creations.push_back(milliseconds([&] { return create(image, 28610); }));
    attachments.push_back(milliseconds([&] { return attach(image, mountPoint); }));
    lists.push_back(milliseconds([] { return runTool("hdiutil", {"info", "-plist"}); }));
    writeFile(mountPoint + "/file", "bytes");
    detachments.push_back(milliseconds([&] { return detach(mountPoint); }));
  }
  std::printf("create %.0f ms, attach %.0f ms, info %.0f ms, detach %.0f ms (30 GB)\n", median(creations),
              median(attachments), median(lists), median(detachments));
  EXPECT_LT(median(creations), 3000);
  EXPECT_LT(median(attachments), 2000);
  EXPECT_LT(median(lists), 1000);
  EXPECT_LT(median(detachments), 2000);
}

}  // namespace
}  // namespace fernwahrung::host
