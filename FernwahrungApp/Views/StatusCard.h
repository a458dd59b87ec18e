#pragma once

#include "FernwahrungApp/Views/Card.h"

#include "Engine/Status.h"

#include <QPushButton>
#include <optional>

class QVBoxLayout;

namespace fernwahrung {

class SymbolView;
class WrappedText;

/// How a relocation is: the summary large, what was found below it, and the ways out where access is denied.
class StatusCard : public Card {
  Q_OBJECT

 public:
  struct Content {
    std::optional<RelocationStatus::Health> health;
    QString summary;
    QStringList findings;
    bool accessDenied = false;

    bool operator==(const Content&) const = default;
  };

  explicit StatusCard(QWidget* parent);
  void show(const Content& content);

 signals:
  void openFullDiskAccess();
  void revealHelper();

 private:
  Content shown_;
  SymbolView* symbol_;
  WrappedText* summary_;
  QVBoxLayout* findings_;
  std::vector<WrappedText*> findingTexts_;
  QWidget* access_;
};

}  // namespace fernwahrung
