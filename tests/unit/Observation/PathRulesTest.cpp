#include "Observation/PathRules.h"

#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

const std::string home = "/Users/anna";

/// "~/x" below the home of these tests.
std::string inHome(const std::string& path) {
  return path.starts_with("~") ? home + path.substr(1) : path;
}

std::string mainOf(const std::string& path) {
  return PathRules::mainFolder(inHome(path), home);
}

bool tooGeneral(const std::string& path) {
  return PathRules::isTooGeneral(inHome(path), home);
}

TEST(PathRules, SplitsIntoComponentsWithoutEmptyOnes) {
  using List = std::vector<std::string>;
  EXPECT_EQ(PathRules::components("/a//b/"), (List{"a", "b"}));
  EXPECT_EQ(PathRules::components("a/b"), (List{"a", "b"}));
  EXPECT_EQ(PathRules::components("/"), List{});
  EXPECT_EQ(PathRules::components(""), List{});
}

TEST(PathRules, CanonicalDropsTheDataVolume) {
  EXPECT_EQ(PathRules::canonical("/System/Volumes/Data"), "/");
  EXPECT_EQ(PathRules::canonical("/System/Volumes/Data/"), "/");
  EXPECT_EQ(PathRules::canonical("/System/Volumes/Data/Users/anna"), "/Users/anna");
  EXPECT_EQ(PathRules::canonical("/System/Volumes/Database"), "/System/Volumes/Database");
  EXPECT_EQ(PathRules::canonical("/System/Volumes/Data/System/Volumes/Data/x"), "/System/Volumes/Data/x");
}

TEST(PathRules, CanonicalDropsEmptyComponentsAndFullStops) {
  EXPECT_EQ(PathRules::canonical("/a//b/./c/"), "/a/b/c");
  EXPECT_EQ(PathRules::canonical("/"), "/");
  EXPECT_EQ(PathRules::canonical("///"), "/");
  EXPECT_EQ(PathRules::canonical("/."), "/");
  EXPECT_EQ(PathRules::canonical("/a/.b/..c"), "/a/.b/..c");
}

TEST(PathRules, CanonicalDoesNotResolveParents) {
  EXPECT_EQ(PathRules::canonical("/a/../b"), "/a/../b");
}

TEST(PathRules, CanonicalLeavesARelativePathAsItStands) {
  EXPECT_EQ(PathRules::canonical("relative/./x"), "relative/./x");
  EXPECT_EQ(PathRules::canonical(""), "");
  EXPECT_EQ(PathRules::canonical("./a//"), "./a//");
}

TEST(PathRules, BothSpellingsOfANameHaveOneKey) {
  EXPECT_EQ(PathRules::key("/Users/anna/Mu\xcc\x88sik/"), "/Users/anna/M\xc3\xbcsik");
  EXPECT_EQ(PathRules::key("/Users/anna/M\xc3\xbcsik"), PathRules::key("/Users//anna/Mu\xcc\x88sik"));
  EXPECT_EQ(PathRules::key("/a/\xff/"), "/a/\xff");
}

TEST(PathRules, DirectoryIsThePathWithoutItsLastComponent) {
  EXPECT_EQ(PathRules::directory("/"), "/");
  EXPECT_EQ(PathRules::directory("/a"), "/");
  EXPECT_EQ(PathRules::directory("/a/b/"), "/a");
  EXPECT_EQ(PathRules::directory("/System/Volumes/Data/a"), "/");
  EXPECT_EQ(PathRules::directory(""), "/");
}

TEST(PathRules, PlacesAboveApplicationsAreTooGeneral) {
  for (const char* path :
       {"/", "/Users", "/Users/", "~", "/Volumes", "~/Library", "~/Library/Application Support",
        "~/Library/Containers", "~/Library/Group Containers", "~/Library/Caches", "~/Library/Preferences",
        "~/Library/Logs", "/Volumes/Extern", "/System/Volumes/Data/Users/anna"}) {
    EXPECT_TRUE(tooGeneral(path)) << path;
  }
}

TEST(PathRules, PlacesBelowAreNotTooGeneral) {
  for (const char* path :
       {"/Volumes/Extern/Daten", "~/Library/Caches/com.foo", "~/Library/WebKit", "~/Library/Mail",
        "~/Dokumente", "/Users/berta", "/Applications", "/opt/Volumes", "relative"}) {
    EXPECT_FALSE(tooGeneral(path)) << path;
  }
}

TEST(PathRules, SystemPlacesCountByWholeComponents) {
  for (const char* path :
       {"/System", "/usr/lib", "/bin/ls", "/sbin", "/dev/null", "/cores/x", "/private/etc/hosts",
        "/private/var/db/x", "/private/var/folders/a/b", "/private/tmp/x", "/Library/Apple/x",
        "/Library/Preferences/a.plist", "/Library/Frameworks", "/opt/homebrew/lib/x",
        "/System/Volumes/Data/usr/lib", "/Library/Caches/com.apple.x", "/Library/Caches/com.apple."}) {
    EXPECT_TRUE(PathRules::isSystem(path, std::nullopt)) << path;
  }
  for (const char* path :
       {"/usrlocal", "/Systems", "/private/var/log", "/private", "/Library/Fonts", "/Library",
        "/opt/homebrew/library", "/opt/homebrew", "/Library/Caches/com.applesauce", "/",
        "/Library/Caches/com.foo", "/Users/anna/usr/lib", "/System/Volumes/Data"}) {
    EXPECT_FALSE(PathRules::isSystem(path, std::nullopt)) << path;
  }
}

TEST(PathRules, TheApplicationsOwnBundleCountsAsSystem) {
  const std::string bundle = "/Applications/Foo.app/";
  EXPECT_TRUE(PathRules::isSystem("/Applications/Foo.app", bundle));
  EXPECT_TRUE(PathRules::isSystem("/Applications/Foo.app/Contents/x", bundle));
  EXPECT_FALSE(PathRules::isSystem("/Applications/Foo.app.old/x", bundle));
  EXPECT_FALSE(PathRules::isSystem("/Users/anna/x", bundle));
  EXPECT_TRUE(PathRules::isSystem("/Users/anna/x", "/"));
}

TEST(PathRules, AnApplicationsFolderInLibraryStandsForIt) {
  EXPECT_EQ(mainOf("~/Library/Application Support/Foo/bar/baz"), inHome("~/Library/Application Support/Foo"));
  for (const char* folder : {"Application Support", "Caches", "Containers", "Group Containers", "Logs",
                             "WebKit", "HTTPStorages", "Saved Application State", "Application Scripts"}) {
    const auto base = home + "/Library/" + folder;
    EXPECT_EQ(PathRules::mainFolder(base + "/com.foo/a/b", home), base + "/com.foo");
    EXPECT_EQ(PathRules::mainFolder(base + "/com.foo", home), base + "/com.foo");
    EXPECT_EQ(PathRules::mainFolder(base, home), base);
  }
}

TEST(PathRules, VendorsThatCollectApplicationsKeepOneLevelMore) {
  EXPECT_EQ(mainOf("~/Library/Application Support/Google/Chrome/Default"),
            inHome("~/Library/Application Support/Google/Chrome"));
  EXPECT_EQ(mainOf("~/Library/Application Support/Google"), inHome("~/Library/Application Support/Google"));
  EXPECT_EQ(mainOf("~/Library/Application Support/Google/Chrome"),
            inHome("~/Library/Application Support/Google/Chrome"));
  for (const char* vendor : {"Microsoft", "Adobe", "JetBrains", "Apple"}) {
    const auto base = home + "/Library/Caches/" + vendor;
    EXPECT_EQ(PathRules::mainFolder(base + "/X/y/z", home), base + "/X");
  }
  EXPECT_EQ(mainOf("~/Library/Caches/google/X/y"), inHome("~/Library/Caches/google"));
}

TEST(PathRules, CookiesFoldIntoThePreferences) {
  EXPECT_EQ(mainOf("~/Library/Cookies/x.binarycookies"), inHome("~/Library/Preferences"));
  EXPECT_EQ(mainOf("~/Library/Cookies"), inHome("~/Library/Preferences"));
  EXPECT_EQ(mainOf("~/Library/Preferences/a/b.plist"), inHome("~/Library/Preferences"));
}

TEST(PathRules, OtherFoldersInLibraryStayWhole) {
  EXPECT_EQ(mainOf("~/Library/Mail/V10/foo/bar"), inHome("~/Library/Mail/V10/foo/bar"));
  EXPECT_EQ(mainOf("~/Library"), inHome("~/Library"));
  EXPECT_EQ(mainOf("~/Library/Caches"), inHome("~/Library/Caches"));
}

TEST(PathRules, TwoLevelsOfTheHomeStandForTheRest) {
  EXPECT_EQ(mainOf("~/Dokumente/Projekt/a/b"), inHome("~/Dokumente/Projekt"));
  EXPECT_EQ(mainOf("~/Dokumente/Projekt"), inHome("~/Dokumente/Projekt"));
  EXPECT_EQ(mainOf("~/Dokumente"), inHome("~/Dokumente"));
  EXPECT_EQ(mainOf("~/Librarys/a/b"), inHome("~/Librarys/a"));
}

TEST(PathRules, AHiddenFolderOfTheHomeIsOneUnit) {
  EXPECT_EQ(mainOf("~/.config/foo/bar"), inHome("~/.config"));
  EXPECT_EQ(mainOf("~/.zshrc"), inHome("~/.zshrc"));
}

TEST(PathRules, ElsewhereThreeLevelsStandForTheRest) {
  EXPECT_EQ(mainOf("/Volumes/Extern/Daten/x/y"), "/Volumes/Extern/Daten");
  EXPECT_EQ(mainOf("/Volumes/Extern/Daten"), "/Volumes/Extern/Daten");
  EXPECT_EQ(mainOf("/opt/a/b/c"), "/opt/a/b");
  EXPECT_EQ(mainOf("/Users/berta/x/y"), "/Users/berta/x");
  EXPECT_EQ(mainOf("~"), home);
  EXPECT_EQ(mainOf("/"), "/");
  EXPECT_EQ(PathRules::mainFolder("/Users/anna", "/Users/anna/"), "/Users/anna");
}

TEST(PathRules, MainFoldersAreCanonical) {
  EXPECT_EQ(PathRules::mainFolder("/System/Volumes/Data/Users/anna//.config/./x", home),
            "/Users/anna/.config");
  EXPECT_EQ(PathRules::mainFolder("/Users/anna/Library/Caches/a/b", "/System/Volumes/Data/Users/anna/"),
            "/Users/anna/Library/Caches/a");
}

TEST(PathRules, CollapseCutsToADepthBelowTheMainFolder) {
  EXPECT_EQ(PathRules::collapse("/a/b/c/d/e", "/a/b", 2), "/a/b/c/d");
  EXPECT_EQ(PathRules::collapse("/a/b/c/d", "/a/b", 2), "/a/b/c/d");
  EXPECT_EQ(PathRules::collapse("/a/b/c", "/a/b", 2), "/a/b/c");
  EXPECT_EQ(PathRules::collapse("/a/b/c", "/a/b", 0), "/a/b");
  EXPECT_EQ(PathRules::collapse("/a/b", "/a/b", 0), "/a/b");
  EXPECT_EQ(PathRules::collapse("/a/b/c/d", "/", 1), "/a");
  EXPECT_EQ(PathRules::collapse("/System/Volumes/Data/a/b//c/d", "/a/", 1), "/a/b");
}

TEST(PathRules, CollapseLeavesAPathOutsideTheMainFolder) {
  EXPECT_EQ(PathRules::collapse("/a/bc/d/e/f", "/a/b", 1), "/a/bc/d/e/f");
  EXPECT_EQ(PathRules::collapse("/x/y/z", "/a", 0), "/x/y/z");
  EXPECT_EQ(PathRules::collapse("/x//y/", "/a", 0), "/x/y");
}

TEST(PathRules, ThePreferencesHaveATitleOfTheirOwn) {
  EXPECT_EQ(PathRules::title(inHome("~/Library/Preferences"), home), "Einstellungen");
  EXPECT_EQ(PathRules::title(inHome("~/Library/Preferences/"), home), "Einstellungen");
  EXPECT_EQ(PathRules::title("/System/Volumes/Data/Users/anna/Library/Preferences", home), "Einstellungen");
  EXPECT_EQ(PathRules::title("/Library/Preferences", home), "Preferences");
  EXPECT_EQ(PathRules::title(inHome("~/Library/Application Support/Foo"), home), "Foo");
  EXPECT_EQ(PathRules::title("/a/b/", home), "b");
  EXPECT_EQ(PathRules::title("/", home), "/");
}

}  // namespace
}  // namespace fernwahrung
