#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

std::string attribute(const std::string& path, const char* name) {
  std::string value(70000, '\0');
  const ssize_t length = ::lgetxattr(path.c_str(), name, value.data(), value.size());
  if (length < 0) return "none";
  value.resize(static_cast<std::size_t>(length));
  return value;
}

/// "user::rwx,user:1000:r-x,group::r-x,mask::rwx,other::---" in the kernel's form.
std::string accessList() {
  struct Entry {
    std::uint16_t tag, permissions;
    std::uint32_t id;
  };
  const Entry entries[] = {{1, 7, ~0u}, {2, 5, 1000}, {4, 5, ~0u}, {0x10, 7, ~0u}, {0x20, 0, ~0u}};
  const std::uint32_t version = 2;
  std::string bytes(reinterpret_cast<const char*>(&version), sizeof version);
  return bytes.append(reinterpret_cast<const char*>(entries), sizeof entries);
}

struct LinuxAttributes : testing::Test {
  void SetUp() override {
    makeFolder(from);
    makeFolder(to);
  }
  void set(const std::string& path, const char* name, const std::string& value) {
    ASSERT_EQ(::setxattr(path.c_str(), name, value.data(), value.size(), 0), 0) << std::strerror(errno);
  }

  TempFolder folder;
  const std::string from = folder / "from";
  const std::string to = folder / "to";
};

TEST_F(LinuxAttributes, ExtendedAttributesComeOver) {
  const std::string binary("\0\1\xff", 3);
  const std::string large(1500, 'x');
  set(from, "user.empty", "");
  set(from, "user.binary", binary);
  set(from, "user.large", large);
  for (int i = 0; i < 20; ++i) set(from, ("user.one of many names " + std::to_string(i)).c_str(), "v");
  ASSERT_FALSE(Platform::copyDirectoryAttributes(from, to));
  EXPECT_EQ(attribute(to, "user.empty"), "");
  EXPECT_EQ(attribute(to, "user.binary"), binary);
  EXPECT_EQ(attribute(to, "user.large"), large);
  EXPECT_EQ(attribute(to, "user.one of many names 19"), "v");
}

TEST_F(LinuxAttributes, TheAccessListComesOver) {
  set(from, "system.posix_acl_access", accessList());
  set(from, "system.posix_acl_default", accessList());
  ASSERT_FALSE(Platform::copyDirectoryAttributes(from, to));
  EXPECT_EQ(attribute(to, "system.posix_acl_access"), accessList());
  EXPECT_EQ(attribute(to, "system.posix_acl_default"), accessList());
  EXPECT_EQ(Platform::fileInfo(to)->permissions, Platform::fileInfo(from)->permissions);
}

TEST_F(LinuxAttributes, AnInheritedAccessListGoes) {
  set(folder.path(), "system.posix_acl_default", accessList());
  makeFolder(folder / "heir");
  ASSERT_NE(attribute(folder / "heir", "system.posix_acl_default"), "none");
  ASSERT_FALSE(Platform::copyDirectoryAttributes(from, folder / "heir"));
  EXPECT_EQ(attribute(folder / "heir", "system.posix_acl_default"), "none");
  EXPECT_EQ(attribute(folder / "heir", "system.posix_acl_access"), "none");
}

TEST_F(LinuxAttributes, TheOwnerComesOverForRoot) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_EQ(::chown(from.c_str(), 1234, 5678), 0);
  ASSERT_EQ(::chmod(from.c_str(), 06755), 0);
  ASSERT_FALSE(Platform::copyDirectoryAttributes(from, to));
  struct stat status;
  ASSERT_EQ(::stat(to.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 1234u);
  EXPECT_EQ(status.st_gid, 5678u);
  EXPECT_EQ(status.st_mode & 07777, 06755u);
}

TEST_F(LinuxAttributes, AnOrdinaryUserKeepsHisOwnership) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  ASSERT_EQ(::chmod(from.c_str(), 0775), 0);
  ASSERT_EQ(::chown(to.c_str(), 65534, 65534), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(126);
    ::_exit(Platform::copyDirectoryAttributes(from, to).value());
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(Platform::fileInfo(to)->permissions, 0775u);
  EXPECT_EQ(Platform::fileInfo(to)->owner, 65534u);
}

TEST_F(LinuxAttributes, TheLockStaysBehind) {
  set(from, "user.fernwahrung.gesperrt", "755");
  ASSERT_FALSE(Platform::copyDirectoryAttributes(from, to));
  EXPECT_EQ(attribute(to, "user.fernwahrung.gesperrt"), "none");
}

TEST_F(LinuxAttributes, WhatTheTargetCanNotHoldIsAnError) {
  const TempFolder memory("/dev/shm");
  set(from, "user.large", std::string(3000, 'x'));
  makeFolder(memory / "to");
  const auto error = Platform::copyDirectoryAttributes(from, memory / "to");
  // Newer kernels hold such attributes in memory too.
  EXPECT_EQ(!error, attribute(memory / "to", "user.large").size() == 3000);
}

}  // namespace
}  // namespace fernwahrung
