#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/LaterUpdate.h"

#include <QMenu>
#include <QSystemTrayIcon>
#include <memory>

namespace fernwahrung {

/// The symbol in the menu bar, which tells at a glance whether all is well, and its menu. Where the desktop
/// has no place for it only the menu exists.
class MenuBarItem : public QObject {
  Q_OBJECT

 public:
  explicit MenuBarItem(AppModel& model);

  /// The user can see it, so that the program can be reached without a window.
  bool isShown() const { return icon_ && icon_->isVisible(); }
  QMenu& menu() { return menu_; }
  const QString& symbol() const { return symbol_; }

 signals:
  void openWindow();
  void quit();

 private:
  struct Entry {
    QString id = {};
    QString text = {};
    std::optional<RelocationStatus::Health> health = {};
    std::optional<Uuid> relocation = {};
    bool enabled = false;

    bool operator==(const Entry&) const = default;
  };

  void update();
  std::vector<Entry> wantedEntries() const;
  void appendRelocations(std::vector<Entry>& entries) const;
  void appendWarnings(std::vector<Entry>& entries) const;
  void rebuild();
  void chosen(const Entry& entry);

  AppModel& model_;
  QMenu menu_;
  std::unique_ptr<QSystemTrayIcon> icon_;
  QString symbol_;
  std::vector<Entry> entries_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
