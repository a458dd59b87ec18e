// The Mac's tools that this program stands in for, as far as the core uses them: arguments, exit status,
// standard output and standard error are those of the tool, what they tell is true of this machine.
#pragma once

#include <exception>
#include <string>
#include <vector>

namespace fernwahrung::host {

using Arguments = std::vector<std::string>;

/// Each takes the arguments without the program's name, and gives the exit status. They may throw Failure.
int hdiutil(const Arguments& arguments);
int diskutil(const Arguments& arguments);
int ditto(const Arguments& arguments);
int ps(const Arguments& arguments);
int mdutil(const Arguments& arguments);

/// A tool's refusal: the line for standard error, and the exit status.
class Failure : public std::exception {
 public:
  explicit Failure(std::string text, int status = 1) : text_(std::move(text)), status_(status) {}
  const char* what() const noexcept override { return text_.c_str(); }
  int status() const { return status_; }

 private:
  std::string text_;
  int status_;
};

}  // namespace fernwahrung::host
