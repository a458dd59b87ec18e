#include "linux/FileSystem.h"

#include "linux/Files.h"
#include "linux/Tools.h"

#include "Foundation/FileDescriptor.h"
#include "Foundation/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

namespace fernwahrung::host::FileSystem {
namespace {

constexpr std::int64_t blockSize = 4096;
constexpr std::int64_t mebibyte = 1 << 20;

/// Once used, the journal's blocks stay on the drive for good, so it is kept smaller than is usual.
std::int64_t journalMebibytes(std::int64_t bytes) {
  return std::clamp<std::int64_t>(bytes / 256 / mebibyte, 4, 32);
}

ProgramOutcome mustRun(const std::string& program, const std::vector<std::string>& arguments, int band) {
  ProgramOutcome outcome = runProgram(program, arguments, band);
  if (outcome.status != 0) {
    throw Failure(fmt::format("{} ended with {}: {}", program, outcome.status, outcome.lastLine()));
  }
  return outcome;
}

/// Every maker puts one into the root; the Mac's volumes have none.
void removeLostAndFound(const std::string& file, int band) {
  mustRun("debugfs", {"-w", "-R", "rmdir lost+found", file}, band);
}

/// A mender makes one as well, unless it is told otherwise by a file like this: the answer to that question
/// is no, and that is no defect. What would have to be rescued into it makes the mending fail, and stays as
/// it is.
constexpr std::string_view menderConfiguration =
    "[problems]\n"
    "  0x030004 = {\n"
    "    force_no = true\n"
    "    no_ok = true\n"
    "    preen_nomessage = true\n"
    "  }\n";

/// Lies in memory, open for the programs started while it lives.
class MenderConfiguration {
 public:
  MenderConfiguration() : file_(::memfd_create("e2fsck.conf", 0)) {
    if (!file_ || ::write(file_.get(), menderConfiguration.data(), menderConfiguration.size()) !=
                      static_cast<ssize_t>(menderConfiguration.size())) {
      throw Failure(reasonOf(errno));
    }
    ::setenv(variable, ("/proc/self/fd/" + std::to_string(file_.get())).c_str(), 1);
  }
  ~MenderConfiguration() { ::unsetenv(variable); }
  MenderConfiguration(const MenderConfiguration&) = delete;
  MenderConfiguration& operator=(const MenderConfiguration&) = delete;

 private:
  static constexpr const char* variable = "E2FSCK_CONFIG";
  FileDescriptor file_;
};

}  // namespace

std::string label(const std::string& volumeName) {
  constexpr std::size_t room = 16;
  std::size_t length = std::min(volumeName.size(), room);
  const auto isInsideCharacter = [&] {
    return length < volumeName.size() && (static_cast<unsigned char>(volumeName[length]) & 0xC0) == 0x80;
  };
  while (length > 0 && isInsideCharacter()) --length;
  return volumeName.substr(0, length);
}

void make(const std::string& file, int band, std::int64_t bytes, const std::string& volumeName) {
  mustRun("mkfs.ext4",
          {"-q", "-F", "-b", std::to_string(blockSize), "-I", "256", "-i", "16384", "-m", "0", "-e",
           "remount-ro", "-J", fmt::format("size={}", journalMebibytes(bytes)), "-L", label(volumeName), "-E",
           fmt::format("lazy_itable_init=1,lazy_journal_init=1,nodiscard,root_owner={}:{}", ::geteuid(),
                       ::getegid()),
           file},
          band);
  removeLostAndFound(file, band);
}

void repair(const std::string& file, int band, bool discard) {
  std::vector<std::string> arguments = {"-f", "-p"};
  if (discard) arguments.insert(arguments.end(), {"-E", "discard"});
  arguments.push_back(file);
  const MenderConfiguration configuration;
  const ProgramOutcome outcome = runProgram("e2fsck", arguments, band);
  constexpr int mended = 3;  // 1: errors corrected, 2: and a restart advised, which concerns mounted ones
  if ((outcome.status & ~mended) != 0) {
    throw Failure(fmt::format("e2fsck ended with {}: {}", outcome.status, outcome.lastLine()));
  }
}

std::int64_t parseMinimumBlocks(std::string_view output) {
  for (const std::string& line : Text::split(output, '\n')) {
    const std::size_t colon = line.rfind(':');
    if (!line.starts_with("Estimated minimum size") || colon == std::string::npos) continue;
    const auto blocks = Text::toInteger(Text::trimmed(line.substr(colon + 1)));
    if (blocks && *blocks > 0) return *blocks;
  }
  throw Failure("the smallest size can't be told");
}

std::int64_t minimumBytes(const std::string& file, int band) {
  return parseMinimumBlocks(mustRun("resize2fs", {"-P", file}, band).output) * blockSize;
}

void resize(const std::string& file, int band, std::int64_t bytes) {
  mustRun("resize2fs", {file, std::to_string(bytes / blockSize)}, band);
}

ProgramOutcome check(const std::string& fileOrDevice, int keptOpen) {
  return runProgram("e2fsck", {"-f", "-n", fileOrDevice}, keptOpen);
}

bool needsReplay(int fileOrDevice) {
  constexpr off_t incompatibleFeatures = 1024 + 0x60;  // in the superblock, little-endian
  constexpr unsigned char recover = 0x04;
  unsigned char flags = 0;
  return ::pread(fileOrDevice, &flags, 1, incompatibleFeatures) == 1 && (flags & recover);
}

}  // namespace fernwahrung::host::FileSystem
