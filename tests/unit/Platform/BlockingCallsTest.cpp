#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/BlockingCalls.h"
#include "Foundation/ChildProcess.h"
#include "Foundation/Paths.h"
#include "Platform/Directory.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/PrivateSize.h"
#include "Platform/Trash.h"
#include "Platform/Volume.h"

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

int announcementsOf(const std::function<void()>& call) {
  int count = 0;
  const BlockingCalls::Watch watch([&](const char*) { ++count; });
  call();
  return count;
}

TEST(BlockingCallsOfThePlatform, EachIsAnnounced) {
  TempHome home;
  writeFile(home / "file", "bytes");
  makeFolder(home / "folder");
  const std::string file = home / "file";
  const std::string folder = home / "folder";
  ASSERT_FALSE(Platform::makeSymlink("file", home / "link"));
  const auto info = *Platform::fileInfo(file);
  const std::pair<const char*, std::function<void()>> calls[] = {
      {"fileInfo", [&] { Platform::fileInfo(file); }},
      {"realPath", [&] { Platform::realPath(file); }},
      {"linkText", [&] { Platform::linkText(home / "link"); }},
      {"linkTextAt", [&] { Platform::linkTextAt(AT_FDCWD, (home / "link").c_str()); }},
      {"names", [&] { Platform::names(folder); }},
      {"volumeFacts", [&] { Platform::volumeFacts(folder); }},
      {"capacityForImportantUsage", [&] { Platform::capacityForImportantUsage(folder); }},
      {"privateSize", [&] { Platform::privateSize(file); }},
      {"isImmutable", [&] { Platform::isImmutable(folder); }},
      {"setImmutable", [&] { Platform::setImmutable(folder, false); }},
      {"createFile", [&] { Platform::createFile(home / "new"); }},
      {"flushDirectory", [&] { Platform::flushDirectory(folder); }},
      {"flushVolume", [&] { Platform::flushVolume(folder); }},
      {"makeDirectory", [&] { Platform::makeDirectory(home / "made", 0755); }},
      {"removeDirectory", [&] { Platform::removeDirectory(home / "made"); }},
      {"makeSymlink", [&] { Platform::makeSymlink("file", home / "second link"); }},
      {"hardLink", [&] { Platform::hardLink(file, home / "second"); }},
      {"rename", [&] { Platform::rename(home / "second", home / "third"); }},
      {"renameExclusive", [&] { Platform::renameExclusive(home / "third", home / "fourth"); }},
      {"unlink", [&] { Platform::unlink(home / "fourth"); }},
      {"clone", [&] { Platform::clone(file, home / "clone"); }},
      {"copyDirectoryAttributes", [&] { Platform::copyDirectoryAttributes(folder, folder); }},
      {"setModificationTime", [&] { Platform::setModificationTime(file, info); }},
      {"moveToTrash", [&] { Platform::moveToTrash(home / "new"); }},
      {"ensure", [&] { Paths::ensure(folder); }},
  };
  for (const auto& [name, call] : calls) EXPECT_GE(announcementsOf(call), 1) << name;
  EXPECT_EQ(announcementsOf([&] { Platform::writeAndFlush(file, "new bytes"); }), 2);
}

TEST(BlockingCallsOfThePlatform, WaitingForAProgramIsAnnounced) {
  ChildProcess child("/bin/sh", {"-c", "echo text"}, ChildProcess::Stream::captured,
                     ChildProcess::Stream::null);
  EXPECT_EQ(announcementsOf([&] { child.wait(); }), 1);
  EXPECT_EQ(announcementsOf([&] { child.wait(); }), 0);
  EXPECT_EQ(announcementsOf([&] { child.takeOutput(); }), 1);
}

}  // namespace
}  // namespace fernwahrung
