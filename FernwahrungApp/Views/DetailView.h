#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/DetailRow.h"
#include "FernwahrungApp/Views/LaterUpdate.h"
#include "FernwahrungApp/Views/StatusCard.h"

#include <QStackedWidget>

class QScrollArea;

namespace fernwahrung {

/// Everything about the selected relocation, its state first, and what can be done with it; or "Keine
/// Auswahl".
class DetailView : public QStackedWidget {
  Q_OBJECT

 public:
  DetailView(AppModel& model, QWidget* parent);

 private:
  struct Kept {
    QString id;
    QString name;
    std::string path;
    bool missing = false;

    bool operator==(const Kept&) const = default;
  };

  void buildRows(QGridLayout& grid);
  QWidget* buildActions();
  QPushButton* addAction(QWidget* parent, const QString& id, const QString& text,
                         void (*ask)(AppModel&, Relocation));

  void update();
  void showRelocation(const Relocation& relocation);
  void showStatus(const Relocation& relocation);
  void showActions(const Relocation& relocation);
  void showSizes(const Relocation& relocation);
  void showOriginal(const Relocation& relocation);
  void showKept(const Relocation& relocation);
  std::vector<Kept> keptOf(const Relocation& relocation) const;
  void reveal(std::string Relocation::*path);

  AppModel& model_;
  QWidget* nothing_;
  QScrollArea* page_;
  std::optional<Uuid> shown_;

  ElidedField* name_;
  StatusCard* status_;
  QPushButton* mount_;
  QPushButton* unmount_;
  QPushButton* restore_;
  QGridLayout* grid_;
  DetailRow* source_;
  DetailRow* storage_;
  DetailRow* since_;
  DetailRow* kind_;
  DetailRow* size_;
  DetailRow* growth_;
  DetailRow* apps_;
  DetailRow* original_;
  DetailRow* originalGone_;
  int firstKeptLine_;
  std::vector<Kept> kept_;
  std::vector<DetailRow*> keptRows_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
