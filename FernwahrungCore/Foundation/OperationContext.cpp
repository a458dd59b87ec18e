#include "Foundation/OperationContext.h"

#include "Foundation/Errors.h"
#include "Foundation/Log.h"

namespace fernwahrung {

OperationContext::OperationContext(Progress progress) : progress_(std::move(progress)) {
}

void OperationContext::report(const std::string& message, std::optional<double> fraction) const {
  Log::write("· " + message);
  progress(message, fraction);
}

void OperationContext::progress(const std::string& text, std::optional<double> fraction) const {
  if (progress_) progress_(text, fraction);
}

void OperationContext::cancel() {
  const std::scoped_lock guard(lock_);
  cancelled_ = true;
}

bool OperationContext::isCancelled() const {
  const std::scoped_lock guard(lock_);
  return cancelled_;
}

void OperationContext::checkCancelled() const {
  if (isCancelled()) throw FernwahrungError::cancelled();
}

}  // namespace fernwahrung
