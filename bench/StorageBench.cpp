#include "StorageBench.h"

#include "Measure.h"
#include "Trees.h"

#include "Storage/FileOps.h"
#include "Storage/Verifier.h"

#include <fmt/format.h>
#include <stdexcept>
#include <utility>
#include <vector>

namespace fernwahrung::Bench {
namespace {

struct NamedShape {
  const char* name;
  TreeShape shape;
};

const std::vector<NamedShape> shapes = {
    {"50,000 files of 1 to 8 KiB", {50'000, 200, 1'024, 8'192}},
    {"5,000 files of 10 to 300 KiB", {5'000, 100, 10'240, 307'200}},
    {"6 files of 64 to 96 MiB", {6, 3, 64 << 20, 96 << 20}},
};

void compareTrees(const std::string& source, const std::string& copy) {
  OperationContext context;
  if (!Verifier::compare(source, copy, {}, context).isIdentical())
    throw std::runtime_error("the trees differ");
}

std::string reading(const std::string& tree) {
  return fmt::format("find {} -type f -print0 | xargs -0 cat >/dev/null", quoted(tree));
}

template <typename MakeContest>
bool forEachShape(const std::string& folder, MakeContest makeContest) {
  bool areKept = true;
  for (const NamedShape& named : shapes) {
    const Workplace place(folder);
    makeTree(place / "source", named.shape);
    makeTree(place / "copy", named.shape);
    areKept = hold(makeContest(named.name, place / "source", place / "copy")) && areKept;
  }
  return areKept;
}

}  // namespace

bool compareWarm(const std::string& folder) {
  return forEachShape(folder, [](std::string name, std::string source, std::string copy) {
    return Contest{.name = "compare, cached: " + std::move(name),
                   .reference = "diff -rq",
                   .ours = [=] { compareTrees(source, copy); },
                   .theirs = [=] { shell("diff -rq " + quoted(source) + " " + quoted(copy)); },
                   .limit = 1.0};
  });
}

bool compareCold(const std::string& folder) {
  return forEachShape(folder, [](std::string name, std::string source, std::string copy) {
    return Contest{.name = "compare, disk: " + std::move(name),
                   .reference = "two cat at once",
                   .ours = [=] { compareTrees(source, copy); },
                   .theirs = [=] { shell("(" + reading(source) + ") & (" + reading(copy) + ") & wait"); },
                   .prepare = dropCaches,
                   .limit = 1 / 0.9};
  });
}

bool walk(const std::string& folder) {
  const Workplace place(folder);
  const std::string tree = place / "tree";
  makeTree(tree, {600'000, 200, 0, 100});
  const auto du = [=] { shell("du -s " + quoted(tree) + " >/dev/null"); };
  const bool isSizeKept = hold({.name = "tree size: 600,000 files",
                                .reference = "du -s",
                                .ours = [=] { FileOps::treeSize(tree, false, nullptr); },
                                .theirs = du,
                                .limit = 1.2});
  const bool isPrintKept = hold({.name = "fingerprint: 600,000 files",
                                 .reference = "du -s",
                                 .ours = [=] { Verifier::fingerprint(tree, false); },
                                 .theirs = du,
                                 .limit = 1.2});
  return isSizeKept && isPrintKept;
}

}  // namespace fernwahrung::Bench
