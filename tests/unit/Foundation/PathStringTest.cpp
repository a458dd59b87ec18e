#include "Foundation/PathString.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

TEST(PathString, joinsWithOneSlash) {
  EXPECT_EQ(PathString::join("/a", "b"), "/a/b");
  EXPECT_EQ(PathString::join("/a/", "b"), "/a/b");
  EXPECT_EQ(PathString::join("/a//", "/b"), "/a/b");
  EXPECT_EQ(PathString::join("/", "b"), "/b");
  EXPECT_EQ(PathString::join("", "b"), "b");
  EXPECT_EQ(PathString::join("", "/b"), "/b");
  EXPECT_EQ(PathString::join("/a", ""), "/a");
  EXPECT_EQ(PathString::join("a", "b/c"), "a/b/c");
}

TEST(PathString, lastComponent) {
  EXPECT_EQ(PathString::lastComponent("/a/b"), "b");
  EXPECT_EQ(PathString::lastComponent("/a/b/"), "b");
  EXPECT_EQ(PathString::lastComponent("b"), "b");
  EXPECT_EQ(PathString::lastComponent("/"), "/");
  EXPECT_EQ(PathString::lastComponent("//"), "/");
  EXPECT_EQ(PathString::lastComponent(""), "");
}

TEST(PathString, parent) {
  EXPECT_EQ(PathString::parent("/a/b"), "/a");
  EXPECT_EQ(PathString::parent("/a/b/"), "/a");
  EXPECT_EQ(PathString::parent("/a//b"), "/a");
  EXPECT_EQ(PathString::parent("/a"), "/");
  EXPECT_EQ(PathString::parent("/"), "/");
  EXPECT_EQ(PathString::parent("a"), "");
  EXPECT_EQ(PathString::parent("a/b"), "a");
  EXPECT_EQ(PathString::parent(""), "");
}

TEST(PathString, extension) {
  EXPECT_EQ(PathString::extension("/a/b.sparsebundle"), "sparsebundle");
  EXPECT_EQ(PathString::extension("/a/b.sparsebundle/"), "sparsebundle");
  EXPECT_EQ(PathString::extension("/a/b.tar.gz"), "gz");
  EXPECT_EQ(PathString::extension("/a.d/b"), "");
  EXPECT_EQ(PathString::extension("/a/.profile"), "");
  EXPECT_EQ(PathString::extension("/a/.profile.bak"), "bak");
  EXPECT_EQ(PathString::extension("/a/b."), "");
  EXPECT_EQ(PathString::extension(""), "");
  EXPECT_EQ(PathString::extension("/"), "");
}

TEST(PathString, withoutExtension) {
  EXPECT_EQ(PathString::withoutExtension("/a/b.sparsebundle"), "/a/b");
  EXPECT_EQ(PathString::withoutExtension("/a/b.tar.gz"), "/a/b.tar");
  EXPECT_EQ(PathString::withoutExtension("/a.d/b"), "/a.d/b");
  EXPECT_EQ(PathString::withoutExtension("/a/.profile"), "/a/.profile");
  EXPECT_EQ(PathString::withoutExtension("/"), "/");
  EXPECT_EQ(PathString::withoutExtension(""), "");
}

TEST(PathString, insideIsToldByWholeComponents) {
  EXPECT_TRUE(PathString::isInside("/a/b/c", "/a/b"));
  EXPECT_TRUE(PathString::isInside("/a/b", "/a/b"));
  EXPECT_TRUE(PathString::isInside("/a/b/", "/a/b"));
  EXPECT_TRUE(PathString::isInside("/a/b/c", "/a/b/"));
  EXPECT_TRUE(PathString::isInside("/a", "/"));
  EXPECT_TRUE(PathString::isInside("/", "/"));
  EXPECT_FALSE(PathString::isInside("/a/bc", "/a/b"));
  EXPECT_FALSE(PathString::isInside("/a", "/a/b"));
  EXPECT_FALSE(PathString::isInside("/", "/a"));
  EXPECT_FALSE(PathString::isInside("/a", ""));
}

}  // namespace
}  // namespace fernwahrung
