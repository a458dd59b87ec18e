#include "linux/hdiutil/Verbs.h"

#include "Foundation/Text.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <iostream>
#include <limits>

namespace fernwahrung::host {
namespace Hdiutil {
namespace {

struct Verb {
  std::string_view name;
  int (*run)(const Arguments&);
  std::string_view usage;
};
constexpr std::array verbs = {
    Verb{"create", create, "-size <n>m -type SPARSEBUNDLE -fs APFS -volname <name> [-quiet] <image>"},
    Verb{"attach", attach,
         "-plist -mountpoint <path> [-noautoopen] [-nobrowse] [-readonly] [-quiet] <image>"},
    Verb{"info", info, "-plist"},
    Verb{"detach", detach, "[-quiet] <mount point or device>"},
    Verb{"resize", resize, "-limits <image> | -size <n>m <image>"},
    Verb{"compact", compact, "<image>"},
};

int runVerb(const Verb& verb, const Arguments& arguments) {
  try {
    return verb.run(arguments);
  } catch (const UsageError&) {
    throw Failure(fmt::format("Usage:\thdiutil {} {}", verb.name, verb.usage));
  } catch (const Failure& failure) {
    throw Failure(fmt::format("hdiutil: {} failed - {}", verb.name, failure.what()), failure.status());
  }
}

}  // namespace

bool OptionReader::takeFlag(std::string_view name) {
  const auto found = std::find(rest_.begin(), rest_.end(), name);
  if (found == rest_.end()) return false;
  rest_.erase(found);
  return true;
}

std::optional<std::string> OptionReader::takeValue(std::string_view name) {
  const auto found = std::find(rest_.begin(), rest_.end(), name);
  if (found == rest_.end()) return std::nullopt;
  if (found + 1 == rest_.end()) throw UsageError();
  std::string value = found[1];
  rest_.erase(found, found + 2);
  return value;
}

std::string OptionReader::operand() const {
  if (rest_.size() != 1 || rest_[0].empty() || rest_[0].starts_with('-')) throw UsageError();
  return rest_[0];
}

void OptionReader::requireNoMore() const {
  if (!rest_.empty()) throw UsageError();
}

std::optional<std::int64_t> parseSize(std::string_view text) {
  constexpr std::int64_t unit = 1048576;
  if (!text.ends_with('m')) return std::nullopt;
  const auto count = Text::toInteger(text.substr(0, text.size() - 1));
  if (!count || *count <= 0 || *count > std::numeric_limits<std::int64_t>::max() / unit) return std::nullopt;
  return *count * unit;
}

}  // namespace Hdiutil

int hdiutil(const Arguments& arguments) {
  if (!arguments.empty()) {
    for (const auto& verb : Hdiutil::verbs) {
      if (verb.name == arguments[0])
        return Hdiutil::runVerb(verb, Arguments(arguments.begin() + 1, arguments.end()));
    }
  }
  std::string usage = "Usage: hdiutil <verb> <options>\n<verb> is one of the following:";
  for (const auto& verb : Hdiutil::verbs) usage += "\n" + std::string(verb.name);
  throw Failure(usage);
}

}  // namespace fernwahrung::host
