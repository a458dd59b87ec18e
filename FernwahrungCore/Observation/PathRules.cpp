#include "Observation/PathRules.h"

#include "Foundation/PathString.h"
#include "Foundation/Text.h"
#include "Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace fernwahrung::PathRules {

namespace {

/// Vendors that gather several applications under one folder, so that one level more must be kept.
constexpr std::array<std::string_view, 5> collectorFolders = {"Microsoft", "Google", "Adobe", "JetBrains",
                                                              "Apple"};

/// Subfolders of Library that hold one folder per application.
constexpr std::array<std::string_view, 9> foldersPerApplication = {"Application Support",
                                                                   "Caches",
                                                                   "Containers",
                                                                   "Group Containers",
                                                                   "Logs",
                                                                   "WebKit",
                                                                   "HTTPStorages",
                                                                   "Saved Application State",
                                                                   "Application Scripts"};

constexpr std::array<std::string_view, 6> generalLibraryFolders = {
    "Application Support", "Containers", "Group Containers", "Caches", "Preferences", "Logs"};

constexpr std::array<std::string_view, 14> systemPrefixes = {"/System",
                                                             "/usr",
                                                             "/bin",
                                                             "/sbin",
                                                             "/dev",
                                                             "/cores",
                                                             "/private/etc",
                                                             "/private/var/db",
                                                             "/private/var/folders",
                                                             "/private/tmp",
                                                             "/Library/Apple",
                                                             "/Library/Preferences",
                                                             "/Library/Frameworks",
                                                             "/opt/homebrew/lib"};

template <std::size_t size>
bool contains(const std::array<std::string_view, size>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// "/" and the first components.
std::string firstComponents(std::vector<std::string> all, std::size_t count) {
  all.resize(std::min(all.size(), count));
  return "/" + Text::join(all, "/");
}

std::string mainFolderInLibrary(const std::string& path, const std::string& library) {
  const auto all = components(path);
  const auto depth = components(library).size();
  const auto below = all.size() - depth;
  if (below == 0) return path;
  const auto& first = all[depth];
  if (below >= 2 && contains(foldersPerApplication, first)) {
    const bool isCollector = contains(collectorFolders, all[depth + 1]);
    return firstComponents(all, depth + (isCollector ? 3 : 2));
  }
  // Cookies are as small and as scattered as preferences, and make one row with them.
  if (first == "Preferences" || first == "Cookies") return PathString::join(library, "Preferences");
  return path;
}

std::string mainFolderInHome(const std::string& path, const std::string& home) {
  const auto all = components(path);
  const auto depth = components(home).size();
  const bool isHidden = all[depth].starts_with('.');
  return firstComponents(all, depth + (isHidden ? 1 : 2));
}

}  // namespace

std::vector<std::string> components(const std::string& path) {
  return Text::split(path, '/');
}

std::string canonical(const std::string& path) {
  if (!path.starts_with('/')) return path;
  auto parts = components(path == PathString::dataVolume ? "/" : PathString::withoutDataVolume(path));
  std::erase(parts, ".");
  return "/" + Text::join(parts, "/");
}

std::string key(const std::string& path) {
  return Unicode::precomposed(canonical(path));
}

std::string directory(const std::string& path) {
  const auto parent = PathString::parent(canonical(path));
  return parent.empty() ? "/" : parent;
}

bool isTooGeneral(const std::string& path, const std::string& home) {
  const auto place = canonical(path);
  const auto homeFolder = canonical(home);
  if (place == "/" || place == "/Users" || place == "/Volumes" || place == homeFolder) return true;
  const auto library = PathString::join(homeFolder, "Library");
  if (place == library) return true;
  if (std::any_of(generalLibraryFolders.begin(), generalLibraryFolders.end(),
                  [&](std::string_view name) { return place == PathString::join(library, name); })) {
    return true;
  }
  const auto parts = components(place);
  return parts.size() == 2 && parts.front() == "Volumes";
}

bool isSystem(const std::string& path, const std::optional<std::string>& appBundle) {
  const auto place = canonical(path);
  if (std::any_of(systemPrefixes.begin(), systemPrefixes.end(),
                  [&](std::string_view prefix) { return PathString::isInside(place, prefix); })) {
    return true;
  }
  if (place.starts_with("/Library/Caches/com.apple.")) return true;
  // Reading its own resources tells nothing about an application's data.
  return appBundle && PathString::isInside(place, canonical(*appBundle));
}

std::string mainFolder(const std::string& path, const std::string& home) {
  const auto place = canonical(path);
  const auto homeFolder = canonical(home);
  const auto library = PathString::join(homeFolder, "Library");
  if (PathString::isInside(place, library)) return mainFolderInLibrary(place, library);
  if (place != homeFolder && PathString::isInside(place, homeFolder))
    return mainFolderInHome(place, homeFolder);
  const auto parts = components(place);
  return parts.size() >= 4 ? firstComponents(parts, 3) : place;
}

std::string collapse(const std::string& path, const std::string& main, int maxDepthBelowMain) {
  const auto place = canonical(path);
  const auto top = canonical(main);
  if (top != "/" && !PathString::isInside(place, top)) return place;
  const auto parts = components(place);
  const auto kept = components(top).size() + static_cast<std::size_t>(std::max(maxDepthBelowMain, 0));
  return parts.size() > kept ? firstComponents(parts, kept) : place;
}

std::string title(const std::string& main, const std::string& home) {
  if (canonical(main) == PathString::join(canonical(home), "Library/Preferences")) return "Einstellungen";
  return PathString::lastComponent(main);
}

}  // namespace fernwahrung::PathRules
