#include "FernwahrungApp/Model/Background.h"

#include <QThreadPool>

namespace fernwahrung::Background {
namespace {

struct Pool : QThreadPool {
  explicit Pool(int threads) { setMaxThreadCount(threads); }
};

QThreadPool& pool(Lane lane) {
  static Pool reads(8);
  static Pool operation(1);
  return lane == Lane::operation ? operation : reads;
}

}  // namespace

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

void start(std::function<void()> work, Lane lane) {
  pool(lane).start(std::move(work));
}

void waitForDone() {
  waitForDone(Lane::operation);
  waitForDone(Lane::reads);
}

void waitForDone(Lane lane) {
  pool(lane).waitForDone();
}

bool endWithin(std::chrono::milliseconds patience) {
  waitForDone(Lane::operation);
  pool(Lane::reads).clear();
  return pool(Lane::reads).waitForDone(static_cast<int>(patience.count()));
}

}  // namespace fernwahrung::Background
