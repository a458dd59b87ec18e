#include "Foundation/BlockingCalls.h"

#include <atomic>
#include <mutex>
#include <shared_mutex>

namespace fernwahrung::BlockingCalls {
namespace {

using Told = std::function<void(const char*)>;

std::atomic<bool> watched = false;
std::shared_mutex lock;
Told told;  // guarded by lock

}  // namespace

void announce(const char* call) {
  if (!watched.load(std::memory_order_relaxed)) return;
  std::shared_lock guard(lock);
  if (told) told(call);
}

Watch::Watch(Told watcher) {
  std::unique_lock guard(lock);
  told = std::move(watcher);
  watched = true;
}

Watch::~Watch() {
  std::unique_lock guard(lock);
  watched = false;
  told = nullptr;
}

}  // namespace fernwahrung::BlockingCalls
