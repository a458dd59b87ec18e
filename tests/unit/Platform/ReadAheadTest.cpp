#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/FileDescriptor.h"
#include "Platform/ReadAhead.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <unistd.h>

namespace fernwahrung {
namespace {

TEST(ReadAhead, LeavesThePlaceInTheFileAndItsBytes) {
  const TempFolder folder;
  writeFile(folder / "file", "0123456789");
  const FileDescriptor fd(::open((folder / "file").c_str(), O_RDONLY | O_CLOEXEC));
  char byte = 0;
  ASSERT_EQ(::read(fd.get(), &byte, 1), 1);
  for (const std::int64_t length :
       {std::int64_t{0}, std::int64_t{5}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::max()}) {
    Platform::adviseWillRead(fd.get(), 3, length);
  }
  Platform::adviseWillRead(-1, 0, 1);
  ASSERT_EQ(::read(fd.get(), &byte, 1), 1);
  EXPECT_EQ(byte, '1');
}

}  // namespace
}  // namespace fernwahrung
