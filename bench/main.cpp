#include "StorageBench.h"

#include <cstdlib>
#include <exception>
#include <fmt/format.h>
#include <map>
#include <string>

// The log of what is measured belongs to no user: it goes into the measured folder, not into a home.
int main(int argc, char** argv) {
  using namespace fernwahrung;
  const std::map<std::string, bool (*)(const std::string&)> verbs = {
      {"compare-warm", Bench::compareWarm}, {"compare-cold", Bench::compareCold}, {"walk", Bench::walk}};
  const auto verb = argc == 3 ? verbs.find(argv[1]) : verbs.end();
  if (verb == verbs.end()) {
    fmt::print(stderr,
               "fernwahrung-bench VERB FOLDER, where the FOLDER holds the trees for the time of the run.\n");
    for (const auto& [name, run] : verbs) fmt::print(stderr, "  {}\n", name);
    return 64;
  }
  const std::string folder = argv[2];
  ::setenv("FERNWAHRUNG_HOME", (folder + "/fernwahrung-bench-home").c_str(), 1);
  try {
    return verb->second(folder) ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 2;
  }
}
