// Who holds files open, and what ps tells of a process: this very one.
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/HostTools.h"
#include "Processes/ProcessDescriber.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

void skipWithout(const char* tool) {
  if (::access(HostTools::locate(tool).c_str(), X_OK) != 0) GTEST_SKIP() << "there is no " << tool;
}

struct OpenFileList : testing::Test {
  void SetUp() override { skipWithout("/usr/sbin/lsof"); }

  std::vector<std::string> myFiles() const {
    std::vector<std::string> paths;
    for (const OpenFile& file : FileOps::openFiles(folder.path())) {
      if (file.pid == ::getpid()) paths.push_back(file.path);
    }
    return paths;
  }

  TempFolder folder;
  const std::string path = folder / "Datei mit Ümlaut und Leerzeichen";
};

TEST_F(OpenFileList, NamesAnOpenFileOfThisProcess) {
  writeFile(path, "bytes");
  const FileDescriptor fd(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  EXPECT_EQ(myFiles(), std::vector<std::string>{FileOps::normalize(path)});
  for (const OpenFile& file : FileOps::openFiles(folder.path())) EXPECT_TRUE(file.isWriting());
}

TEST_F(OpenFileList, IsEmptyWhenNothingIsOpen) {
  writeFile(path, "bytes");
  EXPECT_EQ(myFiles(), std::vector<std::string>{});
}

TEST_F(OpenFileList, LeadsToADescriptionOfTheProcess) {
  skipWithout("/bin/ps");
  writeFile(path, "bytes");
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const auto described = ProcessDescriber::describe(::getpid(), FileOps::openFiles(folder.path()),
                                                    folder.path(), 1, ::geteuid());
  ASSERT_TRUE(described);
  EXPECT_EQ(described->openFileCount, 1);
}

struct ProcessList : testing::Test {
  void SetUp() override { skipWithout("/bin/ps"); }
};

TEST_F(ProcessList, TellsParentUserStartAndPathOfThisProcess) {
  const auto info = ProcessDescriber::ps(::getpid());
  ASSERT_TRUE(info);
  EXPECT_EQ(info->ppid, ::getppid());
  EXPECT_EQ(info->uid, ::geteuid());
  EXPECT_FALSE(info->startedAt.empty());
  EXPECT_TRUE(info->path.ends_with("/fernwahrung-selftest")) << info->path;
}

TEST_F(ProcessList, TellsTheSameStartTwice) {
  const auto first = ProcessDescriber::ps(::getpid());
  const auto second = ProcessDescriber::ps(::getpid());
  ASSERT_TRUE(first && second);
  EXPECT_EQ(*first, *second);
}

TEST_F(ProcessList, KnowsNothingOfAProcessThatIsNotThere) {
  EXPECT_FALSE(ProcessDescriber::ps(0x7ffffff0));
}

}  // namespace
}  // namespace fernwahrung
