#include "FernwahrungApp/Views/ModalQuestions.h"
#include "support/EventLoop.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <filesystem>
#include <gtest/gtest.h>

namespace fernwahrung {
namespace {

class Modal : public testing::Test {
 protected:
  /// Does this with the dialog of a kind that comes up, once it is there.
  template <class Dialog>
  void whenAsked(std::function<void(Dialog&)> act) {
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this, act] {
      auto* dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
      if (!dialog || !dialog->isVisible()) return;
      timer_.stop();
      asked_ = true;
      act(*dialog);
    });
    timer_.start(5);
  }
  std::size_t ask(const Question& question, std::function<void(QMessageBox&)> act) {
    whenAsked<QMessageBox>(std::move(act));
    std::size_t answer = ModalQuestions().ask(question);
    EXPECT_TRUE(asked_);
    return answer;
  }

  const Question three_ = {"Zugriff verweigert", "Warum.", {"Öffnen", "Zeigen & sehen", "OK"}};

 private:
  QTimer timer_;
  bool asked_ = false;
};

TEST_F(Modal, ReturnIsTheFirstAndEscapeTheLast) {
  EXPECT_EQ(ask(three_, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); }), 0U);
}

TEST_F(Modal, ReturnIsAnotherWhereTheFirstWouldDoHarm) {
  const Question harmful = {"Läuft noch", "Warum.", {"Abbrechen und beenden", "Weiterlaufen lassen"}, 1};
  EXPECT_EQ(ask(harmful, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); }), 1U);
}

TEST_F(Modal, AWordWithoutEndWidensNothing) {
  const std::string word(300, 'x');
  ask({"Aushängen: " + word + "?", "Unter /Volumes/" + word, {"OK"}}, [&](QMessageBox& box) {
    EXPECT_LE(box.width(), 600);
    auto* text = box.findChild<QLabel*>("qt_msgbox_informativelabel");
    EXPECT_LE(text->minimumSizeHint().width(), text->width());
    EXPECT_GE(text->height(), 4 * text->fontMetrics().lineSpacing());
    EXPECT_EQ(text->accessibleName().toStdString(), "Unter /Volumes/" + word);
    box.reject();
  });
}

TEST_F(Modal, EscapeIsTheLast) {
  EXPECT_EQ(ask(three_, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); }), 2U);
}

TEST_F(Modal, EveryButtonAnswersForItself) {
  EXPECT_EQ(ask(three_,
                [](QMessageBox& box) {
                  auto* second = box.findChild<QPushButton*>("answer1");
                  EXPECT_EQ(second->text(), "Zeigen && sehen");
                  EXPECT_EQ(second->accessibleName(), "Zeigen & sehen");
                  second->setFocus();
                  QTest::keyClick(second, Qt::Key_Space);
                }),
            1U);
}

TEST_F(Modal, ASingleButtonIsTheAnswerToEverything) {
  EXPECT_EQ(
      ask({"Fehler", "Ging nicht.", {"OK"}}, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); }),
      0U);
}

TEST_F(Modal, TextsAreShownAsTheyAre) {
  ask({"Aushängen: <b>Bilder</b>?", "Erst <i>das</i>.\n\nDann jenes.", {"Aushängen", "Abbrechen"}},
      [](QMessageBox& box) {
        EXPECT_EQ(box.windowTitle(), "Fernwahrung");
        EXPECT_EQ(box.text(), "Aushängen: <b>Bilder</b>?");
        EXPECT_EQ(box.informativeText(), "Erst <i>das</i>.\n\nDann jenes.");
        for (QLabel* label : box.findChildren<QLabel*>()) {
          EXPECT_TRUE(label->text().isEmpty() || label->textFormat() == Qt::PlainText);
        }
        EXPECT_TRUE(box.findChild<QLabel*>("qt_msgbox_label")->font().bold());
        box.reject();
      });
}

TEST_F(Modal, ALongTextStaysOnTheScreen) {
  std::string text;
  for (int i = 0; i < 40; ++i)
    text += "„Ordner“: Das Laufwerk ist nicht angeschlossen, seit langer, langer Zeit.\n";
  ask({"Fehler", text, {"OK"}}, [](QMessageBox& box) {
    EXPECT_LE(box.height(), box.screen()->availableGeometry().height());
    EXPECT_LE(box.width(), box.screen()->availableGeometry().width());
    auto* button = box.findChild<QPushButton*>("answer0");
    EXPECT_TRUE(box.rect().contains(QRect(button->mapTo(&box, QPoint()), button->size())));
    EXPECT_TRUE(box.findChild<QWidget*>("questionText")->isVisible());
    box.reject();
  });
}

TEST_F(Modal, BelongsToTheWindowInFront) {
  QWidget window;
  window.show();
  window.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  ask(three_, [&](QMessageBox& box) {
    EXPECT_EQ(box.parentWidget(), &window);
    EXPECT_EQ(box.windowModality(), Qt::WindowModal);
    box.reject();
  });
}

TEST_F(Modal, AWindowThatGoesTakesItsQuestionAlong) {
  auto window = std::make_unique<QWidget>();
  window->show();
  window->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
  EXPECT_EQ(ask(three_, [&](QMessageBox&) { QTimer::singleShot(0, [&] { window.reset(); }); }), 2U);
}

// --- Choosers
// ----------------------------------------------------------------------------------------------------------

TEST_F(Modal, AFolderIsChosenWhereItWasLookedFor) {
  TempFolder folder;
  std::filesystem::create_directories(folder / "Bilder");
  whenAsked<QFileDialog>([&](QFileDialog& dialog) {
    EXPECT_EQ(dialog.windowTitle(), "Wählen");
    EXPECT_EQ(dialog.directory().path().toStdString(), folder.path());
    EXPECT_TRUE(dialog.testOption(QFileDialog::ShowDirsOnly));
    dialog.findChild<QLineEdit*>("fileNameEdit")->setText("Bilder");
    QTest::keyClick(dialog.findChild<QLineEdit*>("fileNameEdit"), Qt::Key_Return);
  });
  EXPECT_EQ(ModalQuestions().chooseFolder("Wählen", folder.path()), folder / "Bilder");
}

TEST_F(Modal, AStartFolderThatIsMissingGivesWayToOneAboveIt) {
  TempFolder folder;
  whenAsked<QFileDialog>([&](QFileDialog& dialog) {
    EXPECT_EQ(dialog.directory().path().toStdString(), folder.path());
    QTest::keyClick(&dialog, Qt::Key_Escape);
  });
  EXPECT_EQ(ModalQuestions().chooseFolder("Wählen", folder / "fehlt/auch"), std::nullopt);
}

TEST_F(Modal, ALinkToAFolderIsChosenItself) {
  TempFolder folder;
  std::filesystem::create_directories(folder / "Bilder");
  std::filesystem::create_directory_symlink(folder / "Bilder", folder / "Verweis");
  whenAsked<QFileDialog>([&](QFileDialog& dialog) {
    dialog.findChild<QLineEdit*>("fileNameEdit")->setText("Verweis");
    QTest::keyClick(dialog.findChild<QLineEdit*>("fileNameEdit"), Qt::Key_Return);
  });
  EXPECT_EQ(ModalQuestions().chooseFolder("Wählen", folder.path()), folder / "Verweis");
}

TEST_F(Modal, AnApplicationIsABundleOrAnExecutable) {
  TempFolder folder;
  std::filesystem::create_directories(folder / "Foo.app/Contents");
  writeFile(folder / "tool", "x");
  std::filesystem::permissions(folder / "tool", std::filesystem::perms::owner_all);
  for (const char* name : {"Foo.app", "tool"}) {
    whenAsked<QFileDialog>([&](QFileDialog& dialog) {
      dialog.findChild<QLineEdit*>("fileNameEdit")->setText(name);
      QTest::keyClick(dialog.findChild<QLineEdit*>("fileNameEdit"), Qt::Key_Return);
    });
    EXPECT_EQ(ModalQuestions().chooseApplication("Wählen", folder.path()), folder / name);
  }
}

TEST_F(Modal, WhatIsNoApplicationIsAskedForAgain) {
  TempFolder folder;
  writeFile(folder / "notes.txt", "x");
  std::vector<std::string> seen;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
    QWidget* modal = QApplication::activeModalWidget();
    if (!modal || !modal->isVisible()) return;
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
      seen.push_back(box->informativeText().toStdString());
      return box->reject();
    }
    auto* dialog = qobject_cast<QFileDialog*>(modal);
    const bool first = seen.empty();
    seen.push_back("chooser");
    if (!first) return dialog->reject();
    dialog->findChild<QLineEdit*>("fileNameEdit")->setText("notes.txt");
    QTest::keyClick(dialog->findChild<QLineEdit*>("fileNameEdit"), Qt::Key_Return);
  });
  timer.start(5);
  EXPECT_EQ(ModalQuestions().chooseApplication("Wählen", folder.path()), std::nullopt);
  EXPECT_EQ(seen,
            (std::vector<std::string>{
                "chooser", "„notes.txt“ ist weder eine App noch ein ausführbares Programm.", "chooser"}));
}

}  // namespace
}  // namespace fernwahrung
