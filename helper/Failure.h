// The one place where a failure becomes a sentence for people and an exit status for scripts.
#pragma once

#include "helper/ExitCode.h"

#include <exception>
#include <string>

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

struct Failure {
  std::string message;
  ExitCode code = ExitCode::failed;
};

Failure describe(const std::exception& error);

}  // namespace fernwahrung
