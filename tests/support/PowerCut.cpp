#include "support/PowerCut.h"

#include "support/Files.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fmt/format.h>
#include <set>

namespace fernwahrung {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t root = 0;
/// Up to so many names not yet safe are tried in all combinations.
constexpr std::size_t fewNames = 6;

constexpr std::array allBytes = {PowerCut::Bytes::kept, PowerCut::Bytes::dropped, PowerCut::Bytes::emptied,
                                 PowerCut::Bytes::halved, PowerCut::Bytes::zeroed};

std::string leftOver(const std::string& present, const std::string& safe, PowerCut::Bytes bytes) {
  if (present == safe) return safe;
  switch (bytes) {
    case PowerCut::Bytes::kept:
      return present;
    case PowerCut::Bytes::dropped:
      return safe;
    case PowerCut::Bytes::emptied:
      return {};
    case PowerCut::Bytes::halved:
      return present.substr(0, present.size() / 2);
    case PowerCut::Bytes::zeroed:
      break;
  }
  return std::string(present.size(), '\0');
}

/// Which of the changes are lost: all combinations of a few; of many, those in order, each one alone, and all
/// but each one.
std::vector<std::vector<std::size_t>> losses(const std::vector<std::size_t>& changes) {
  std::vector<std::vector<std::size_t>> result;
  if (changes.size() <= fewNames) {
    for (std::size_t bits = 0; bits < (std::size_t{1} << changes.size()); ++bits) {
      auto& lost = result.emplace_back();
      for (std::size_t index = 0; index < changes.size(); ++index) {
        if ((bits >> index & 1) != 0) lost.push_back(changes[index]);
      }
    }
    return result;
  }
  for (std::size_t index = 0; index <= changes.size(); ++index) {
    result.emplace_back(changes.begin() + static_cast<std::ptrdiff_t>(index), changes.end());
  }
  for (const auto one : changes) {
    result.push_back({one});
    auto others = changes;
    std::erase(others, one);
    result.push_back(std::move(others));
  }
  return result;
}

}  // namespace

PowerCut::PowerCut(const std::string& folder) : folder_(folder) {
  add(Type::folder, {});
  std::vector<NameChange> names;
  takeOverEntries(root, folder_, names);
  for (const auto& name : names) before_[name.place] = *name.node;
  live_ = before_;
  Platform::observeChanges(this);
}

PowerCut::~PowerCut() {
  stop();
}

void PowerCut::stop() {
  Platform::observeChanges(nullptr);
}

// Recording.

PowerCut::NodeId PowerCut::add(Type type, std::string bytes) {
  nodes_.push_back({type, std::move(bytes)});
  return nodes_.size() - 1;
}

/// Nothing for the folder itself and for all outside it.
std::optional<PowerCut::Place> PowerCut::place(const std::string& path) {
  const auto parent = folder(fs::path(path).parent_path());
  if (!parent) return std::nullopt;
  return Place{*parent, fs::path(path).filename()};
}

std::optional<PowerCut::NodeId> PowerCut::folder(const std::string& path) {
  if (path == folder_) return root;
  if (!path.starts_with(folder_ + "/")) return std::nullopt;
  const auto here = place(path);
  return nodeAt(*here, path);
}

/// A node for what lies on the disk and was made by others; its names are added to none.
PowerCut::NodeId PowerCut::takeOver(const std::string& path) {
  if (fs::is_symlink(path)) return add(Type::symlink, fs::read_symlink(path));
  if (fs::is_directory(path)) return add(Type::folder, {});
  return add(Type::file, fs::is_regular_file(path) ? readFile(path) : std::string());
}

void PowerCut::takeOverEntries(NodeId node, const std::string& path, std::vector<NameChange>& names) {
  for (const auto& name : namesIn(path)) {
    const auto inner = path + "/" + name;
    const auto innerNode = takeOver(inner);
    names.push_back({{node, name}, innerNode});
    if (nodes_[innerNode].type == Type::folder) takeOverEntries(innerNode, inner, names);
  }
}

PowerCut::NodeId PowerCut::nodeAt(const Place& here, const std::string& path) {
  if (const auto known = live_.find(here); known != live_.end()) return known->second;
  const auto node = takeOver(path);
  change({.description = "found " + path, .names = {{here, node}}});
  return node;
}

void PowerCut::change(Change made) {
  for (const auto& name : made.names) {
    if (name.node) {
      live_[name.place] = *name.node;
    } else {
      live_.erase(name.place);
    }
  }
  changes_.push_back(std::move(made));
}

void PowerCut::changeName(const std::string& description, const std::string& path,
                          std::optional<NodeId> node) {
  if (const auto here = place(path))
    change({.description = description + " " + path, .names = {{*here, node}}});
}

void PowerCut::madeDirectory(const std::string& path) {
  changeName("mkdir", path, add(Type::folder, {}));
}

void PowerCut::removedDirectory(const std::string& path) {
  changeName("rmdir", path, std::nullopt);
}

void PowerCut::unlinked(const std::string& path) {
  changeName("unlink", path, std::nullopt);
}

void PowerCut::madeLink(const std::string& existing, const std::string& path) {
  if (const auto here = place(existing)) changeName("link " + existing, path, nodeAt(*here, existing));
}

void PowerCut::madeSymlink(const std::string& text, const std::string& path) {
  changeName("symlink", path, add(Type::symlink, text));
}

void PowerCut::created(const std::string& path) {
  changeName("create", path, add(Type::file, {}));
}

void PowerCut::renamed(const std::string& from, const std::string& to) {
  const auto source = place(from);
  const auto target = place(to);
  if (!source && !target) return;
  Change made{.description = "rename " + from + " → " + to};
  const auto known = source ? live_.find(*source) : live_.end();
  const auto node = known != live_.end() ? known->second : takeOver(to);
  if (source) made.names.push_back({*source, std::nullopt});
  if (target) made.names.push_back({*target, node});
  change(std::move(made));
}

void PowerCut::wrote(const std::string& path, std::string_view data) {
  if (const auto here = place(path)) {
    change({.description = "write " + path, .written = nodeAt(*here, path), .data = std::string(data)});
  }
}

void PowerCut::flushed(const std::string& path) {
  if (const auto here = place(path)) {
    change({.description = "flush " + path, .flushedFile = nodeAt(*here, path)});
  }
}

void PowerCut::flushedDirectory(const std::string& path) {
  const auto node = folder(path);
  if (!node) return;
  // Folders are also made where nobody tells: those are safe from here on.
  for (const auto& name : namesIn(path)) {
    if (isFolder(path + "/" + name)) nodeAt({*node, name}, path + "/" + name);
  }
  change({.description = "flush folder " + path, .flushedFolder = node});
}

void PowerCut::cloned(const std::string& /*from*/, const std::string& to) {
  const auto here = place(to);
  if (!here) return;
  Change made{.description = "clone to " + to};
  const auto node = takeOver(to);
  made.names.push_back({*here, node});
  if (nodes_[node].type == Type::folder) takeOverEntries(node, to, made.names);
  change(std::move(made));
}

void PowerCut::flushedVolume(const std::string& path) {
  if (path != folder_ && !path.starts_with(folder_ + "/")) return;
  Change made{.description = "flush volume of " + path, .flushedAll = true};
  takeOverAll(root, folder_, made.names);
  change(std::move(made));
}

void PowerCut::takeOverAll(NodeId node, const std::string& path, std::vector<NameChange>& names) {
  for (const auto& name : namesIn(path)) {
    const auto inner = path + "/" + name;
    const auto known = live_.find({node, name});
    const auto innerNode = known != live_.end() ? known->second : takeOver(inner);
    if (known == live_.end()) names.push_back({{node, name}, innerNode});
    if (nodes_[innerNode].type == Type::folder) takeOverAll(innerNode, inner, names);
  }
}

// The states.

/// The changes of names that no later flush of their folder has made safe.
std::vector<std::size_t> PowerCut::unsettled(std::size_t after) const {
  std::vector<std::size_t> result;
  std::set<NodeId> flushedLater;
  for (auto index = after; index-- > 0;) {
    const auto& made = changes_[index];
    if (made.flushedAll) break;
    if (made.flushedFolder) flushedLater.insert(*made.flushedFolder);
    const auto isSafe = [&](const NameChange& name) { return flushedLater.contains(name.place.first); };
    if (!made.names.empty() && std::none_of(made.names.begin(), made.names.end(), isSafe)) {
      result.insert(result.begin(), index);
    }
  }
  return result;
}

std::vector<PowerCut::Content> PowerCut::contents(std::size_t after) const {
  std::vector<Content> result;
  for (const auto& node : nodes_) result.push_back({node.bytes, node.bytes});
  for (std::size_t index = 0; index < after; ++index) {
    const auto& made = changes_[index];
    if (made.written) result[*made.written].present = made.data;
    if (made.flushedFile) result[*made.flushedFile].safe = result[*made.flushedFile].present;
    if (!made.flushedAll) continue;
    for (auto& content : result) content.safe = content.present;
  }
  return result;
}

PowerCut::Names PowerCut::namesAfter(std::size_t after, const std::vector<std::size_t>& lost) const {
  auto names = before_;
  for (std::size_t index = 0; index < after; ++index) {
    if (std::find(lost.begin(), lost.end(), index) != lost.end()) continue;
    for (const auto& name : changes_[index].names) {
      if (name.node) {
        names[name.place] = *name.node;
      } else {
        names.erase(name.place);
      }
    }
  }
  return names;
}

void PowerCut::forEachState(const std::function<void(const State&, const std::string&)>& look) const {
  const TempFolder scratch;
  lookAtAll(scratch / "disk", look);
}

void PowerCut::forEachStateInPlace(const std::function<void(const State&)>& look) const {
  const std::string aside = folder_ + ".aside";
  fs::rename(folder_, aside);
  lookAtAll(folder_, [&](const State& state, const std::string&) { look(state); });
  fs::rename(aside, folder_);
}

void PowerCut::lookAtAll(const std::string& folder,
                         const std::function<void(const State&, const std::string&)>& look) const {
  for (std::size_t after = 0; after <= changes_.size(); ++after) lookAt(after, folder, look);
}

void PowerCut::lookAt(std::size_t after, const std::string& folder,
                      const std::function<void(const State&, const std::string&)>& look) const {
  const auto present = contents(after);
  std::set<std::string> seen;
  for (const auto& lost : losses(unsettled(after))) {
    const auto names = namesAfter(after, lost);
    for (const auto bytes : allBytes) {
      std::vector<std::string> left;
      for (const auto& content : present) left.push_back(leftOver(content.present, content.safe, bytes));
      if (!seen.insert(signature(names, left)).second) continue;
      State state{after, fmt::format("after {} changes, bytes {}", after, static_cast<int>(bytes))};
      if (after > 0) state.description += "; the last: " + changes_[after - 1].description;
      for (const auto index : lost) state.description += "; lost: " + changes_[index].description;
      fs::create_directory(folder);
      make(names, left, folder);
      look(state, folder);
      fs::remove_all(folder);
    }
  }
}

void PowerCut::make(const Names& names, const std::vector<std::string>& bytes,
                    const std::string& folder) const {
  std::map<NodeId, std::string> paths = {{root, folder}};
  std::vector<NodeId> open = {root};
  while (!open.empty()) {
    const auto parent = open.back();
    open.pop_back();
    for (auto name = names.lower_bound({parent, ""}); name != names.end() && name->first.first == parent;
         ++name) {
      const auto node = name->second;
      const auto path = paths.at(parent) + "/" + name->first.second;
      const bool isNew = paths.emplace(node, path).second;
      if (nodes_[node].type == Type::symlink) {
        fs::create_symlink(nodes_[node].bytes, path);
      } else if (nodes_[node].type == Type::file) {
        if (isNew) {
          writeFile(path, bytes[node]);
        } else {
          fs::create_hard_link(paths.at(node), path);
        }
      } else if (isNew) {
        fs::create_directory(path);
        open.push_back(node);
      }
    }
  }
}

std::string PowerCut::signature(const Names& names, const std::vector<std::string>& bytes) const {
  std::string text;
  for (const auto& [place, node] : names) {
    text += fmt::format("{} {} {} {}:", place.first, place.second, node, bytes[node].size()) + bytes[node];
  }
  return text;
}

}  // namespace fernwahrung
