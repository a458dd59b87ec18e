#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Model/TimeLeft.h"
#include "FernwahrungApp/Views/LaterUpdate.h"

#include <QLabel>
#include <QMainWindow>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>

namespace fernwahrung {

class ElidedLabel;

/// Lies over the window while an operation runs: what it does, how far it is, and a way to stop it. Nothing
/// below can be reached meanwhile, neither by mouse nor by keyboard; afterwards the focus is where it was.
class ProgressOverlay : public QWidget {
  Q_OBJECT

 public:
  /// `covered`: the parts of the window below the overlay. `fallback` takes the focus when what had it is
  /// gone.
  ProgressOverlay(AppModel& model, QMainWindow& window, std::vector<QWidget*> covered, QWidget& fallback);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  bool focusNextPrevChild(bool next) override;

 private:
  void update();
  void begin();
  void end();
  void giveFocusBack();
  void showProgress();
  void cover();

  AppModel& model_;
  QMainWindow& window_;
  const std::vector<QWidget*> covered_;
  QWidget& fallback_;
  QPointer<QWidget> focusBefore_;
  TimeLeft timeLeft_;
  bool cancelled_ = false;

  QLabel* title_;
  ElidedLabel* message_;
  QProgressBar* bar_;
  QLabel* time_;
  QPushButton* cancel_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
