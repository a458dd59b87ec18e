// Runs the helper in the test's own process, with streams that the test gives and reads.
#pragma once

#include "helper/Run.h"
#include "support/TempFolder.h"

#include "Foundation/Json.h"
#include "Records/Journal.h"
#include "Records/RegistryStore.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace fernwahrung {

struct HelperResult {
  ExitCode code;
  std::string out;
  std::string err;

  /// Standard output as the one document it must be.
  Json::Value json() const { return Json::parse(out); }
};

struct HelperInput {
  std::string text = {};
  bool inputIsTerminal = false;
  bool errorIsTerminal = false;
};

inline HelperResult runHelper(const std::vector<std::string>& arguments, const HelperInput& input = {}) {
  std::istringstream in(input.text);
  std::ostringstream out;
  std::ostringstream err;
  Streams streams{.in = in,
                  .out = out,
                  .err = err,
                  .inputIsTerminal = input.inputIsTerminal,
                  .errorIsTerminal = input.errorIsTerminal};
  const ExitCode code = run(arguments, streams);
  return {code, out.str(), err.str()};
}

inline Uuid uuid(const std::string& text) {
  return Uuid::parse(text).value();
}

inline Relocation makeRelocation(const std::string& id, const std::string& name, const std::string& source) {
  Relocation relocation;
  relocation.id = uuid(id);
  relocation.name = name;
  relocation.kind = RelocationKind::symlink;
  relocation.sourcePath = source;
  relocation.storagePath = "/Volumes/Nicht da/" + name;
  relocation.createdAt = Dates::parseIso8601("2026-11-15T10:09:15Z").value();
  return relocation;
}

inline void saveRegistry(const std::vector<Relocation>& relocations) {
  RegistryStore::save({.version = 1, .relocations = relocations});
}

/// An operation that began and did not end.
inline Journal makeJournal(const std::string& id, const Relocation& relocation,
                           const std::string& startedAt) {
  Journal journal(OperationKind::relocate, relocation);
  journal.id = uuid(id);
  journal.startedAt = Dates::parseIso8601(startedAt).value();
  return journal;
}

inline constexpr auto firstId = "68753A44-4D6F-1226-9C60-0050E4C00067";
inline constexpr auto secondId = "68753A99-4D6F-1226-9C60-0050E4C00067";
inline constexpr auto thirdId = "F00D0001-4D6F-1226-9C60-0050E4C00067";

class HelperTest : public testing::Test {
 protected:
  TempHome home_;
};

}  // namespace fernwahrung
