#include "support/Mounts.h"

#include "Foundation/FileDescriptor.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/loop.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/mount.h>

namespace fernwahrung::Mounts {
namespace {

/// mountinfo writes blanks, tabs, line feeds and backslashes as three octal digits.
std::string unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size()) {
      result += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
      i += 3;
    } else {
      result += text[i];
    }
  }
  return result;
}

bool liesAtOrBelow(const std::string& path, const std::string& folder) {
  return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
}

std::string firstLine(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::string line;
  std::getline(stream, line);
  return line;
}

void unmount(const std::string& mountPoint) {
  ::umount2(mountPoint.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW);
}

}  // namespace

std::vector<Mount> mounts() {
  std::vector<Mount> result;
  std::ifstream table("/proc/self/mountinfo");
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string id, parent, root, field;
    Mount mount;
    fields >> id >> parent >> mount.device >> root >> mount.mountPoint;
    while (fields >> field && field != "-") {
    }
    fields >> mount.type >> mount.source;
    mount.mountPoint = unescaped(mount.mountPoint);
    mount.source = unescaped(mount.source);
    result.push_back(mount);
  }
  return result;
}

std::vector<Loop> loops() {
  std::vector<Loop> result;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/block", ignored)) {
    const std::string name = entry.path().filename();
    const auto backing = entry.path() / "loop" / "backing_file";
    if (name.compare(0, 4, "loop") != 0 || !std::filesystem::exists(backing, ignored)) continue;
    Loop loop{"/dev/" + name, firstLine(entry.path() / "dev"), firstLine(backing),
              firstLine(entry.path() / "diskseq")};
    const std::string deleted = " (deleted)";
    if (loop.backingFile.size() > deleted.size() &&
        loop.backingFile.compare(loop.backingFile.size() - deleted.size(), deleted.size(), deleted) == 0) {
      loop.backingFile.resize(loop.backingFile.size() - deleted.size());
    }
    result.push_back(loop);
  }
  return result;
}

bool isMountPoint(const std::string& path) {
  const auto all = mounts();
  return std::any_of(all.begin(), all.end(), [&](const Mount& mount) { return mount.mountPoint == path; });
}

bool isStillThere(const Loop& loop) {
  const auto all = loops();
  return std::any_of(all.begin(), all.end(), [&](const Loop& other) {
    return other.node == loop.node && other.session == loop.session;
  });
}

void detachLoop(const Loop& loop) {
  if (!isStillThere(loop)) return;
  const FileDescriptor fd(::open(loop.node.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd) ::ioctl(fd.get(), LOOP_CLR_FD, 0);
}

void releaseLoop(const Loop& loop) {
  if (!isStillThere(loop)) return;
  auto all = mounts();
  for (auto mount = all.rbegin(); mount != all.rend(); ++mount) {
    if (mount->source != loop.node && mount->device != loop.device) continue;
    release(mount->mountPoint);
  }
  detachLoop(loop);
}

void release(const std::string& path) {
  std::error_code ignored;
  const std::string folder = std::filesystem::weakly_canonical(path, ignored);
  for (const Loop& loop : loops()) {
    if (liesAtOrBelow(loop.backingFile, folder)) releaseLoop(loop);
  }
  auto all = mounts();
  for (auto mount = all.rbegin(); mount != all.rend(); ++mount) {
    if (liesAtOrBelow(mount->mountPoint, folder)) unmount(mount->mountPoint);
  }
}

}  // namespace fernwahrung::Mounts
