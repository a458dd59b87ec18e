#include "FernwahrungApp/Model/Background.h"

namespace fernwahrung::Background {
namespace {

struct Pool : QThreadPool {
  Pool() { setMaxThreadCount(8); }
};

}  // namespace

QThreadPool& pool() {
  static Pool pool;
  return pool;
}

// The end queues behind the calls. A deletion asked for from here could overtake them: whoever delivers
// deletions alone, as Qt's own waiting in tests does, would drop what has not been delivered yet.
Mailbox::~Mailbox() {
  QMetaObject::invokeMethod(
      anchor_, [anchor = anchor_] { anchor->deleteLater(); }, Qt::QueuedConnection);
}

void Mailbox::post(std::function<void()> call) const {
  QMetaObject::invokeMethod(
      anchor_,
      [owner = owner_, call = std::move(call)] {
        if (owner) call();
      },
      Qt::QueuedConnection);
}

void start(std::function<void()> work) {
  pool().start(std::move(work));
}

}  // namespace fernwahrung::Background
