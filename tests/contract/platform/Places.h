// Where the tests work, and who they work as: the few things a test has to ask each system in its own words.
#pragma once

#include "support/TempFolder.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace fernwahrung::contract {

/// A fresh folder on a file system that clones.
class CloningFolder {
 public:
  CloningFolder();
  ~CloningFolder();

  const std::string& path() const;
  std::string operator/(std::string_view relative) const { return path() + "/" + std::string(relative); }

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Why nothing can be mounted here, if so.
std::optional<std::string> mountingUnavailable();

/// A flag of a folder that has nothing to do with locking: "leave me out of dumps".
bool setNoDumpFlag(const std::string& path);
bool hasNoDumpFlag(const std::string& path);

/// Runs the work in a process of its own as the user "nobody", or as the present one unless that is root. The
/// work tells what went wrong, or nothing; what it tells is returned, and what it throws.
std::string asOrdinaryUser(const std::function<std::string()>& work);
/// Gives the folder to that user.
void giveToOrdinaryUser(const std::string& path);

}  // namespace fernwahrung::contract
