// What a caller hands into a long operation: progress comes out, cancellation goes in.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace fernwahrung {

class OperationContext {
 public:
  /// `fraction` lies between 0 and 1; without one the progress is indeterminate. Called on the operation's
  /// thread.
  using Progress = std::function<void(const std::string& text, std::optional<double> fraction)>;

  explicit OperationContext(Progress progress = {});
  OperationContext(const OperationContext&) = delete;
  OperationContext& operator=(const OperationContext&) = delete;

  /// Logs "· {message}", then calls the progress closure.
  void report(const std::string& message, std::optional<double> fraction = std::nullopt) const;
  /// Calls the progress closure without a log line.
  void progress(const std::string& text, std::optional<double> fraction) const;

  /// Any thread, any number of times.
  void cancel();
  bool isCancelled() const;
  /// Throws FernwahrungError::cancelled once cancel() was called.
  void checkCancelled() const;

 private:
  const Progress progress_;
  mutable std::mutex lock_;
  bool cancelled_ = false;  // guarded by lock_
};

}  // namespace fernwahrung
