#include "FernwahrungApp/Views/RelocationList.h"

#include "FernwahrungApp/Views/RelocationDelegate.h"

#include <QResizeEvent>

namespace fernwahrung {

RelocationList::RelocationList(AppModel& model, QWidget* parent)
    : QListView(parent), model_(model), rows_(new RelocationListModel(model, this)) {
  setObjectName("relocationList");
  setAccessibleName("Fernwahrungen");
  setFrameShape(QFrame::NoFrame);
  setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setSelectionMode(QAbstractItemView::SingleSelection);
  setEditTriggers(QAbstractItemView::NoEditTriggers);
  setTabKeyNavigation(false);
  setViewportMargins(0, 6, 0, 6);
  setItemDelegate(new RelocationDelegate(this));
  setModel(rows_);
  connect(rows_, &RelocationListModel::changing, this, [this] { following_ = true; });
  connect(rows_, &RelocationListModel::changed, this, &RelocationList::showSelection);
  connect(&model_, &AppModel::selectionChanged, this, &RelocationList::showSelection);
  showSelection();
}

void RelocationList::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
  QListView::currentChanged(current, previous);
  if (!following_ && current.isValid()) model_.setSelection(rows_->row(current).id);
}

void RelocationList::resizeEvent(QResizeEvent* event) {
  QListView::resizeEvent(event);
  // The rows' heights depend on the width.
  if (event->oldSize().width() != event->size().width()) scheduleDelayedItemsLayout();
}

/// What the detail shows stays marked, wherever the user clicks and whatever key is held down.
QItemSelectionModel::SelectionFlags RelocationList::selectionCommand(const QModelIndex& index,
                                                                     const QEvent* event) const {
  const bool beside = event && !index.isValid();
  return beside ? QItemSelectionModel::NoUpdate : QItemSelectionModel::ClearAndSelect;
}

void RelocationList::showSelection() {
  following_ = true;
  QModelIndex selected = rows_->indexOf(model_.selection());
  if (selected != currentIndex()) setCurrentIndex(selected);
  following_ = false;
}

}  // namespace fernwahrung
