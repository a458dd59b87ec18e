// The one place where a failure becomes a sentence for people and an exit status for scripts.
#pragma once

#include "helper/ExitCode.h"

#include <exception>
#include <string>
#include <vector>

namespace fernwahrung {

/// The command line can't be understood, or names nothing that is there. what() is a finished German
/// sentence.
class UsageError : public std::exception {
 public:
  explicit UsageError(std::string sentence) : sentence_(std::move(sentence)) {}
  const char* what() const noexcept override { return sentence_.c_str(); }

 private:
  std::string sentence_;
};

/// The check forbids the operation; what() is the blockers, a line each.
class BlockedError : public std::exception {
 public:
  explicit BlockedError(const std::vector<std::string>& blockers);
  const char* what() const noexcept override { return sentences_.c_str(); }

 private:
  std::string sentences_;
};

struct Failure {
  std::string message;
  ExitCode code = ExitCode::failed;
};

Failure describe(const std::exception& error);

}  // namespace fernwahrung
