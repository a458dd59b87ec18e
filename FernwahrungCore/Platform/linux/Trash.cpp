// The freedesktop.org Trash, version 1.0, by rename only: an item that can't be renamed into a Trash stays.
#include "Platform/Trash.h"

#include "Foundation/Clock.h"
#include "Foundation/Dates.h"
#include "Foundation/Errors.h"
#include "Foundation/Host.h"
#include "Foundation/PathString.h"
#include "Platform/FileChanges.h"
#include "Platform/FileInfo.h"
#include "Platform/SystemCalls.h"
#include "Platform/Volume.h"

#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fernwahrung::Platform {
namespace {

constexpr mode_t privateMode = 0700;
constexpr std::size_t longestName = 255;

/// A Trash, and the folder its records' paths start from; empty for whole paths.
struct TrashCan {
  std::string folder;
  std::string top;
};

void check(std::error_code error) {
  if (error) throw std::system_error(error);
}

std::string percentEncoded(std::string_view path) {
  static constexpr char digits[] = "0123456789ABCDEF";
  static constexpr std::string_view kept =
      "/-_.~ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  std::string encoded;
  for (const char character : path) {
    if (kept.find(character) != std::string_view::npos) {
      encoded += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      encoded += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return encoded;
}

/// The folder, made with those above it where they are missing.
void ensurePrivate(const std::string& folder) {
  if (fileInfo(folder)) return;
  const std::string parent = PathString::parent(folder);
  if (!parent.empty() && parent != folder) ensurePrivate(parent);
  const auto error = makeDirectory(folder, privateMode);
  if (error && error.value() != EEXIST) check(error);
}

/// Of an absolute path, which ends at the root.
std::string nearestExisting(std::string folder) {
  while (!fileInfo(folder) && folder != "/") folder = PathString::parent(folder);
  return folder;
}

bool onOneVolume(const std::string& first, const std::string& second) {
  const auto firstInfo = fileInfo(realPath(first).value_or(first));
  const auto secondInfo = fileInfo(realPath(second).value_or(second));
  const auto firstFacts = volumeFacts(first);
  const auto secondFacts = volumeFacts(second);
  // The mounts too: a rename between two mounts of one file system is refused.
  return firstInfo && secondInfo && firstFacts && secondFacts && firstInfo->device == secondInfo->device &&
         firstFacts->mountPoint == secondFacts->mountPoint;
}

/// Nothing for a user without a home folder.
std::optional<std::string> homeTrash() {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  // A relative path in the variable is to be ignored.
  const std::string base =
      dataHome && *dataHome == '/' ? dataHome : PathString::join(Host::homeDirectory(), ".local/share");
  if (!base.starts_with('/')) return std::nullopt;
  return PathString::join(base, "Trash");
}

bool isOwnFolder(const std::string& path) {
  const auto info = fileInfo(path);
  return info && info->type == FileType::directory && info->owner == ::getuid();
}

/// A real folder of this user's own, made if nothing lies there.
bool ensureOwnFolder(const std::string& path) {
  makeDirectory(path, privateMode);
  return isOwnFolder(path);
}

TrashCan volumeTrash(const std::string& top) {
  const std::string user = std::to_string(::getuid());
  const std::string shared = PathString::join(top, ".Trash");
  // The administrator's common Trash counts only if nobody can have put another in its place.
  const auto info = fileInfo(shared);
  if (info && info->type == FileType::directory && (info->permissions & S_ISVTX)) {
    const std::string own = PathString::join(shared, user);
    if (ensureOwnFolder(own)) return {own, top};
  }
  const std::string own = PathString::join(top, ".Trash-" + user);
  if (const auto error = makeDirectory(own, privateMode); error && error.value() != EEXIST) check(error);
  if (!isOwnFolder(own)) check(System::errorCode(EPERM));
  return {own, top};
}

TrashCan trashFor(const std::string& itemFolder) {
  if (const auto home = homeTrash(); home && onOneVolume(itemFolder, nearestExisting(*home))) {
    ensurePrivate(*home);
    return {*home, ""};
  }
  const auto facts = volumeFacts(itemFolder);
  if (!facts) check(System::errorCode(ENODEV));
  return volumeTrash(facts->mountPoint);
}

std::string record(const std::string& item, const TrashCan& can) {
  std::string path = item;
  if (!can.top.empty()) path.erase(0, can.top == "/" ? 1 : can.top.size() + 1);
  std::string when = Dates::logStamp(Clock::now());
  when[when.find(' ')] = 'T';
  return "[Trash Info]\nPath=" + percentEncoded(path) + "\nDeletionDate=" + when + "\n";
}

/// "name.ext", "name 2.ext", "name 3.ext" …, short enough for the record's name.
std::string candidate(const std::string& name, int number) {
  constexpr std::size_t room = longestName - std::string_view(".trashinfo").size();
  std::string dotted = PathString::extension(name).empty() ? "" : "." + PathString::extension(name);
  // What fills half a name is no extension.
  if (dotted.size() > room / 2) dotted.clear();
  const std::string ending = (number > 1 ? fmt::format(" {}", number) : std::string()) + dotted;
  std::string stem = name.substr(0, name.size() - dotted.size());
  if (stem.size() + ending.size() > room) {
    std::size_t end = room - ending.size();
    // Not in the middle of a character.
    while (end > 1 && (static_cast<unsigned char>(stem[end]) & 0xC0) == 0x80) --end;
    stem.resize(end);
  }
  return stem + ending;
}

std::string moveInto(const TrashCan& can, const std::string& item) {
  const std::string files = PathString::join(can.folder, "files");
  const std::string infos = PathString::join(can.folder, "info");
  ensurePrivate(files);
  ensurePrivate(infos);
  for (int number = 1;; ++number) {
    const std::string name = candidate(PathString::lastComponent(item), number);
    const std::string info = PathString::join(infos, name + ".trashinfo");
    const std::string place = PathString::join(files, name);
    // The record reserves the name before anything is moved under it.
    const auto reserved = createFile(info);
    if (reserved.value() == EEXIST) continue;
    check(reserved);
    auto error = writeAndFlush(info, record(item, can));
    if (!error) error = renameExclusive(item, place);
    if (!error) return place;
    unlink(info);
    if (error.value() != EEXIST) check(error);
  }
}

}  // namespace

std::optional<std::string> moveToTrash(const std::string& path) {
  try {
    std::string given = path;
    while (given.size() > 1 && given.back() == '/') given.pop_back();
    if (!fileInfo(given)) check(System::errorCode(errno));
    const std::string parent = PathString::parent(given);
    // The item itself is not resolved: a link goes to the Trash as a link.
    const auto folder = realPath(parent.empty() ? "." : parent);
    if (!folder) check(System::errorCode(errno));
    return moveInto(trashFor(*folder), PathString::join(*folder, PathString::lastComponent(given)));
  } catch (const std::system_error& error) {
    throw SystemError("Das Objekt kann nicht in den Papierkorb gelegt werden", path, error.code().value());
  }
}

}  // namespace fernwahrung::Platform
