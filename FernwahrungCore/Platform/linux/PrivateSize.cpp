#include "Platform/PrivateSize.h"

#include "Foundation/FileDescriptor.h"
#include "Platform/FileInfo.h"

#include <algorithm>
#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <vector>

namespace fernwahrung::Platform {
namespace {

constexpr std::size_t extentsAtOnce = 128;

/// A request followed by the room for its answer, as the kernel wants them.
class ExtentList {
 public:
  ExtentList() : bytes_(sizeof(fiemap) + extentsAtOnce * sizeof(fiemap_extent)) {}

  /// The extents from this place of the file on; false when the file system can't tell.
  bool read(int fd, std::uint64_t from) {
    fiemap& request = map();
    std::fill(bytes_.begin(), bytes_.end(), 0);
    request.fm_start = from;
    request.fm_length = FIEMAP_MAX_OFFSET - from;
    request.fm_flags = FIEMAP_FLAG_SYNC;
    request.fm_extent_count = extentsAtOnce;
    return ::ioctl(fd, FS_IOC_FIEMAP, &request) == 0;
  }
  std::size_t count() { return map().fm_mapped_extents; }
  const fiemap_extent& operator[](std::size_t index) {
    return reinterpret_cast<const fiemap_extent*>(bytes_.data() + sizeof(fiemap))[index];
  }

 private:
  fiemap& map() { return *reinterpret_cast<fiemap*>(bytes_.data()); }

  std::vector<char> bytes_;  // from the heap, and so aligned for both
};

}  // namespace

std::optional<std::int64_t> privateSize(const std::string& path) {
  const auto info = fileInfo(path);
  if (!info || info->type != FileType::file) return std::nullopt;
  const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd) return std::nullopt;

  ExtentList extents;
  std::int64_t size = 0;
  std::uint64_t next = 0;
  while (true) {
    if (!extents.read(fd.get(), next)) return std::nullopt;
    if (extents.count() == 0) return size;
    for (std::size_t i = 0; i < extents.count(); ++i) {
      const fiemap_extent& extent = extents[i];
      if (!(extent.fe_flags & FIEMAP_EXTENT_SHARED)) size += static_cast<std::int64_t>(extent.fe_length);
      if (extent.fe_flags & FIEMAP_EXTENT_LAST) return size;
      next = extent.fe_logical + extent.fe_length;
    }
  }
}

}  // namespace fernwahrung::Platform
