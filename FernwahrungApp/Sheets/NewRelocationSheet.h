#pragma once

#include "FernwahrungApp/Model/NewRelocationForm.h"
#include "FernwahrungApp/Sheets/CheckResultView.h"

#include <QDialog>

class QCheckBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSpinBox;

namespace fernwahrung {

class ElidedField;
class GuardedAppsEditor;

/// "Ordner fernwahren": what is to be offloaded, whether it can be, and the start. Takes over the presets
/// that the model holds.
class NewRelocationSheet : public QDialog {
  Q_OBJECT

 public:
  NewRelocationSheet(AppModel& model, QWidget* parent, CheckResultView::Timing timing = {});

 private:
  void addFields(QFormLayout& rows);
  QWidget* chooserRow(ElidedField* field, const QString& id, const QString& name,
                      void (NewRelocationForm::*choose)());
  QWidget* kindRow();
  QWidget* sizeRow();
  QWidget* buttonRow();
  void follow();
  void showForm();
  void showResult();
  void fitHeight(int before);
  void orderTabs();

  AppModel& model_;
  NewRelocationForm form_;
  int heightBefore_ = 0;  // it was made higher by itself
  int grownTo_ = 0;
  QFormLayout* rows_;
  ElidedField* source_;
  QLineEdit* name_;
  QRadioButton* image_;
  QRadioButton* symlink_;
  ElidedField* storage_;
  QSpinBox* size_;
  QWidget* sizeRow_;
  QCheckBox* spotlight_;
  GuardedAppsEditor* apps_;
  CheckResultView* result_;
  QWidget* checking_;
  QCheckBox* appClosed_;
  QPushButton* cancel_;
  QPushButton* check_;
  QPushButton* start_;
};

}  // namespace fernwahrung
