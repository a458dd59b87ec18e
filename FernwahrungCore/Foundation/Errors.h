// The errors every operation throws. An error's what() is a finished German sentence and is shown to the user
// unchanged.
#pragma once

#include <exception>
#include <string>
#include <system_error>
#include <vector>

namespace fernwahrung {

/// Almost every failure of an operation. Three cases:
///   message             explained by its own sentence
///   verificationFailed  the copy differs from the original; `problems` lists the differences
///   cancelled           the user cancelled
class FernwahrungError : public std::exception {
 public:
  enum class Case { message, verificationFailed, cancelled };

  static FernwahrungError message(std::string text);
  static FernwahrungError verificationFailed(std::vector<std::string> problems);
  static FernwahrungError cancelled();

  Case kind() const { return kind_; }
  const std::vector<std::string>& problems() const { return problems_; }
  const char* what() const noexcept override { return description_.c_str(); }

 protected:
  FernwahrungError(Case kind, std::vector<std::string> problems, std::string description);

 private:
  Case kind_;
  std::vector<std::string> problems_;
  std::string description_;
};

/// A system call that failed and has no sentence of its own: "{sentence}: {path} ({reason})".
///   throw SystemError("Der Ordner kann nicht gelesen werden", path, errno);
class SystemError : public std::exception {
 public:
  SystemError(const std::string& sentence, const std::string& path, int errnoValue);

  int code() const { return code_; }
  /// The system's text for the code, as strerror gives it.
  std::string reason() const;
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  int code_;
  std::string description_;
};

/// strerror(code), safe for threads.
std::string errnoText(int code);

}  // namespace fernwahrung
