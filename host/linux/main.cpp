// One program for all the tools; the name it is called with tells which.
#include "linux/Tools.h"

#include "Foundation/PathString.h"

#include <array>
#include <iostream>
#include <string_view>

namespace {

using fernwahrung::host::Arguments;

struct Tool {
  std::string_view name;
  int (*run)(const Arguments&);
};
constexpr std::array tools = {
    Tool{"hdiutil", fernwahrung::host::hdiutil}, Tool{"diskutil", fernwahrung::host::diskutil},
    Tool{"ditto", fernwahrung::host::ditto},     Tool{"ps", fernwahrung::host::ps},
    Tool{"mdutil", fernwahrung::host::mdutil},
};

int run(const std::string& name, const Arguments& arguments) {
  for (const Tool& tool : tools) {
    if (tool.name != name) continue;
    try {
      return tool.run(arguments);
    } catch (const fernwahrung::host::Failure& failure) {
      std::cerr << failure.what() << std::endl;
      return failure.status();
    } catch (const std::exception& error) {
      std::cerr << name << ": " << error.what() << std::endl;
      return 1;
    }
  }
  std::cerr << "Called by the name of one of the tools it stands in for:";
  for (const Tool& tool : tools) std::cerr << ' ' << tool.name;
  std::cerr << std::endl;
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string name = fernwahrung::PathString::lastComponent(argc > 0 ? argv[0] : "");
  return run(name, Arguments(argv + (argc > 0 ? 1 : 0), argv + argc));
}
