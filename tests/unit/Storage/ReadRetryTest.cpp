#include "Storage/ReadRetry.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>

namespace fernwahrung::ReadRetry {
namespace {

TEST(ReadRetryTest, AnInterruptedOpenIsTriedAgain) {
  int calls = 0;
  const int fd = openRetrying([&] {
    errno = EINTR;
    return ++calls < 100 ? -1 : 7;
  });
  EXPECT_EQ(fd, 7);
  EXPECT_EQ(calls, 100);
}

TEST(ReadRetryTest, AfterAHundredInterruptionsTheOpenFails) {
  int calls = 0;
  const int fd = openRetrying([&] {
    ++calls;
    errno = EINTR;
    return -1;
  });
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(calls, 100);
}

TEST(ReadRetryTest, AnyOtherFailureOfTheOpenIsFinal) {
  int calls = 0;
  const int fd = openRetrying([&] {
    ++calls;
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(calls, 1);
}

TEST(ReadRetryTest, ShortReadsAreAddedUp) {
  std::size_t left = 10;
  const auto filled = readFully(
      [&](std::size_t offset, std::size_t length) {
        EXPECT_EQ(offset, 10 - left);
        const std::size_t count = std::min({left, length, std::size_t{3}});
        left -= count;
        return static_cast<ssize_t>(count);
      },
      100);
  ASSERT_TRUE(filled);
  EXPECT_EQ(filled->count, 10u);
  EXPECT_TRUE(filled->reachedEnd);
}

TEST(ReadRetryTest, NoMoreIsReadThanWanted) {
  int calls = 0;
  const auto filled = readFully(
      [&](std::size_t, std::size_t length) {
        ++calls;
        return static_cast<ssize_t>(length);
      },
      64);
  ASSERT_TRUE(filled);
  EXPECT_EQ(filled->count, 64u);
  EXPECT_FALSE(filled->reachedEnd);
  EXPECT_EQ(calls, 1);
}

TEST(ReadRetryTest, AThousandInterruptionsAreBorne) {
  int calls = 0;
  const auto filled = readFully(
      [&](std::size_t, std::size_t) -> ssize_t {
        if (++calls <= 1000) {
          errno = calls % 2 == 0 ? EINTR : EAGAIN;
          return -1;
        }
        return calls == 1001 ? 5 : 0;
      },
      100);
  ASSERT_TRUE(filled);
  EXPECT_EQ(filled->count, 5u);
  EXPECT_TRUE(filled->reachedEnd);
}

TEST(ReadRetryTest, OneMoreGivesWhatIsThereAndNotTheEnd) {
  int calls = 0;
  const auto filled = readFully(
      [&](std::size_t, std::size_t) -> ssize_t {
        if (++calls == 1) return 4;
        errno = EINTR;
        return -1;
      },
      100);
  ASSERT_TRUE(filled);
  EXPECT_EQ(filled->count, 4u);
  EXPECT_FALSE(filled->reachedEnd);
  EXPECT_EQ(calls, 1 + 1001);
}

TEST(ReadRetryTest, AnErrorOfTheDriveIsNoEnd) {
  const auto filled = readFully(
      [](std::size_t, std::size_t) -> ssize_t {
        errno = EIO;
        return -1;
      },
      100);
  EXPECT_FALSE(filled);
  EXPECT_EQ(errno, EIO);
}

}  // namespace
}  // namespace fernwahrung::ReadRetry
