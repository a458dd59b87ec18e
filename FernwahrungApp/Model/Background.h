// Work away from the main thread.
#pragma once

#include <QObject>
#include <QPointer>
#include <QThreadPool>
#include <functional>
#include <memory>

namespace fernwahrung::Background {

/// The threads that may wait for a drive. Enough of them that a hanging drive does not keep other work
/// waiting.
QThreadPool& pool();

/// Brings calls to the thread of an object: posted from any thread, made there in their order from the event
/// loop, and dropped if the object is gone by then. To be made on the object's thread; hold it by a shared
/// pointer.
class Mailbox {
 public:
  explicit Mailbox(QObject* owner) : owner_(owner) {}
  ~Mailbox();
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  void post(std::function<void()> call) const;

 private:
  // The event loop needs an object that certainly lives; the owner may go at any moment, and only its own
  // thread may look.
  QObject* anchor_ = new QObject;
  QPointer<QObject> owner_;
};

/// Work whose end nobody waits for. Must not throw.
void start(std::function<void()> work);

/// Runs `work` in the pool and hands its result to `done` on the thread of `owner`, which calls this, unless
/// `owner` is gone by then. `work` must not throw.
///   Background::start(this, [path] { return FileOps::exists(path); }, [this](bool exists) { … });
template <class Work, class Done>
void start(QObject* owner, Work work, Done done) {
  start([mailbox = std::make_shared<Mailbox>(owner), work = std::move(work), done = std::move(done)] {
    mailbox->post([done, result = work()] { done(result); });
  });
}

}  // namespace fernwahrung::Background
