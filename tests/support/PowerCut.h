// What a disk holds when the power fails. A killed process leaves the system's caches alive, so only this
// shows a missing flush.
#pragma once

#include "Platform/FileChanges.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fernwahrung {

/// Records the core's changes of names and small files under a folder while it lives, and then makes each
/// state in which a power cut could have left that folder:
///   - after any number of the changes,
///   - of the bytes not flushed since they were written: all, none, an empty file, the first half, or zeros,
///   - of the names changed in a folder that was not flushed since: any of them kept, and any lost.
/// A rename happens wholly or not at all, as on a file system with a journal. What lies in the folder at the
/// start counts as safe. What other programs make is taken over when a change first names it: folders as not
/// yet safe (unless the folder around it is flushed just then), all else as its bytes are.
///
///   PowerCut cut(home.path());
///   RegistryStore::save(registry);
///   cut.stop();
///   cut.forEachState([&](const PowerCut::State& state, const std::string& folder) { … });
class PowerCut : public Platform::ChangeObserver {
 public:
  enum class Bytes { kept, dropped, emptied, halved, zeroed };
  struct State {
    std::size_t after = 0;    // so many changes were made
    std::string description;  // for the message of a failed check
  };

  explicit PowerCut(const std::string& folder);
  ~PowerCut() override;
  PowerCut(const PowerCut&) = delete;
  PowerCut& operator=(const PowerCut&) = delete;

  /// Ends the recording.
  void stop();
  /// The number of changes so far: a check notes it where a function has returned and so made a promise.
  std::size_t changes() const { return changes_.size(); }

  /// Calls `look` for each different state, with the state made in a fresh folder that goes afterwards.
  void forEachState(const std::function<void(const State& state, const std::string& folder)>& look) const;
  /// The same with each state made in the place of the recorded folder itself, for what holds absolute paths.
  /// The folder as it is now comes back in the end.
  void forEachStateInPlace(const std::function<void(const State& state)>& look) const;

  void madeDirectory(const std::string& path) override;
  void removedDirectory(const std::string& path) override;
  void unlinked(const std::string& path) override;
  void madeLink(const std::string& existing, const std::string& path) override;
  void madeSymlink(const std::string& text, const std::string& path) override;
  void renamed(const std::string& from, const std::string& to) override;
  void created(const std::string& path) override;
  void wrote(const std::string& path, std::string_view data) override;
  void flushed(const std::string& path) override;
  void flushedDirectory(const std::string& path) override;
  void cloned(const std::string& from, const std::string& to) override;
  /// All that lies in the folder, whoever made it, is safe from here on.
  void flushedVolume(const std::string& path) override;

 private:
  enum class Type { file, folder, symlink };
  struct Node {
    Type type;
    std::string bytes;  // at its beginning; of a link its text
  };
  using NodeId = std::size_t;
  using Place = std::pair<NodeId, std::string>;  // a name in a folder
  using Names = std::map<Place, NodeId>;
  struct NameChange {
    Place place;
    std::optional<NodeId> node;  // nothing: the name goes
  };
  struct Change {
    std::string description;
    std::vector<NameChange> names = {};
    std::optional<NodeId> written = {};
    std::string data = {};
    std::optional<NodeId> flushedFile = {};
    std::optional<NodeId> flushedFolder = {};
    bool flushedAll = false;
  };
  struct Content {
    std::string present;
    std::string safe;
  };

  NodeId add(Type type, std::string bytes);
  std::optional<Place> place(const std::string& path);
  std::optional<NodeId> folder(const std::string& path);
  NodeId takeOver(const std::string& path);
  void takeOverEntries(NodeId node, const std::string& path, std::vector<NameChange>& names);
  NodeId nodeAt(const Place& place, const std::string& path);
  void change(Change change);
  void changeName(const std::string& description, const std::string& path, std::optional<NodeId> node);

  std::vector<std::size_t> unsettled(std::size_t after) const;
  std::vector<Content> contents(std::size_t after) const;
  Names namesAfter(std::size_t after, const std::vector<std::size_t>& lost) const;
  void lookAtAll(const std::string& folder,
                 const std::function<void(const State&, const std::string&)>& look) const;
  void takeOverAll(NodeId node, const std::string& path, std::vector<NameChange>& names);
  void lookAt(std::size_t after, const std::string& folder,
              const std::function<void(const State&, const std::string&)>& look) const;
  void make(const Names& names, const std::vector<std::string>& bytes, const std::string& folder) const;
  std::string signature(const Names& names, const std::vector<std::string>& bytes) const;

  std::string folder_;
  std::vector<Node> nodes_;
  Names before_;  // the names at the start
  Names live_;
  std::vector<Change> changes_;
};

}  // namespace fernwahrung
