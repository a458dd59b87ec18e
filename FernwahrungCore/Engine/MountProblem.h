#pragma once

#include "Foundation/Json.h"

#include <string>

namespace fernwahrung {

/// Why a relocation could not be mounted.
struct MountProblem {
  enum class Kind { accessDenied, notEmpty, storageMissing, skipped, other };

  std::string name;  // of the relocation; empty for a problem of the run as a whole
  Kind kind = Kind::other;
  std::string message;

  /// "{name}: {message}", or the bare message.
  std::string text() const;
  /// One line for lists.
  std::string shortText() const;
  bool operator==(const MountProblem&) const = default;
};

std::string rawValue(MountProblem::Kind kind);
Json::Value toJson(const MountProblem& problem);
MountProblem mountProblemFromJson(const Json::Value& value);

}  // namespace fernwahrung
