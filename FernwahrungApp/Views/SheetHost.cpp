#include "FernwahrungApp/Views/SheetHost.h"

namespace fernwahrung {

SheetHost::SheetHost(AppModel& model, QWidget& window, Factory make)
    : QObject(&window), model_(model), window_(window), make_(std::move(make)) {
  // Queued: the sheet may change in the midst of a menu's or a dialog's own event.
  connect(&model_, &AppModel::sheetChanged, this, &SheetHost::update, Qt::QueuedConnection);
}

void SheetHost::update() {
  if (dialog_) {
    dialog_->disconnect(this);
    dialog_->hide();
    dialog_->deleteLater();
    dialog_ = nullptr;
  }
  if (!model_.sheet()) {
    // Not every desktop gives the keyboard back to the window below by itself.
    window_.activateWindow();
    return;
  }
  dialog_ = make_(*model_.sheet(), &window_);
  if (!dialog_) {
    model_.setSheet(std::nullopt);
    return;
  }
  dialog_->setWindowModality(Qt::WindowModal);
  connect(dialog_, &QDialog::finished, this, [this] { model_.setSheet(std::nullopt); });
  dialog_->open();
}

}  // namespace fernwahrung
