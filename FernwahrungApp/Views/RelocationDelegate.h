#pragma once

#include "FernwahrungApp/Views/RelocationListModel.h"

#include <QStyledItemDelegate>

namespace fernwahrung {

/// Draws a row of a RelocationListModel: its kind's symbol, name, health and status, usage, and a gauge where
/// space runs out. As high as its texts need at the view's width.
class RelocationDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 protected:
  bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                 const QModelIndex& index) override;
};

}  // namespace fernwahrung
