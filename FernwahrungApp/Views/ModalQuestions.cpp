#include "FernwahrungApp/Views/ModalQuestions.h"

#include "FernwahrungApp/Views/Texts.h"

#include "Foundation/PathString.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLayout>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <fmt/format.h>

namespace fernwahrung {
namespace {

constexpr int iconSide = 48;
constexpr int textWidth = 420;

/// The sheet or the window in front; without any, the question stands for itself.
QWidget* windowInFront() {
  if (QWidget* modal = QApplication::activeModalWidget()) return modal;
  if (QWidget* active = QApplication::activeWindow()) return active;
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (window->isVisible() && window->windowType() == Qt::Window) return window;
  }
  return nullptr;
}

template <class Dialog>
void makeModal(Dialog& dialog) {
  dialog.setWindowModality(dialog.parentWidget() ? Qt::WindowModal : Qt::ApplicationModal);
}

/// What doesn't fit on the screen scrolls inside the box.
void letScroll(QMessageBox& box, QLabel* text) {
  int highest = box.screen()->availableGeometry().height() / 2;
  int width = std::max(textWidth, text->minimumWidth());
  if (text->heightForWidth(width) <= highest) return;
  auto* area = new QScrollArea(&box);
  area->setObjectName("questionText");
  area->setAccessibleName("Text der Frage");
  area->setAccessibleDescription(text->accessibleName());
  area->setFrameShape(QFrame::NoFrame);
  area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area->setWidgetResizable(true);
  area->setFixedSize(width + area->verticalScrollBar()->sizeHint().width(), highest);
  delete box.layout()->replaceWidget(text, area);
  area->setWidget(text);
}

void arrange(QMessageBox& box) {
  auto* title = box.findChild<QLabel*>("qt_msgbox_label");
  auto* text = box.findChild<QLabel*>("qt_msgbox_informativelabel");
  // Names of folders and programs stand in both: they are never markup, and may be one long word.
  for (QLabel* label : {title, text}) {
    if (!label) continue;
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::NoTextInteraction);
    label->setAccessibleName(label->text());
    label->setText(Texts::breakable(label->text()));
    label->setWordWrap(true);
    label->setMinimumWidth(textWidth);
  }
  if (title) {
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
  }
  if (text) letScroll(box, text);
}

void addButtons(QMessageBox& box, const Question& question) {
  const std::vector<std::string>& buttons = question.buttons;
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    bool last = i > 0 && i + 1 == buttons.size();
    QPushButton* button =
        box.addButton(Texts::inMenu(buttons[i]), last ? QMessageBox::RejectRole : QMessageBox::AcceptRole);
    button->setObjectName(QString("answer%1").arg(i));
    button->setAccessibleName(Texts::shown(buttons[i]));
    if (i == question.defaultButton) box.setDefaultButton(button);
    if (i + 1 == buttons.size()) box.setEscapeButton(button);
  }
}

QString nearestFolder(std::string path) {
  while (!path.empty() && path != "/" && !QFileInfo(QFile::decodeName(path.c_str())).isDir()) {
    path = PathString::parent(path);
  }
  return QFile::decodeName(path.c_str());
}

bool isBundle(const QString& path) {
  return path.endsWith(".app") && QFileInfo(path).isDir();
}

/// Bundles are folders, which a file dialog would rather enter than choose.
class ApplicationDialog : public QFileDialog {
 public:
  using QFileDialog::QFileDialog;

 protected:
  void accept() override {
    QStringList chosen = selectedFiles();
    if (chosen.size() == 1 && isBundle(chosen.front())) return QDialog::accept();
    QFileDialog::accept();
  }
};

std::optional<std::string> choose(QPointer<QFileDialog> dialog, const std::string& title,
                                  const std::string& start) {
  dialog->setObjectName("chooser");
  dialog->setWindowTitle(Texts::shown(title));
  dialog->setDirectory(nearestFolder(start));
  // What was chosen counts, not where it leads: whether it is a link matters.
  dialog->setOption(QFileDialog::DontResolveSymlinks);
  makeModal(*dialog);
  std::optional<std::string> chosen;
  bool accepted = dialog->exec() == QDialog::Accepted;
  if (dialog && accepted && !dialog->selectedFiles().isEmpty()) {
    chosen = QFile::encodeName(dialog->selectedFiles().front()).toStdString();
  }
  delete dialog;
  return chosen;
}

}  // namespace

std::size_t ModalQuestions::ask(const Question& question) {
  QPointer<QMessageBox> box(new QMessageBox(windowInFront()));
  box->setObjectName("question");
  box->setWindowTitle("Fernwahrung");
  box->setIconPixmap(QApplication::windowIcon().pixmap(QSize(iconSide, iconSide), box->devicePixelRatioF()));
  box->setText(Texts::shown(question.title));
  box->setInformativeText(Texts::shown(question.text));
  addButtons(*box, question);
  arrange(*box);
  makeModal(*box);
  if (!box->parentWidget()) {
    // No window of the program is to be seen, and another one's is in front.
    box->show();
    box->raise();
    box->activateWindow();
  }
  box->exec();
  std::size_t answer = question.buttons.size() - 1;
  // The window below may have gone and taken the box along.
  if (box && box->clickedButton()) {
    answer = box->clickedButton()->objectName().mid(QString("answer").size()).toULong();
  }
  delete box;
  return answer;
}

std::optional<std::string> ModalQuestions::chooseFolder(const std::string& title, const std::string& start) {
  auto* dialog = new QFileDialog(windowInFront());
  dialog->setFileMode(QFileDialog::Directory);
  dialog->setOption(QFileDialog::ShowDirsOnly);
  return choose(dialog, title, start);
}

std::optional<std::string> ModalQuestions::chooseApplication(const std::string& title,
                                                             const std::string& start) {
  const QPointer<QWidget> window = windowInFront();
  const bool belongs = window;
  std::string folder = start;
  while (window || !belongs) {
    auto* dialog = new ApplicationDialog(window);
    dialog->setFileMode(QFileDialog::ExistingFile);
    std::optional<std::string> chosen = choose(dialog, title, folder);
    if (!chosen) break;
    const QString path = QFile::decodeName(chosen->c_str());
    if (isBundle(path) || (QFileInfo(path).isFile() && QFileInfo(path).isExecutable())) return chosen;
    ask({"Keine App",
         fmt::format("„{}“ ist weder eine App noch ein ausführbares Programm.",
                     PathString::lastComponent(*chosen)),
         {"OK"}});
    folder = PathString::parent(*chosen);
  }
  return std::nullopt;
}

}  // namespace fernwahrung
