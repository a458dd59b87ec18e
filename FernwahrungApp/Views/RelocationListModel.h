#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Views/LaterUpdate.h"

#include <QAbstractListModel>

namespace fernwahrung {

/// The relocations in the registry's order. What didn't change isn't announced, so that the list keeps its
/// place.
class RelocationListModel : public QAbstractListModel {
  Q_OBJECT

 public:
  struct Row {
    Uuid id;
    QString name;
    RelocationKind kind = RelocationKind::image;
    QString summary;
    std::optional<RelocationStatus::Health> health;
    QString usage;
    bool scarce = false;

    bool operator==(const Row&) const = default;
  };

  RelocationListModel(const AppModel& model, QObject* parent);

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  const Row& row(const QModelIndex& index) const { return rows_[static_cast<std::size_t>(index.row())]; }
  /// Invalid when there is none.
  QModelIndex indexOf(const std::optional<Uuid>& id) const;

 signals:
  /// Around every change of the rows' number or order, which moves the view's current row.
  void changing();
  void changed();

 private:
  void update();
  std::vector<Row> wantedRows() const;
  void reorder(const std::vector<Row>& wanted);

  const AppModel& model_;
  std::vector<Row> rows_;
  LaterUpdate update_;
};

}  // namespace fernwahrung
