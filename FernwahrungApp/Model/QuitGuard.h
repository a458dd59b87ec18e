// Whether the program may end or its window close, and what becomes of the operation that still runs.
#pragma once

#include "FernwahrungApp/Model/AppModel.h"

namespace fernwahrung {

class QuitGuard : public QObject {
  Q_OBJECT

 public:
  explicit QuitGuard(AppModel& model);

  /// True while nothing runs. Otherwise asks: the operation goes on, or it is cancelled (where that is
  /// possible) or awaited, and once it has ended and taken back what it did, quitNow() follows. It is never
  /// broken off.
  bool mayQuit();
  /// For an end that comes from outside, when nobody may be there to answer: cancels what can be cancelled,
  /// and quitNow() follows once nothing runs.
  void quitWithoutAsking();

 signals:
  void quitNow();

 private:
  void quitOnceIdle(bool cancel);
  void quitIfWanted();

  AppModel& model_;
  bool wanted_ = false;
};

}  // namespace fernwahrung
