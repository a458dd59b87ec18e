// Who uses a folder: the part of FileOps that asks lsof and pgrep.
#include "Foundation/PathString.h"
#include "Foundation/Shell.h"
#include "Foundation/Text.h"
#include "Storage/FileOps.h"

#include <exception>
#include <optional>
#include <string_view>

namespace fernwahrung {

bool OpenFile::isWriting() const {
  return access.find_first_of("wu") != std::string::npos;
}

namespace FileOps {
namespace {

std::optional<int> hexDigit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  return std::nullopt;
}

/// The bytes of a name as lsof writes it: in the locale C, in which it runs, every byte outside ASCII is
/// "\xhh", and a backslash is doubled. What is none of its escapes stays as it is.
std::string unescaped(std::string_view name) {
  constexpr std::string_view letters = "bfnrt\\";
  constexpr std::string_view meanings = "\b\f\n\r\t\\";
  std::string bytes;
  while (!name.empty()) {
    std::size_t taken = 1;
    char byte = name.front();
    if (byte == '\\' && name.size() >= 2) {
      const auto letter = letters.find(name[1]);
      if (letter != std::string_view::npos) {
        byte = meanings[letter];
        taken = 2;
      } else if (name[1] == 'x' && name.size() >= 4) {
        const auto high = hexDigit(name[2]);
        const auto low = hexDigit(name[3]);
        if (high && low) {
          byte = static_cast<char>(*high * 16 + *low);
          taken = 4;
        }
      }
    }
    bytes += byte;
    name.remove_prefix(taken);
  }
  return bytes;
}

/// The path a name line stands for, if it lies at or under the folder.
std::optional<std::string> pathInside(std::string_view name, const std::string& folder) {
  // The bytes come first: the raw form of a name with an umlaut lies in the folder as well, and names
  // nothing.
  for (std::string path : {unescaped(name), std::string(name)}) {
    path = PathString::withoutDataVolume(std::move(path));
    if (PathString::isInside(path, folder)) return path;
  }
  return std::nullopt;
}

/// The text as an extended regular expression that matches nothing else.
std::string literalPattern(std::string_view text) {
  std::string pattern;
  for (const char character : text) {
    if (std::string_view("\\.[](){}*+?|^$").find(character) != std::string_view::npos) pattern += '\\';
    pattern += character;
  }
  return pattern;
}

}  // namespace

const std::set<std::string> harmlessReaders = {
    "mds", "mds_stores", "mdworker", "mdworker_shared", "fseventsd", "backupd", "QuickLookUIService"};

std::vector<OpenFile> parseOpenFiles(const std::string& lsofOutput, const std::string& normalizedFolder) {
  // Ordered by process id first.
  std::set<OpenFile> files;
  OpenFile current;
  for (const std::string& line : Text::split(lsofOutput, '\n')) {
    const std::string_view value = std::string_view(line).substr(1);
    switch (line.front()) {
      case 'p':
        current = {
            .pid = Text::toInteger<std::int32_t>(value).value_or(0), .command = {}, .access = {}, .path = {}};
        break;
      case 'c':
        current.command = value;
        break;
      case 'a':
        current.access = value;
        break;
      case 'n':
        if (const auto path = pathInside(value, normalizedFolder)) {
          OpenFile file = current;
          file.path = *path;
          files.insert(std::move(file));
        }
        break;
      default:
        break;
    }
  }
  return {files.begin(), files.end()};
}

std::vector<OpenFile> openFiles(const std::string& folder) {
  try {
    // lsof ends with 1 as soon as it could not look at some process; what it printed holds all the same.
    const auto result =
        Shell::run("/usr/sbin/lsof", {"-w", "-n", "-P", "-F", "pcan"}, {.check = false, .log = false});
    return parseOpenFiles(result.stdoutBytes, normalize(folder));
  } catch (const std::exception&) {
    return {};
  }
}

std::vector<std::string> runningApps(const std::vector<std::string>& appPaths) {
  std::vector<std::string> running;
  for (const std::string& app : appPaths) {
    const std::string executables = PathString::join(app, "Contents/MacOS/");
    try {
      const auto result =
          Shell::run("/usr/bin/pgrep", {"-f", literalPattern(executables)}, {.check = false, .log = false});
      if (result.status == 0) running.push_back(app);
    } catch (const std::exception&) {
      // Not to be started: the app counts as not running.
    }
  }
  return running;
}

}  // namespace FileOps
}  // namespace fernwahrung
