#include "Foundation/Errors.h"

#include <algorithm>
#include <fmt/format.h>

namespace fernwahrung {

namespace {

constexpr std::size_t shownProblems = 10;

std::string describeProblems(const std::vector<std::string>& problems) {
  std::string text = "Prüfung fehlgeschlagen – die Kopie ist NICHT identisch:\n";
  const auto shown = std::min(problems.size(), shownProblems);
  for (std::size_t index = 0; index < shown; ++index) {
    if (index > 0) text += '\n';
    text += problems[index];
  }
  if (problems.size() > shown) text += fmt::format("\n… und {} weitere", problems.size() - shown);
  return text;
}

std::string describeSystemError(const std::string& sentence, const std::string& path, int errnoValue) {
  if (path.empty()) return fmt::format("{} ({})", sentence, errnoText(errnoValue));
  return fmt::format("{}: {} ({})", sentence, path, errnoText(errnoValue));
}

}  // namespace

FernwahrungError::FernwahrungError(Case kind, std::vector<std::string> problems, std::string description)
    : kind_(kind), problems_(std::move(problems)), description_(std::move(description)) {
}

FernwahrungError FernwahrungError::message(std::string text) {
  return {Case::message, {}, std::move(text)};
}

FernwahrungError FernwahrungError::verificationFailed(std::vector<std::string> problems) {
  auto description = describeProblems(problems);
  return {Case::verificationFailed, std::move(problems), std::move(description)};
}

FernwahrungError FernwahrungError::cancelled() {
  return {Case::cancelled, {}, "Vorgang abgebrochen."};
}

SystemError::SystemError(const std::string& sentence, const std::string& path, int errnoValue)
    : code_(errnoValue), description_(describeSystemError(sentence, path, errnoValue)) {
}

std::string SystemError::reason() const {
  return errnoText(code_);
}

std::string errnoText(int code) {
  return std::generic_category().message(code);
}

}  // namespace fernwahrung
