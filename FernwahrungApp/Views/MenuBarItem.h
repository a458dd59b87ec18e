#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/LaterUpdate.h"

#include <QMenu>
#include <QSystemTrayIcon>

namespace fernwahrung {

/// The symbol in the menu bar, which tells at a glance whether all is well, and its menu. Where the desktop
/// has no place for it, it waits for one.
class MenuBarItem : public QObject {
  Q_OBJECT

 public:
  explicit MenuBarItem(AppModel& model);

  /// The user can see it just now, so that the program can be reached without a window.
  bool isShown() const { return QSystemTrayIcon::isSystemTrayAvailable() && icon_.isVisible(); }
  QMenu& menu() { return menu_; }
  const QString& symbol() const { return symbol_; }

 signals:
  void openWindow();
  void quit();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

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
  QSystemTrayIcon icon_;
  QString symbol_;
  std::vector<Entry> entries_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
