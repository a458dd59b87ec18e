#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/Banner.h"

namespace fernwahrung {

/// An interrupted operation, and the offer to take it back.
class UnfinishedBanner : public Banner {
  Q_OBJECT

 public:
  UnfinishedBanner(AppModel& model, Journal journal, QWidget* parent);
  const Journal& journal() const { return journal_; }

 private:
  const Journal journal_;
};

}  // namespace fernwahrung
