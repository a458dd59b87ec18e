#include "Engine/MountProblem.h"

#include "Foundation/Text.h"

#include <array>
#include <utility>

namespace fernwahrung {
namespace {

using Kind = MountProblem::Kind;
constexpr std::array<std::pair<Kind, const char*>, 5> kindNames{{{Kind::accessDenied, "accessDenied"},
                                                                 {Kind::notEmpty, "notEmpty"},
                                                                 {Kind::storageMissing, "storageMissing"},
                                                                 {Kind::skipped, "skipped"},
                                                                 {Kind::other, "other"}}};

}  // namespace

std::string MountProblem::text() const {
  return name.empty() ? message : name + ": " + message;
}

std::string MountProblem::shortText() const {
  switch (kind) {
    case Kind::notEmpty:
      return name + ": Ordner nicht leer – in der App bei „Einhängen“ auswählen, wie es weitergeht.";
    case Kind::accessDenied:
      return name + ": macOS verweigert den Zugriff – Festplattenvollzugriff für Fernwahrung freigeben.";
    default: {
      std::vector<std::string> lines = Text::split(text(), '\n');
      return lines.empty() ? "" : lines.front();
    }
  }
}

std::string rawValue(Kind kind) {
  for (const auto& [value, name] : kindNames) {
    if (value == kind) return name;
  }
  return "other";
}

Json::Value toJson(const MountProblem& problem) {
  return {{"name", problem.name}, {"kind", rawValue(problem.kind)}, {"message", problem.message}};
}

MountProblem mountProblemFromJson(const Json::Value& value) {
  MountProblem problem;
  problem.name = Json::text(value, "name");
  problem.message = Json::text(value, "message");
  std::string kind = Json::text(value, "kind");
  for (const auto& [candidate, name] : kindNames) {
    if (kind == name) {
      problem.kind = candidate;
      return problem;
    }
  }
  throw JsonError("Unbekannter Wert für „kind“: " + kind);
}

}  // namespace fernwahrung
