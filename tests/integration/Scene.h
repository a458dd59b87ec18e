// What every story needs: private files, a drive, and a folder of an application on the "internal" disk.
#pragma once

#include "support/NastyTree.h"
#include "support/ScratchDrive.h"
#include "support/TempFolder.h"
#include "support/TreeManifest.h"

#include "Engine/RelocationPlan.h"
#include "Foundation/OperationContext.h"
#include "Records/Journal.h"
#include "Records/RegistryStore.h"

#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

/// Skips the test, with the reason, where the machine may not mount.
class Scene : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Fills the source with the nasty tree and remembers what it looks like.
  void makeSource(const NastyTreeOptions& options = {});

  RelocationPlan plan(RelocationKind kind) const;
  Relocation relocate(RelocationKind kind);
  /// The description of what a call throws; "" when it throws nothing.
  static std::string errorOf(const std::function<void()>& call);

  /// A context that calls `reaction` with each progress text.
  static OperationContext::Progress onProgress(std::function<void(const std::string&)> reaction);

  /// "" when the source folder is what it was: names, types, bytes, modes, owners, times, links and
  /// attributes.
  std::string sourceDifference() const;
  /// Everything that a failed or undone operation must leave behind: the source as it was, nothing mounted at
  /// it, below the private folder or from the drive, the registry as it was, no open journal, no kept
  /// original and no staging beside it.
  void expectAsBefore() const;
  /// An entry of another folder, which every operation on this one must leave alone.
  void registerAnother();
  /// The items in the redirected Trash whose names end in `name`.
  std::vector<std::string> inTrash(const std::string& name) const;
  /// What lies beside the source, without the source.
  std::vector<std::string> besideSource() const;
  std::string log() const;
  /// The one closed journal of that kind.
  Journal closedJournal(OperationKind kind) const;

  std::optional<TempHome> home;
  std::optional<TempFolder> mac;  // the internal disk's share of the story
  std::optional<ScratchDrive> drive;
  std::string source;
  TreeManifest before;
  Registry registryBefore;
  OperationContext context;
};

/// The names of mount points at or below the folder.
std::vector<std::string> mountsBelow(const std::string& folder);
/// The files below the folder that a loop device holds, as the kernel lists them.
std::vector<std::string> loopFilesBelow(const std::string& folder);

}  // namespace fernwahrung
