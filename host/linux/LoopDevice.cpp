#include "linux/LoopDevice.h"

#include "linux/Files.h"
#include "linux/Tools.h"

#include "Foundation/PathString.h"
#include "Foundation/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <linux/loop.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace fernwahrung::host::LoopDevices {
namespace {

constexpr const char* blockDevices = "/sys/block";

std::optional<LoopDevice> readDevice(const std::string& name) {
  const std::string folder = PathString::join(blockDevices, name);
  const auto backing = fileText(folder + "/loop/backing_file");
  const auto numbers = fileText(folder + "/dev");
  if (!backing || !numbers) return std::nullopt;
  LoopDevice device;
  if (std::sscanf(numbers->c_str(), "%u:%u", &device.major, &device.minor) != 2) return std::nullopt;
  device.node = PathString::join("/dev", name);
  device.session = Text::trimmed(fileText(folder + "/diskseq").value_or(""));
  device.backingFile = parseBackingFile(*backing);
  return device;
}

std::int64_t sectorsOf(const LoopDevice& device) {
  const std::string name = PathString::lastComponent(device.node);
  const auto text = fileText(PathString::join(blockDevices, name) + "/size");
  return Text::toInteger(Text::trimmed(text.value_or(""))).value_or(-1);
}

}  // namespace

std::string parseBackingFile(std::string_view text) {
  // The kernel writes the path as it is, line feeds included, and one line feed of its own behind it.
  if (text.ends_with('\n')) text.remove_suffix(1);
  return std::string(text);
}

std::vector<LoopDevice> read() {
  std::vector<LoopDevice> devices;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(blockDevices, error)) {
    const std::string name = entry.path().filename();
    if (!name.starts_with("loop")) continue;
    if (auto device = readDevice(name)) devices.push_back(std::move(*device));
  }
  std::sort(devices.begin(), devices.end(),
            [](const LoopDevice& a, const LoopDevice& b) { return a.minor < b.minor; });
  return devices;
}

bool isFileBehind(const LoopDevice& device, const std::string& path) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const FileDescriptor fd(::open(device.node.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) return errno == EACCES && status.st_size / 512 == sectorsOf(device);
  loop_info64 info{};
  if (::ioctl(fd.get(), LOOP_GET_STATUS64, &info) != 0) return false;
  return info.lo_inode == status.st_ino && info.lo_device == status.st_dev;
}

bool isStillThere(const LoopDevice& device) {
  const auto present = readDevice(PathString::lastComponent(device.node));
  return present && present->session == device.session;
}

Attachment attach(int file, bool readOnly) {
  const FileDescriptor control(::open("/dev/loop-control", O_RDWR | O_CLOEXEC));
  if (!control) throw Failure(reasonOf(errno));
  loop_config config{};
  config.fd = static_cast<std::uint32_t>(file);
  config.info.lo_flags = LO_FLAGS_AUTOCLEAR | (readOnly ? LO_FLAGS_READ_ONLY : 0);
  // Between the question for a free device and its taking another process may be quicker.
  for (int tries = 0; tries < 1000; ++tries) {
    const int number = ::ioctl(control.get(), LOOP_CTL_GET_FREE);
    if (number < 0) throw Failure(reasonOf(errno));
    const std::string name = "loop" + std::to_string(number);
    FileDescriptor fd(::open(("/dev/" + name).c_str(), (readOnly ? O_RDONLY : O_RDWR) | O_CLOEXEC));
    if (!fd) throw Failure(reasonOf(errno));
    if (::ioctl(fd.get(), LOOP_CONFIGURE, &config) == 0) {
      auto device = readDevice(name);
      if (!device) throw Failure(reasonOf(ENXIO));
      return {std::move(*device), std::move(fd)};
    }
    if (errno != EBUSY) throw Failure(reasonOf(errno));
  }
  throw Failure(reasonOf(EBUSY));
}

}  // namespace fernwahrung::host::LoopDevices
