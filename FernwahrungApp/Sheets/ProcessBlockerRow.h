#pragma once

#include "Processes/ProcessDescriber.h"

#include <QWidget>

namespace fernwahrung {

/// A process that holds files open: what it is, and what can be done about it.
class ProcessBlockerRow : public QWidget {
  Q_OBJECT

 public:
  ProcessBlockerRow(ProcessDescription process, QWidget* parent);

  const ProcessDescription& process() const { return process_; }

 signals:
  void quit();
  void reveal();
  void recheck();

 private:
  const ProcessDescription process_;
};

}  // namespace fernwahrung
