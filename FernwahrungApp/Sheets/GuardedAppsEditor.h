#pragma once

#include "FernwahrungApp/Model/Questions.h"

#include <QWidget>
#include <string>
#include <vector>

class QPushButton;
class QScrollArea;

namespace fernwahrung {

/// The applications that use a relocation's data.
class GuardedAppsEditor : public QWidget {
  Q_OBJECT

 public:
  GuardedAppsEditor(Questions& questions, QWidget* parent);

  const std::vector<std::string>& apps() const { return apps_; }
  void setApps(const std::vector<std::string>& apps);

 signals:
  /// By the user.
  void appsChanged();

 private:
  void change(const std::vector<std::string>& apps);
  void add();
  void remove(const std::string& app);
  void rebuild();
  QWidget* row(const std::string& app);

  Questions& questions_;
  std::vector<std::string> apps_;
  QWidget* list_;
  QScrollArea* scroll_;
  QPushButton* add_;
};

}  // namespace fernwahrung
