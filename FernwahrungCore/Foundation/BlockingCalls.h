// Calls that may keep their thread waiting for a disk or for another process, an absent drive's worst of all.
// A thread that serves the user makes none of them; a test can prove that.
#pragma once

#include <functional>

namespace fernwahrung::BlockingCalls {

/// Every place that makes such a call announces it first, by a name of its own. Costs one load where nobody
/// watches.
void announce(const char* call);

/// Test hook: told of every call, on the thread that makes it, until the object dies. One at a time.
///   BlockingCalls::Watch watch([&](const char* call) { if (onMainThread()) ADD_FAILURE() << call; });
class Watch {
 public:
  explicit Watch(std::function<void(const char* call)> told);
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
};

}  // namespace fernwahrung::BlockingCalls
