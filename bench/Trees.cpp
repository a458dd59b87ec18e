#include "Trees.h"

#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <random>
#include <stdexcept>
#include <vector>

namespace fernwahrung::Bench {

Workplace::Workplace(const std::string& parent) : path_(parent + "/fernwahrung-bench-XXXXXX") {
  if (!::mkdtemp(path_.data())) throw std::runtime_error("no folder can be made in " + parent);
}

Workplace::~Workplace() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void makeTree(const std::string& root, const TreeShape& shape) {
  std::mt19937_64 random(4711);
  std::vector<char> bytes(static_cast<std::size_t>(shape.largest) + 8 * 4096);
  for (char& byte : bytes) byte = static_cast<char>(random());
  std::uniform_int_distribution<std::int64_t> sizes(shape.smallest, shape.largest);
  std::string folder;
  for (int number = 0; number < shape.files; ++number) {
    if (number % shape.filesPerFolder == 0) {
      const int folderNumber = number / shape.filesPerFolder;
      folder = fmt::format("{}/group-{:03}/folder-{:05}", root, folderNumber / 100, folderNumber);
      std::filesystem::create_directories(folder);
    }
    // Another beginning for each file, so that no two are equal.
    std::ofstream file(fmt::format("{}/document {:06}.data", folder, number), std::ios::binary);
    file.write(bytes.data() + number % (8 * 4096), sizes(random));
    if (!file) throw std::runtime_error("the disk is full");
  }
}

}  // namespace fernwahrung::Bench
