#include "OperationBench.h"
#include "StorageBench.h"

#include <charconv>
#include <cstdlib>
#include <exception>
#include <fmt/format.h>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace fernwahrung::Bench {
namespace {

const std::map<std::string, std::function<bool(const OperationScale&)>> verbs = {
    {"compare-warm", [](const OperationScale& scale) { return compareWarm(scale.folder); }},
    {"compare-cold", [](const OperationScale& scale) { return compareCold(scale.folder); }},
    {"walk", [](const OperationScale& scale) { return walk(scale.folder); }},
    {"relocate-symlink", relocateAsSymlink},
    {"relocate-image", relocateAsImage},
    {"mount-all", mountAll}};

/// True for "name=value" with that name; the value must be a number above 0.
bool takeNumber(std::string_view argument, std::string_view name, int& number) {
  if (argument.substr(0, argument.find('=')) != name || argument.size() == name.size()) return false;
  const char* end = argument.data() + argument.size();
  const auto [rest, error] = std::from_chars(argument.data() + name.size() + 1, end, number);
  return error == std::errc() && rest == end && number > 0;
}

/// Nothing for arguments that nobody understands.
std::optional<OperationScale> readScale(int count, char** arguments) {
  constexpr std::string_view drive = "drive=";
  if (count < 1) return std::nullopt;
  OperationScale scale{.folder = arguments[0], .drive = arguments[0]};
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    if (argument.starts_with(drive)) {
      scale.drive = argument.substr(drive.size());
    } else if (!takeNumber(argument, "small", scale.smallFiles) &&
               !takeNumber(argument, "large", scale.largeFiles) &&
               !takeNumber(argument, "images", scale.images) &&
               !takeNumber(argument, "rounds", scale.rounds)) {
      return std::nullopt;
    }
  }
  return scale;
}

int explain() {
  fmt::print(
      stderr,
      "fernwahrung-bench VERB FOLDER [drive=DIR] [small=N] [large=N] [images=N] [rounds=N]\n"
      "The FOLDER holds the trees for the time of the run; what is offloaded goes to the drive's folder.\n");
  for (const auto& [name, run] : verbs) fmt::print(stderr, "  {}\n", name);
  return 64;
}

}  // namespace
}  // namespace fernwahrung::Bench

// The log of what is measured belongs to no user: it goes into the measured folder, not into a home.
int main(int argc, char** argv) {
  using namespace fernwahrung;
  const auto verb = argc > 2 ? Bench::verbs.find(argv[1]) : Bench::verbs.end();
  const auto scale = Bench::readScale(argc - 2, argv + 2);
  if (verb == Bench::verbs.end() || !scale) return Bench::explain();
  ::setenv("FERNWAHRUNG_HOME", (scale->folder + "/fernwahrung-bench-home").c_str(), 1);
  try {
    return verb->second(*scale) ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 2;
  }
}
