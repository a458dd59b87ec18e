// Many changes, one update: a refresh of the model changes a dozen fields in a row.
//
//   update_.follow(&model, &AppModel::relocationsChanged, &AppModel::statusesChanged);
#pragma once

#include <QTimer>
#include <functional>

namespace fernwahrung {

class LaterUpdate : public QObject {
 public:
  /// Calls `update` from the event loop, once for all changes since the last time.
  explicit LaterUpdate(std::function<void()> update) {
    timer_.setSingleShot(true);
    timer_.setInterval(0);
    connect(&timer_, &QTimer::timeout, this, std::move(update));
  }

  template <class Sender, class... Signals>
  void follow(const Sender* sender, Signals... changes) {
    (connect(sender, changes, &timer_, qOverload<>(&QTimer::start)), ...);
  }
  void schedule() { timer_.start(); }

 private:
  QTimer timer_;
};

}  // namespace fernwahrung
