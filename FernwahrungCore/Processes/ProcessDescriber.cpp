#include "Processes/ProcessDescriber.h"

#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Foundation/PropertyList.h"
#include "Foundation/Shell.h"
#include "Foundation/Text.h"
#include "Foundation/Unicode.h"
#include "Observation/PathRules.h"
#include "Platform/Bundle.h"
#include "Records/AtomicWrite.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fmt/format.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <unistd.h>

namespace fernwahrung {

namespace {

using Kind = ProcessDescription::Kind;
using Origin = ProcessDescription::Origin;
using Termination = ProcessDescription::Termination;

constexpr std::string_view blanks = " \t";
constexpr std::size_t shownExamples = 3;
/// From so many characters on a path is shortened to its last two components.
constexpr std::size_t longPath = 49;

/// Takes the blanks and the token at the front off the text; empty at its end.
std::string takeToken(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  const auto token = text.substr(0, text.find_first_of(blanks));
  text.remove_prefix(token.size());
  return std::string(token);
}

/// The bytes behind what ps puts in the place of those outside ASCII and of control characters in the locale
/// C, in which it runs: "M-x", "M^x", "^x" and "\ooo" of vis(3). What is none of these stays as it is.
std::string unescaped(std::string_view text) {
  const auto control = [](char character) { return static_cast<char>(character ^ 0x40); };
  const auto high = [](char character) { return static_cast<char>(character | 0x80); };
  const auto isControl = [](char character) { return character >= '?' && character <= '_'; };
  const auto isOctal = [](char character) { return character >= '0' && character <= '7'; };
  std::string bytes;
  while (!text.empty()) {
    std::size_t taken = 1;
    char byte = text[0];
    if (text.size() >= 3 && text.starts_with("M-")) {
      byte = high(text[2]);
      taken = 3;
    } else if (text.size() >= 3 && text.starts_with("M^") && isControl(text[2])) {
      byte = high(control(text[2]));
      taken = 3;
    } else if (text.size() >= 2 && byte == '^' && isControl(text[1])) {
      byte = control(text[1]);
      taken = 2;
    } else if (text.size() >= 4 && byte == '\\' && isOctal(text[1]) && isOctal(text[2]) && isOctal(text[3])) {
      byte = static_cast<char>((text[1] - '0') * 64 + (text[2] - '0') * 8 + (text[3] - '0'));
      taken = 4;
    }
    bytes += byte;
    text.remove_prefix(taken);
  }
  return bytes;
}

/// The file a path of ps means: it can't be told from the text alone whether it was escaped.
std::string executable(const std::string& psPath) {
  const auto path = unescaped(psPath);
  return FileOps::exists(path) ? path : psPath;
}

/// The nearest component from `end` back to the front that ends in one of the extensions.
template <std::size_t count>
std::optional<std::size_t> nearest(const std::vector<std::string>& components, std::size_t end,
                                   const std::array<std::string_view, count>& extensions) {
  while (end > 0) {
    const auto& name = components[--end];
    if (std::any_of(extensions.begin(), extensions.end(),
                    [&](std::string_view extension) { return name.ends_with(extension); })) {
      return end;
    }
  }
  return std::nullopt;
}

/// How many components lie above the executable's own.
std::size_t foldersIn(const std::vector<std::string>& components) {
  return components.empty() ? 0 : components.size() - 1;
}

bool isBlank(const std::string& text) {
  const auto scalars = Unicode::scalars(text);
  return std::all_of(scalars.begin(), scalars.end(), Unicode::isWhitespace);
}

/// The string under the key; nothing for another type, and for none.
std::optional<std::string> textIn(const nlohmann::json& dictionary, const char* key) {
  if (!dictionary.is_object()) return std::nullopt;
  const auto found = dictionary.find(key);
  if (found == dictionary.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

nlohmann::json infoDictionary(const std::string& bundlePath) {
  try {
    auto info = PropertyList::parse(FileOps::readFile(PathString::join(bundlePath, "Contents/Info.plist")));
    return info.is_object() ? info : nlohmann::json();
  } catch (const std::exception&) {
    return {};
  }
}

bool isInsideAny(const std::string& path, std::initializer_list<std::string_view> folders) {
  return std::any_of(folders.begin(), folders.end(),
                     [&](std::string_view folder) { return PathString::isInside(path, folder); });
}

std::string kindWord(const Kind& kind) {
  switch (kind.value) {
    case Kind::Case::app:
      return "App";
    case Kind::Case::program:
      return "einzelnes Programm";
    case Kind::Case::service:
      break;
  }
  return "Dienst/Erweiterung";
}

std::string originWord(Origin origin) {
  switch (origin) {
    case Origin::macOS:
      return "Teil von macOS";
    case Origin::installedApp:
      return "installierte App";
    case Origin::installedProgram:
      return "installiertes Programm";
    case Origin::userProgram:
      break;
  }
  return "Benutzerprogramm";
}

/// What a message adds behind its sentence about the open files.
std::vector<std::string> additions(const ProcessDescription& description) {
  std::vector<std::string> result;
  if (description.kind.value == Kind::Case::service && description.kind.owner) {
    result.push_back("Gehört zu " + *description.kind.owner);
  }
  if (description.isBackgroundService) {
    result.push_back("Hintergrunddienst, vom System gestartet");
  } else if (description.parentAppName) {
    result.push_back("Gehört zu " + *description.parentAppName);
  }
  return result;
}

void addNames(ProcessDescription& description, const std::optional<std::string>& bundlePath) {
  const auto fallback = PathString::lastComponent(description.executablePath);
  nlohmann::json info;
  nlohmann::json localized;
  if (bundlePath) {
    info = infoDictionary(*bundlePath);
    localized = Platform::localizedInfoDictionary(*bundlePath).value_or(nlohmann::json());
  }
  description.displayName = ProcessDescriber::displayName(info, localized, fallback);
  description.technicalName = ProcessDescriber::technicalName(info, fallback);
}

void addFiles(ProcessDescription& description, const std::vector<OpenFile>& files,
              const std::string& folder) {
  std::set<std::string> paths;
  for (const auto& file : files) paths.insert(file.path);
  description.openFileCount = static_cast<std::int64_t>(paths.size());
  const auto normalized = FileOps::normalize(folder);
  for (const auto& path : paths) {
    if (description.exampleFiles.size() == shownExamples) break;
    description.exampleFiles.push_back(ProcessDescriber::shortPath(path, normalized));
  }
}

}  // namespace

std::optional<std::string> ProcessDescription::terminationNote() const {
  if (origin != Origin::macOS) return std::nullopt;
  return "macOS startet ihn bei Bedarf neu.";
}

namespace ProcessDescriber {

std::optional<PSInfo> ps(std::int32_t pid) {
  try {
    const auto result = Shell::run("/bin/ps", {"-p", std::to_string(pid), "-o", "ppid=,uid=,lstart=,comm="},
                                   {.check = false, .log = false});
    return result.status == 0 ? parsePS(result.out()) : std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<PSInfo> parsePS(const std::string& output) {
  const auto lines = Text::split(output, '\n');
  if (lines.empty()) return std::nullopt;
  std::string_view rest = lines.front();
  const auto ppid = Text::toInteger<std::int32_t>(takeToken(rest));
  const auto uid = Text::toInteger<std::uint32_t>(takeToken(rest));
  std::vector<std::string> start(5);  // weekday, month, day, time, year
  for (auto& token : start) token = takeToken(rest);
  rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
  if (!ppid || !uid || start.back().empty() || rest.empty()) return std::nullopt;
  return PSInfo{*ppid, *uid, Text::join(start, " "), std::string(rest)};
}

BundleLayout layout(const std::string& executable) {
  constexpr std::array<std::string_view, 3> bundles = {".app", ".xpc", ".appex"};
  constexpr std::array<std::string_view, 5> owners = {".app", ".framework", ".bundle", ".plugin",
                                                      ".systemextension"};
  auto parts = PathRules::components(PathRules::canonical(executable));
  const auto bundle = nearest(parts, foldersIn(parts), bundles);
  if (!bundle) return {Kind::program(), std::nullopt};
  const auto owner = nearest(parts, *bundle, owners);
  const auto ownerName = owner ? std::optional(PathString::withoutExtension(parts[*owner])) : std::nullopt;
  parts.resize(*bundle + 1);
  const auto kind = parts.back().ends_with(".app") ? Kind::app() : Kind::service(ownerName);
  return {kind, "/" + Text::join(parts, "/")};
}

std::optional<std::string> enclosingApp(const std::string& executable) {
  constexpr std::array<std::string_view, 1> apps = {".app"};
  const auto parts = PathRules::components(PathRules::canonical(executable));
  const auto app = nearest(parts, foldersIn(parts), apps);
  return app ? std::optional(PathString::withoutExtension(parts[*app])) : std::nullopt;
}

std::string displayName(const nlohmann::json& info, const nlohmann::json& localized,
                        const std::string& fallback) {
  for (const char* key : {"CFBundleDisplayName", "CFBundleName"}) {
    for (const auto* dictionary : {&localized, &info}) {
      if (const auto name = textIn(*dictionary, key); name && !isBlank(*name)) return *name;
    }
  }
  return fallback;
}

std::string technicalName(const nlohmann::json& info, const std::string& fallback) {
  const auto identifier = textIn(info, "CFBundleIdentifier");
  return identifier && !identifier->empty() ? *identifier : fallback;
}

Origin origin(const std::string& path, const std::string& home) {
  const auto place = PathRules::canonical(path);
  if (isInsideAny(place, {"/System", "/usr/libexec", "/usr/sbin", "/usr/bin", "/usr/lib", "/bin", "/sbin",
                          "/Library/Apple"})) {
    return Origin::macOS;
  }
  const auto ownApplications = PathString::join(PathRules::canonical(home), "Applications");
  if (isInsideAny(place, {"/Applications", ownApplications})) return Origin::installedApp;
  if (isInsideAny(place, {"/opt/homebrew", "/usr/local", "/Library"})) return Origin::installedProgram;
  return Origin::userProgram;
}

std::string shortPath(const std::string& path, const std::string& folder) {
  const auto place = PathRules::canonical(path);
  const auto top = PathRules::canonical(folder);
  auto relative = place;
  if (place != top && PathString::isInside(place, top))
    relative = place.substr(top == "/" ? 1 : top.size() + 1);
  if (Unicode::length(relative) < longPath) {
    return relative == place ? place : "…/" + relative;
  }
  auto parts = PathRules::components(relative);
  parts.erase(parts.begin(),
              parts.end() - static_cast<std::ptrdiff_t>(std::min<std::size_t>(parts.size(), 2)));
  return "…/" + Text::join(parts, "/");
}

Termination termination(std::int32_t pid, std::uint32_t uid, std::uint32_t myUID, std::int32_t myPID) {
  if (pid < 2) return Termination::forbidden("Systemprozess");
  if (pid == myPID) return Termination::forbidden("Das ist Fernwahrung selbst");
  if (uid != myUID) return Termination::forbidden("Gehört einem anderen Benutzer (z. B. dem System)");
  return Termination::allowed();
}

std::optional<ProcessDescription> describe(std::int32_t pid, const std::vector<OpenFile>& files,
                                           const std::string& folder, std::int32_t myPID,
                                           std::uint32_t myUID) {
  const auto info = ps(pid);
  if (!info) return std::nullopt;
  const auto path = executable(info->path);
  const auto found = layout(path);
  ProcessDescription description;
  description.pid = pid;
  description.ppid = info->ppid;
  description.uid = info->uid;
  description.startedAt = info->startedAt;
  description.executablePath = path;
  description.kind = found.kind;
  description.origin = origin(path, Paths::homeDirectory());
  description.isBackgroundService = info->ppid == 1;
  description.termination = termination(pid, info->uid, myUID, myPID);
  if (info->ppid >= 2) {
    if (const auto parent = ps(info->ppid))
      description.parentAppName = enclosingApp(executable(parent->path));
  }
  addNames(description, found.bundlePath);
  addFiles(description, files, folder);
  return description;
}

std::vector<ProcessDescription> blockingProcesses(const std::string& folder) {
  std::map<std::int32_t, std::vector<OpenFile>> filesByPid;
  for (auto& file : FileOps::openFiles(folder)) {
    if (!FileOps::harmlessReaders.contains(file.command)) filesByPid[file.pid].push_back(std::move(file));
  }
  std::vector<ProcessDescription> result;
  for (const auto& [pid, files] : filesByPid) {
    if (auto description = describe(pid, files, folder, ::getpid(), ::getuid())) {
      result.push_back(std::move(*description));
    }
  }
  return result;
}

std::string kindText(const ProcessDescription& description) {
  const auto origin = originWord(description.origin);
  if (description.kind.value == Kind::Case::app && description.origin == Origin::installedApp) return origin;
  return fmt::format("{}, {}", kindWord(description.kind), origin);
}

std::string message(const ProcessDescription& description) {
  auto ids = fmt::format("PID {}", description.pid);
  if (description.technicalName != description.displayName) ids = description.technicalName + ", " + ids;
  const auto files =
      description.openFileCount == 1 ? "1 Datei" : fmt::format("{} Dateien", description.openFileCount);
  auto text = fmt::format("{} – {} ({}) hält {} in diesem Ordner offen", description.displayName,
                          kindText(description), ids, files);
  if (!description.exampleFiles.empty()) text += ", z. B. " + Text::join(description.exampleFiles, ", ");
  text += ".";
  if (const auto more = additions(description); !more.empty()) text += " " + Text::join(more, ". ") + ".";
  return text;
}

bool requestTermination(const ProcessDescription& description,
                        const std::function<bool(std::int32_t)>& gentle, std::int32_t myPID,
                        std::uint32_t myUID) {
  const auto now = ps(description.pid);
  if (!now) return false;
  // The number may have passed to another process since the description was made. Whether its file still lies
  // there, as it does not after an update, says nothing of that: both readings of the path count.
  const auto& path = description.executablePath;
  if (now->uid != description.uid || now->startedAt != description.startedAt ||
      (now->path != path && unescaped(now->path) != path)) {
    return false;
  }
  if (termination(description.pid, now->uid, myUID, myPID).forbiddenReason) return false;
  Log::write(fmt::format("Beenden angefordert: {} (PID {})", description.displayName, description.pid));
  if (gentle && gentle(description.pid)) return true;
  return ::kill(description.pid, SIGTERM) == 0;
}

}  // namespace ProcessDescriber
}  // namespace fernwahrung
