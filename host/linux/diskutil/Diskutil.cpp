#include "linux/diskutil/Verbs.h"

#include <array>
#include <string_view>

namespace fernwahrung::host {
namespace {

struct Verb {
  std::string_view name;
  int (*run)(const Arguments&);
};
constexpr std::array verbs = {
    Verb{"verifyVolume", Diskutil::verifyVolume},
    Verb{"info", Diskutil::info},
    Verb{"eject", Diskutil::eject},
    Verb{"apfs", Diskutil::apfs},
};

}  // namespace

int diskutil(const Arguments& arguments) {
  for (const Verb& verb : verbs) {
    if (!arguments.empty() && verb.name == arguments[0])
      return verb.run(Arguments(arguments.begin() + 1, arguments.end()));
  }
  std::string usage = "Usage: diskutil <verb> <options>\n<verb> is one of the following:";
  for (const Verb& verb : verbs) usage += "\n" + std::string(verb.name);
  throw Failure(usage);
}

}  // namespace fernwahrung::host
