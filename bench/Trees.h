// Trees to measure on. Their bytes and shapes are the same in every run.
#pragma once

#include <cstdint>
#include <string>

namespace fernwahrung::Bench {

/// A fresh folder in `parent` that goes with the object.
class Workplace {
 public:
  explicit Workplace(const std::string& parent);
  ~Workplace();
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

struct TreeShape {
  int files;
  int filesPerFolder;
  std::int64_t smallest;  // bytes
  std::int64_t largest;   // bytes
};

/// Files of sizes spread evenly between the two.
void makeTree(const std::string& root, const TreeShape& shape);

}  // namespace fernwahrung::Bench
