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
