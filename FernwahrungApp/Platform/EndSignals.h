// The signals by which the system or a terminal asks a program to end, as an event of the loop.
#pragma once

#include "Foundation/FileDescriptor.h"

#include <QObject>
#include <QSocketNotifier>
#include <memory>

namespace fernwahrung {

/// From its making to its end SIGTERM, SIGINT and SIGHUP no longer end the process but emit asked(). A SIGHUP
/// that was ignored, as under nohup, stays ignored. At most one object at a time.
class EndSignals : public QObject {
  Q_OBJECT

 public:
  /// Throws SystemError when no descriptors are left.
  EndSignals();
  ~EndSignals() override;

 signals:
  void asked();

 private:
  void read();

  FileDescriptor readEnd_;
  FileDescriptor writeEnd_;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace fernwahrung
