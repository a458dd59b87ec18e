#include "SheetPictures.h"

#include "FernwahrungApp/Model/Background.h"
#include "FernwahrungApp/Sheets/NewRelocationSheet.h"
#include "FernwahrungApp/Views/Appearance.h"
#include "FernwahrungApp/Views/ModalQuestions.h"
#include "SheetFindings.h"
#include "support/EventLoop.h"
#include "support/FakeCore.h"
#include "support/ScriptedQuestions.h"
#include "support/TempFolder.h"

#include <QApplication>
#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <fmt/format.h>

namespace fernwahrung {
namespace {

constexpr const char* outlook =
    "/Users/anna/Library/Group Containers/UBF8T346G9.Office/Outlook/Outlook 15 Profiles/Main Profile";

class Album {
 public:
  Album(std::string folder, std::string shade) : folder_(std::move(folder)), shade_(std::move(shade)) {}

  void add(QWidget& window, const std::string& name) {
    pumpOnce();
    QString path = QString::fromStdString(fmt::format("{}/sheet-{}-{}.png", folder_, name, shade_));
    if (!window.grab().save(path)) throw std::runtime_error("cannot write " + path.toStdString());
  }

 private:
  const std::string folder_;
  const std::string shade_;
};

/// The sheet on a world of its own.
struct Stage {
  explicit Stage(PreflightResult check, std::optional<std::string> source = outlook) {
    core.check = std::move(check);
    CoreCalls calls = core.calls();
    calls.preflight = [this](const RelocationPlan&) {
      gate.pass();
      return core.check;
    };
    model.emplace(calls, questions, std::chrono::hours(1));
    std::vector<std::string> apps;
    if (source) apps = {"/Applications/Microsoft Outlook.app", "/Applications/Microsoft Word.app"};
    model->newRelocation(source, apps);
    sheet.emplace(*model, nullptr);
    sheet->show();
    if (source) {
      questions.expect("Zielordner auf dem externen Laufwerk", "/Volumes/Extern");
      sheet->findChild<QPushButton*>("chooseStorage")->click();
    }
    pumpOnce();
  }
  ~Stage() {
    gate.open();
    sheet.reset();
    model.reset();
    Background::waitForDone();
    pumpOnce();
  }
  void check() {
    auto* result = sheet->findChild<CheckResultView*>();
    sheet->findChild<QPushButton*>("checkButton")->click();
    if (!pumpUntil([&] { return result->isVisible(); }))
      throw std::runtime_error("the check shows no result");
  }
  /// As low as it can be made.
  void shrink() { sheet->resize(sheet->minimumSizeHint()); }

  TempHome home;
  FakeCore core;
  FakeCore::Gate gate;
  ScriptedQuestions questions;
  std::optional<AppModel> model;
  std::optional<NewRelocationSheet> sheet;
};

void sheets(Album& album) {
  {
    Stage stage({}, std::nullopt);
    album.add(*stage.sheet, "fresh");
  }
  {
    Stage stage(SheetFindings::measured());
    stage.check();
    stage.sheet->findChild<QCheckBox*>("appClosed")->click();
    album.add(*stage.sheet, "good");
  }
  {
    Stage stage(SheetFindings::measured());
    stage.core.check.warnings = {
        "Das Ziel liegt auf derselben Festplatte – dadurch wird kein Platz frei.",
        "Das Ziellaufwerk ist nicht APFS – vor Größenänderungen ist dann kein Sicherheits-Klon möglich."};
    stage.check();
    album.add(*stage.sheet, "warnings");
  }
  {
    Stage stage(SheetFindings::heldBy(
        {SheetFindings::forbidden(), SheetFindings::terminable(), SheetFindings::systemService()}));
    stage.core.check.blockers.insert(stage.core.check.blockers.begin(),
                                     "Zielordner existiert nicht: /Volumes/Extern/" + std::string(120, 'x'));
    stage.check();
    album.add(*stage.sheet, "blockers");
    stage.shrink();
    album.add(*stage.sheet, "blockers-smallest");
  }
  {
    Stage stage(SheetFindings::heldBy({SheetFindings::systemService()}), "/Users/anna/Bilder");
    stage.check();
    album.add(*stage.sheet, "service");
  }
  {
    Stage stage(SheetFindings::measured());
    stage.gate.close();
    stage.sheet->findChild<QPushButton*>("checkButton")->click();
    album.add(*stage.sheet, "checking");
  }
}

void question(Album& album, const std::string& name, const Question& asked) {
  QTimer::singleShot(0, [&] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box) throw std::runtime_error("no question appeared");
    album.add(*box, name);
    box->reject();
  });
  ModalQuestions().ask(asked);
}

void questions(Album& album) {
  question(album, "question",
           {"„Microsoft Outlook“ beenden?",
            ProcessDescriber::message(SheetFindings::terminable()) +
                "\n\n"
                "Das Programm wird höflich zum Beenden aufgefordert, nicht erzwungen. "
                "Nicht gespeicherte Arbeit darin kann verloren gehen.",
            {"Beenden", "Abbrechen"}});
  question(album, "error", {"Fehler", "Das Laufwerk „Extern“ ist nicht angeschlossen.", {"OK"}});
  std::string problems;
  for (int i = 1; i <= 20; ++i) {
    problems += fmt::format(
        "„Ordner {}“: Das Laufwerk ist nicht angeschlossen, oder die virtuelle Festplatte wurde verschoben: /Volumes/Extern/Fernwahrung/Ordner {}.sparsebundle\n",
        i, i);
  }
  question(album, "long", {"Fehler", problems, {"OK"}});
}

}  // namespace

void sheetPictures(const std::string& folder) {
  const QPalette light = QApplication::palette();
  for (const char* shade : {"light", "dark"}) {
    QApplication::setPalette(shade == std::string("dark") ? Appearance::darkPalette() : light);
    Album album(folder, shade);
    sheets(album);
    questions(album);
  }
  QApplication::setPalette(light);
}

}  // namespace fernwahrung
