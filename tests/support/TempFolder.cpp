#include "support/TempFolder.h"

#include "support/Files.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdlib.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fernwahrung {

TempFolder::TempFolder(const std::string& parent) {
  const std::filesystem::path base(parent.empty() ? std::filesystem::temp_directory_path().string() : parent);
  std::string pattern = std::filesystem::canonical(base) / "fernwahrung-test-XXXXXX";
  if (!::mkdtemp(pattern.data())) throw std::system_error(errno, std::generic_category(), pattern);
  ::chmod(pattern.c_str(), 0755);
  path_ = pattern;
}

TempFolder::~TempFolder() {
  try {
    removeEverything(path_);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "A temporary folder stays behind: %s\n", error.what());
  }
}

TempHome::TempHome(const std::string& parent)
    : TempFolder(parent), home_("FERNWAHRUNG_HOME", path()), data_("XDG_DATA_HOME", *this / "xdg-data") {
}

}  // namespace fernwahrung
