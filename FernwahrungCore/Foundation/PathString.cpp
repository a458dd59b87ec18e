#include "Foundation/PathString.h"

namespace fernwahrung::PathString {

namespace {

/// Without the slashes at the end; the root keeps its one.
std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return path;
}

std::string_view last(std::string_view path) {
  path = withoutTrailingSlashes(path);
  if (path == "/") return path;
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

/// Where the full stop of the extension stands in a file name.
std::size_t extensionStop(std::string_view name) {
  const auto stop = name.rfind('.');
  const bool isExtension = stop != std::string_view::npos && stop > 0 && stop + 1 < name.size();
  return isExtension ? stop : std::string_view::npos;
}

}  // namespace

std::string join(std::string_view folder, std::string_view name) {
  while (!name.empty() && name.front() == '/' && !folder.empty()) name.remove_prefix(1);
  folder = withoutTrailingSlashes(folder);
  if (name.empty()) return std::string(folder);
  std::string path(folder);
  if (!path.empty() && path.back() != '/') path += '/';
  return path.append(name);
}

std::string lastComponent(std::string_view path) {
  return std::string(last(path));
}

std::string parent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  return std::string(withoutTrailingSlashes(path.substr(0, slash == 0 ? 1 : slash)));
}

std::string extension(std::string_view path) {
  const auto name = last(path);
  const auto stop = extensionStop(name);
  return stop == std::string_view::npos ? std::string() : std::string(name.substr(stop + 1));
}

std::string withoutExtension(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const auto name = last(path);
  const auto stop = extensionStop(name);
  if (stop != std::string_view::npos) path.remove_suffix(name.size() - stop);
  return std::string(path);
}

bool isInside(std::string_view path, std::string_view folder) {
  path = withoutTrailingSlashes(path);
  folder = withoutTrailingSlashes(folder);
  if (path == folder) return true;
  if (folder.empty() || !path.starts_with(folder)) return false;
  return folder == "/" || path[folder.size()] == '/';
}

std::string withoutDataVolume(std::string path) {
  if (path != dataVolume && isInside(path, dataVolume)) path.erase(0, dataVolume.size());
  return path;
}

}  // namespace fernwahrung::PathString
