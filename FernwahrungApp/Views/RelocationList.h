#pragma once

#include "FernwahrungApp/Views/RelocationListModel.h"

#include <QListView>

namespace fernwahrung {

/// The relocations; its current row and the model's selection follow each other.
class RelocationList : public QListView {
  Q_OBJECT

 public:
  RelocationList(AppModel& model, QWidget* parent);

 protected:
  void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
  void resizeEvent(QResizeEvent* event) override;
  QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index,
                                                       const QEvent* event) const override;

 private:
  void showSelection();

  AppModel& model_;
  RelocationListModel* rows_;
  bool following_ = false;  // the current row moves because the rows or the selection do
};

}  // namespace fernwahrung
