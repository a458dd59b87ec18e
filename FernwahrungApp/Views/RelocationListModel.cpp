#include "FernwahrungApp/Views/RelocationListModel.h"

#include "FernwahrungApp/Views/HealthIcon.h"
#include "FernwahrungApp/Views/Texts.h"

#include <algorithm>

namespace fernwahrung {
namespace {

QString spoken(const RelocationListModel::Row& row) {
  QStringList parts{row.name};
  if (row.health) parts << HealthIcon::description(*row.health);
  if (!row.summary.isEmpty()) parts << row.summary;
  if (!row.usage.isEmpty()) parts << row.usage;
  if (row.scarce) parts << "Speicher wird knapp";
  return parts.join(", ");
}

}  // namespace

RelocationListModel::RelocationListModel(const AppModel& model, QObject* parent)
    : QAbstractListModel(parent), model_(model), update_([this] { update(); }) {
  update_.follow(&model_, &AppModel::relocationsChanged, &AppModel::statusesChanged, &AppModel::usageChanged,
                 &AppModel::imageCapacityChanged);
  rows_ = wantedRows();
}

int RelocationListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant RelocationListModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  switch (role) {
    case Qt::DisplayRole:
      return row(index).name;
    case Qt::AccessibleTextRole:
      return spoken(row(index));
    default:
      return {};
  }
}

QModelIndex RelocationListModel::indexOf(const std::optional<Uuid>& id) const {
  auto found = std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) { return row.id == id; });
  return found == rows_.end() ? QModelIndex() : index(static_cast<int>(found - rows_.begin()));
}

void RelocationListModel::update() {
  std::vector<Row> wanted = wantedRows();
  if (wanted == rows_) return;
  bool sameOrder = std::equal(rows_.begin(), rows_.end(), wanted.begin(), wanted.end(),
                              [](const Row& one, const Row& other) { return one.id == other.id; });
  if (!sameOrder) {
    emit changing();
    reorder(wanted);
  }
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i] == wanted[i]) continue;
    rows_[i] = std::move(wanted[i]);
    emit dataChanged(index(static_cast<int>(i)), index(static_cast<int>(i)));
  }
  if (!sameOrder) emit changed();
}

std::vector<RelocationListModel::Row> RelocationListModel::wantedRows() const {
  std::vector<Row> rows;
  rows.reserve(model_.relocations().size());
  for (const Relocation& relocation : model_.relocations()) {
    Row row;
    row.id = relocation.id;
    row.name = Texts::shown(relocation.name);
    row.kind = relocation.kind;
    if (const RelocationStatus* status = model_.status(relocation)) {
      row.summary = Texts::shown(status->summary);
      row.health = HealthIcon::worst(status->health, model_.capacityLevel(relocation));
    }
    auto usage = model_.usage().find(relocation.id);
    if (usage != model_.usage().end()) row.usage = Texts::shown(usage->second);
    row.scarce = model_.capacityLevel(relocation) != CapacityLevel::ok;
    rows.push_back(std::move(row));
  }
  return rows;
}

/// Takes rows away and puts rows in until the identifiers stand as in `wanted`.
void RelocationListModel::reorder(const std::vector<Row>& wanted) {
  for (std::size_t i = rows_.size(); i-- > 0;) {
    bool stays = i < wanted.size() && rows_[i].id == wanted[i].id;
    if (stays ||
        std::any_of(wanted.begin(), wanted.end(), [&](const Row& row) { return row.id == rows_[i].id; })) {
      continue;
    }
    beginRemoveRows({}, static_cast<int>(i), static_cast<int>(i));
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(i));
    endRemoveRows();
  }
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (i < rows_.size() && rows_[i].id == wanted[i].id) continue;
    int at = static_cast<int>(i);
    int from = indexOf(wanted[i].id).row();
    if (from < 0) {
      beginInsertRows({}, at, at);
      rows_.insert(rows_.begin() + at, wanted[i]);
      endInsertRows();
    } else {
      beginMoveRows({}, from, from, {}, at);
      std::rotate(rows_.begin() + at, rows_.begin() + from, rows_.begin() + from + 1);
      endMoveRows();
    }
  }
}

}  // namespace fernwahrung
