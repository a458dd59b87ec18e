#pragma once

#include "FernwahrungApp/Views/ElidedField.h"

#include <QGridLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>

namespace fernwahrung {

class WrappedText;

/// A line of the detail form: a name, a value, and a button where there is something to show in the Finder.
/// Its widgets lie in the grid, and go with the row.
class DetailRow : public QObject {
  Q_OBJECT

 public:
  enum class Value { path, text };

  /// `id` names the widgets: "detailSource" has the button "detailSourceReveal".
  DetailRow(QGridLayout& grid, int line, Value kind, const QString& id, const QString& name);
  ~DetailRow() override;

  /// An empty value hides the row.
  void setValue(const QString& value);
  void setRevealable(bool revealable);
  /// "(nicht mehr vorhanden)" stands in the button's place.
  void setMissing(bool missing);

 signals:
  /// The path is to be shown in the Finder.
  void reveal();

 private:
  void setShown(bool visible);

  // Children of the grid's parent as well, which may take them down first.
  QPointer<QLabel> name_;
  QPointer<ElidedField> path_;
  QPointer<WrappedText> text_;
  QPointer<QLabel> missingNote_;
  QPointer<QPushButton> button_;
  bool visible_ = false;
  bool revealable_ = false;
  bool missing_ = false;
};

}  // namespace fernwahrung
