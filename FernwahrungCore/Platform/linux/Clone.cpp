// A clone of a whole tree, as the Mac's clonefile(2) makes it, out of reflinks of single files.
#include "Foundation/Errors.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/PathString.h"
#include "Platform/Directory.h"
#include "Platform/FileInfo.h"
#include "Platform/SystemCalls.h"
#include "Platform/linux/Attributes.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <linux/fs.h>
#include <map>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fernwahrung::System {
namespace {

void check(int returned) {
  if (returned < 0) throw std::system_error(errno, std::generic_category());
}

void check(std::error_code error) {
  if (error) throw std::system_error(error);
}

FileDescriptor opened(const std::string& path, int flags, mode_t mode = 0) {
  FileDescriptor fd(::open(path.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, mode));
  check(fd.get());
  return fd;
}

/// A tree made under a temporary name beside its final one; removed again unless published.
class TreeClone {
 public:
  explicit TreeClone(const std::string& destination)
      : destination_(destination), temporary_(besides(destination)) {}
  ~TreeClone() {
    if (published_ || !begun_) return;
    // A folder that already has its final mode may not let its entries go.
    for (const Folder& folder : folders_) ::chmod(folder.copy.c_str(), S_IRWXU);
    std::error_code ignored;
    std::filesystem::remove_all(temporary_, ignored);
  }
  TreeClone(const TreeClone&) = delete;
  TreeClone& operator=(const TreeClone&) = delete;

  void build(const std::string& source) {
    copyEntry(source, temporary_);
    for (std::size_t i = 0; i < folders_.size(); ++i) {
      const Folder folder = folders_[i];
      for (const std::string& name : Platform::names(folder.source)) {
        copyEntry(PathString::join(folder.source, name), PathString::join(folder.copy, name));
      }
    }
    // Filling a folder changes its times, and its mode may forbid filling it.
    for (auto folder = folders_.rbegin(); folder != folders_.rend(); ++folder) {
      const FileDescriptor from = opened(folder->source, O_RDONLY | O_DIRECTORY);
      const FileDescriptor to = opened(folder->copy, O_RDONLY | O_DIRECTORY);
      check(copyAttributes(from.get(), folder->status, to.get()));
    }
  }

  void publish() {
    check(renameExclusive(temporary_, destination_));
    published_ = true;
  }

 private:
  struct Folder {
    std::string source;
    std::string copy;
    struct stat status;
  };

  static std::string besides(const std::string& destination) {
    const std::string parent = PathString::parent(destination);
    std::string name = PathString::join(parent.empty() ? "." : parent, ".fernwahrung-klon-XXXXXX");
    // Only the name is wanted: the item may turn out to be a file.
    check(::mkdtemp(name.data()) ? 0 : -1);
    check(::rmdir(name.c_str()));
    return name;
  }

  void copyEntry(const std::string& source, const std::string& copy) {
    struct stat status;
    check(::lstat(source.c_str(), &status));
    if (S_ISDIR(status.st_mode)) {
      check(::mkdir(copy.c_str(), S_IRWXU));
      begun_ = true;
      folders_.push_back({source, copy, status});
    } else if (!linkedToEarlierName(status, copy)) {
      copyNode(source, status, copy);
    }
  }

  bool linkedToEarlierName(const struct stat& status, const std::string& copy) {
    if (status.st_nlink < 2) return false;
    const auto [earlier, isNew] = copies_.try_emplace({status.st_dev, status.st_ino}, copy);
    if (isNew) return false;
    check(::linkat(AT_FDCWD, earlier->second.c_str(), AT_FDCWD, copy.c_str(), 0));
    return true;
  }

  void copyNode(const std::string& source, const struct stat& status, const std::string& copy) {
    if (S_ISREG(status.st_mode)) {
      cloneFile(source, copy);
      return;
    }
    if (S_ISLNK(status.st_mode)) {
      const auto text = Platform::linkText(source);
      check(text ? 0 : -1);
      check(::symlink(text->c_str(), copy.c_str()));
    } else {
      check(::mknod(copy.c_str(), status.st_mode, status.st_rdev));
      begun_ = true;
    }
    if (::lchown(copy.c_str(), status.st_uid, status.st_gid) != 0 && errno != EPERM) check(-1);
    if (!S_ISLNK(status.st_mode)) check(::chmod(copy.c_str(), status.st_mode & 07777));
    const timespec times[] = {status.st_atim, status.st_mtim};
    check(::utimensat(AT_FDCWD, copy.c_str(), times, AT_SYMLINK_NOFOLLOW));
  }

  void cloneFile(const std::string& source, const std::string& copy) {
    const FileDescriptor from = opened(source, O_RDONLY | O_NONBLOCK);
    const FileDescriptor to = opened(copy, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
    begun_ = true;
    struct stat status;
    check(::fstat(from.get(), &status));
    // Blocks are shared only between files that agree in this flag, and only an empty file takes it.
    int flags = 0;
    if (::ioctl(from.get(), FS_IOC_GETFLAGS, &flags) == 0 && (flags & FS_NOCOW_FL)) {
      const int wanted = FS_NOCOW_FL;
      check(::ioctl(to.get(), FS_IOC_SETFLAGS, &wanted));
    }
    check(::ioctl(to.get(), FICLONE, from.get()));
    check(copyAttributes(from.get(), status, to.get()));
  }

  std::string destination_;
  std::string temporary_;
  std::vector<Folder> folders_;
  std::map<std::pair<dev_t, ino_t>, std::string> copies_;
  bool begun_ = false;  // something of ours lies at the temporary name
  bool published_ = false;
};

}  // namespace

std::error_code clone(const std::string& from, const std::string& to) {
  // Like clonefile without flags: a link at the top is followed, those inside are kept.
  const auto source = Platform::realPath(from);
  if (!source) return errorCode(errno);
  if (Platform::fileInfo(to)) return errorCode(EEXIST);
  try {
    TreeClone tree(to);
    tree.build(*source);
    tree.publish();
  } catch (const std::system_error& error) {
    return error.code();
  } catch (const SystemError& error) {
    return errorCode(error.code());
  }
  return {};
}

}  // namespace fernwahrung::System
