#include "Foundation/HostTools.h"

#include "Platform/SystemCalls.h"

// A release build for the Mac holds no way to redirect a tool.
#if defined(__APPLE__) && defined(NDEBUG)

namespace fernwahrung::HostTools {

std::string locate(const std::string& tool) {
  return System::toolPath(tool, {});
}

}  // namespace fernwahrung::HostTools

#else

#include <map>
#include <mutex>
#include <utility>

namespace fernwahrung::HostTools {
namespace {

struct TestHooks {
  std::mutex mutex;
  std::multimap<std::string, std::string> replacements;
  std::string directory;
};

TestHooks& hooks() {
  static TestHooks hooks;
  return hooks;
}

}  // namespace

std::string locate(const std::string& tool) {
  std::string directory;
  {
    const std::lock_guard lock(hooks().mutex);
    const auto range = hooks().replacements.equal_range(tool);
    if (range.first != range.second) return std::prev(range.second)->second;
    directory = hooks().directory;
  }
  return System::toolPath(tool, directory);
}

Replacement::Replacement(std::string tool, std::string replacement) : tool_(std::move(tool)) {
  const std::lock_guard lock(hooks().mutex);
  hooks().replacements.emplace(tool_, std::move(replacement));
}

Replacement::~Replacement() {
  // Equal keys keep the order they came in: the newest of a nested pair goes first.
  const std::lock_guard lock(hooks().mutex);
  hooks().replacements.erase(std::prev(hooks().replacements.upper_bound(tool_)));
}

void setDirectory(std::string directory) {
  const std::lock_guard lock(hooks().mutex);
  hooks().directory = std::move(directory);
}

}  // namespace fernwahrung::HostTools

#endif
