// Work away from the main thread.
#pragma once

#include <QObject>
#include <QPointer>
#include <chrono>
#include <functional>
#include <memory>

namespace fernwahrung::Background {

/// Reads may hang at a drive, and there are threads enough that one which does keeps no other waiting. The
/// operation has a thread of its own, so that it waits for no read at all.
enum class Lane { reads, operation };

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
void start(std::function<void()> work, Lane lane = Lane::reads);

/// Runs `work` in the background and hands its result to `done` on the thread of `owner`, which calls this,
/// unless `owner` is gone by then. `work` must not throw.
///   Background::start(this, [path] { return FileOps::exists(path); }, [this](bool exists) { … });
template <class Work, class Done>
void start(QObject* owner, Work work, Done done, Lane lane = Lane::reads) {
  start(
      [mailbox = std::make_shared<Mailbox>(owner), work = std::move(work), done = std::move(done)] {
        mailbox->post([done, result = work()]() mutable { done(std::move(result)); });
      },
      lane);
}

/// Until nothing runs any more. What was posted still waits for the event loop.
void waitForDone();
void waitForDone(Lane lane);

/// For the end of the program, while the application object lives: awaits the operation, drops what has not
/// begun, and gives the reads so much time. False when one still hangs; then only leaving the process without
/// its usual end, which would wait for it, gets away from it.
bool endWithin(std::chrono::milliseconds patience);

}  // namespace fernwahrung::Background
