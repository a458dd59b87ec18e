// Whether the program may end or its window close, and what becomes of the operation that still runs.
#pragma once

#include "FernwahrungApp/Model/AppModel.h"

namespace fernwahrung {

class QuitGuard : public QObject {
  Q_OBJECT

 public:
  explicit QuitGuard(AppModel& model);

  /// True while nothing runs. Otherwise asks: the operation goes on, or it is cancelled (where that is
  /// possible) or awaited, and quitNow() follows once it has ended and taken back what it did, and the user
  /// has read what went wrong with that. It is never broken off. False while that question already stands.
  bool mayQuit();
  /// For an end that comes from outside, when nobody may be there to answer: cancels what can be cancelled,
  /// and quitNow() follows once nothing runs. What went wrong stands in the log.
  void quitWithoutAsking();

 signals:
  void quitNow();

 private:
  enum class Wish { none, ofUser, ofSystem };

  void quitIfWanted();

  AppModel& model_;
  Wish wish_ = Wish::none;
  bool asking_ = false;
};

}  // namespace fernwahrung
