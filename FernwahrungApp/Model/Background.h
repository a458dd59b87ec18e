// Work away from the main thread.
#pragma once

#include <QThreadPool>
#include <QtConcurrentRun>
#include <functional>

namespace fernwahrung::Background {

/// The threads that may wait for a drive. Enough of them that a hanging drive does not keep other work
/// waiting.
QThreadPool& pool();

/// Runs `work` in the pool and hands its result to `done` on the thread of `owner`, unless `owner` is gone by
/// then. `work` must not throw.
///   Background::start(this, [path] { return FileOps::exists(path); }, [this](bool exists) { … });
template <class Work, class Done>
void start(QObject* owner, Work work, Done done) {
  QtConcurrent::run(&pool(), std::move(work)).then(owner, std::move(done));
}

/// Work whose end nobody waits for.
void start(std::function<void()> work);

}  // namespace fernwahrung::Background
