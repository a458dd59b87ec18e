#include "support/Files.h"
#include "support/InjectFault.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

class InjectFaultTest : public testing::Test {
 protected:
  void SetUp() override {
    if (auto reason = InjectFault::unavailable()) GTEST_SKIP() << *reason;
    writeFile(folder_ / "first", "1");
    writeFile(folder_ / "second", "2");
  }
  const TempFolder folder_;
};

TEST_F(InjectFaultTest, FailsReadingOfOneFileOnly) {
  const InjectFault::Fault fault{
      .calls = "read,copy_file_range", .error = "EIO", .paths = {folder_ / "second"}};
  const ProgramResult result = InjectFault::run({"cat", folder_ / "first", folder_ / "second"}, fault);
  EXPECT_EQ(result.out, "1");
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("Input/output error"), std::string::npos) << result.err;
}

TEST_F(InjectFaultTest, FailsInChildrenFromTheCountedCallOn) {
  const InjectFault::Fault fault{.calls = "mkdir,mkdirat", .error = "ENOSPC", .when = "2+"};
  const std::string path = folder_ / "new";
  const ProgramResult result =
      InjectFault::run({"sh", "-c", "mkdir " + path + "1 " + path + "2 " + path + "3; echo went on"}, fault);
  EXPECT_EQ(result.out, "went on\n");
  EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
  EXPECT_TRUE(exists(path + "1"));
  EXPECT_FALSE(exists(path + "2"));
  EXPECT_FALSE(exists(path + "3"));
}

TEST_F(InjectFaultTest, LeavesAProgramAloneThatDoesNotMeetTheFault) {
  const InjectFault::Fault fault{.calls = "fsync", .error = "EIO"};
  EXPECT_EQ(InjectFault::run({"cat", folder_ / "first"}, fault).out, "1");
}

}  // namespace
}  // namespace fernwahrung
