#include "Foundation/PathString.h"
#include "Platform/FileInfo.h"
#include "Platform/SystemCalls.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unistd.h>

namespace fernwahrung::System {
namespace {

struct MacTool {
  std::string_view name;
  std::string_view folder;
};
// Every tool the core starts, and where it lies on a Mac. Any other path means itself: the shell, the
// file-system tools and whatever else the stand-ins call.
constexpr std::array macTools = {
    MacTool{"codesign", "/usr/bin"},
    MacTool{"diskutil", "/usr/sbin"},
    MacTool{"ditto", "/usr/bin"},
    MacTool{"fs_usage", "/usr/bin"},
    MacTool{"hdiutil", "/usr/bin"},
    MacTool{"launchctl", "/bin"},
    MacTool{"lsof", "/usr/sbin"},
    MacTool{"mdutil", "/usr/bin"},
    MacTool{"osascript", "/usr/bin"},
    MacTool{"pgrep", "/usr/bin"},
    MacTool{"ps", "/bin"},
    MacTool{"sh", "/bin"},
    MacTool{"sudo", "/usr/bin"},
    MacTool{"tmutil", "/usr/bin"},
};

bool isMacTool(const std::string& path) {
  const std::string folder = PathString::parent(path);
  const std::string name = PathString::lastComponent(path);
  return std::any_of(macTools.begin(), macTools.end(),
                     [&](const MacTool& tool) { return tool.name == name && tool.folder == folder; });
}

}  // namespace

std::string toolPath(const std::string& tool, const std::string& directory) {
  if (!isMacTool(tool)) return tool;
  const std::string beside = PathString::parent(Platform::linkText("/proc/self/exe").value_or(""));
  const std::string name = PathString::lastComponent(tool);
  const std::array<std::string, 7> folders = {
      directory,
      PathString::join(beside, "host-tools"),
      PathString::join(PathString::parent(beside), "libexec/fernwahrung"),
      "/usr/bin",
      "/usr/sbin",
      "/bin",
      "/sbin"};
  for (const std::string& folder : folders) {
    if (folder.empty()) continue;
    std::string candidate = PathString::join(folder, name);
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return tool;
}

}  // namespace fernwahrung::System
