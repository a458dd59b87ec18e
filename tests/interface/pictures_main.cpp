// Writes pictures of the windows in their states, light and dark, small and large, for people to look at.
//   fernwahrung-pictures DIRECTORY
#include "FernwahrungApp/Model/Background.h"
#include "FernwahrungApp/Views/Appearance.h"
#include "FernwahrungApp/Views/MainWindow.h"
#include "FernwahrungApp/Views/ModalQuestions.h"
#include "support/EventLoop.h"
#include "support/FakeCore.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QPainter>
#include <QStyle>
#include <atomic>
#include <cstdio>
#include <fmt/format.h>
#include <thread>
#if __has_include("interface/SheetPictures.h")
#include "interface/SheetPictures.h"
#endif

namespace fernwahrung {
namespace {

constexpr std::int64_t gigabyte = 1'000'000'000;
constexpr QSize smallest(1, 1);  // the window knows how small it may be
using Health = RelocationStatus::Health;

Relocation relocation(const std::string& name, RelocationKind kind) {
  Relocation made = FakeCore::relocation(name, kind);
  made.createdAt = *Dates::parseIso8601("2026-11-15T10:09:15Z");
  return made;
}

void empty(FakeCore& core) {
  core.world.volumes = {
      {"Interne Festplatte", "/", 494 * gigabyte, 21'400'000'000, true, CapacityLevel::warning}};
}

void addMounted(World& world) {
  Relocation photos = relocation("Fotomediathek", RelocationKind::image);
  photos.guardedAppPaths = {"/System/Applications/Photos.app", "/Applications/Pixelmator Pro.app"};
  photos.originalBackupPath = photos.sourcePath + ".ORIGINAL-20261115-110915";
  photos.safetyCopies = {
      {"/Volumes/Extern/Fernwahrung/Fotomediathek.Sicherung-20261116-081500.sparsebundle"}};
  photos.previousStoragePaths = {{"/Volumes/Alt/Fernwahrung/Fotomediathek.sparsebundle"}};
  world.missingPaths = {photos.previousStoragePaths->front()};
  ImageCapacity capacity;
  capacity.usedBytes = 276'300'000'000;
  capacity.capacityBytes = 300 * gigabyte;
  capacity.occupiedOnDrive = 281'900'000'000;
  capacity.driveFreeBytes = 412 * gigabyte;
  Capacity::judge(capacity, {});
  world.statuses[photos.id] = {.health = Health::ok,
                               .summary = "Eingehängt",
                               .details = {},
                               .mounted = true,
                               .storageAvailable = true};
  world.usage[photos.id] = usageText(photos, capacity, true);
  world.imageCapacity[photos.id] = capacity;
  world.relocations.push_back(photos);
}

void addUnmounted(World& world) {
  Relocation mail = relocation("Mail", RelocationKind::image);
  mail.asideFolders = {{"/Users/anna/Library/Mail.VORHER-20261118-192011"}};
  ImageCapacity capacity;
  capacity.capacityBytes = 80 * gigabyte;
  capacity.occupiedOnDrive = 31'250'000'000;
  world.statuses[mail.id] = {
      .health = Health::error,
      .summary = "Nicht eingehängt",
      .details = {"Zugriff verweigert: macOS erlaubt Fernwahrung nicht, diesen Ordner zu lesen. "
                  "Ob er leer ist, ist unbekannt. "
                  "Bitte den Festplattenvollzugriff für Fernwahrung freigeben.",
                  "Einhängepunkt ist nicht schreibgeschützt."},
      .storageAvailable = true,
      .accessDenied = true};
  world.usage[mail.id] = usageText(mail, capacity, true);
  world.imageCapacity[mail.id] = capacity;
  world.relocations.push_back(mail);
}

void addLinkAndRestored(World& world) {
  Relocation samples = relocation("Sampler-Bibliothek", RelocationKind::symlink);
  world.statuses[samples.id] = {.health = Health::error,
                                .summary = "Externes Laufwerk fehlt",
                                .details = {"App nicht starten, bis das Laufwerk verbunden ist."}};
  world.relocations.push_back(samples);
  Relocation films = relocation("Filmprojekte", RelocationKind::image);
  films.state = RelocationState::restored;
  world.statuses[films.id] = {
      .summary = "Zurückgeholt – Daten liegen wieder auf dem Mac", .details = {}, .storageAvailable = true};
  world.relocations.push_back(films);
}

void three(FakeCore& core) {
  empty(core);
  core.world.volumes.push_back(
      {"Extern", "/Volumes/Extern", 2000 * gigabyte, 412 * gigabyte, false, CapacityLevel::ok});
  addMounted(core.world);
  addUnmounted(core.world);
  addLinkAndRestored(core.world);
}

void longNames(FakeCore& core) {
  three(core);
  Relocation& first = core.world.relocations.front();
  first.name = "Eine Mediathek mit einem außerordentlich langen Namen, den niemand je so vergeben würde – " +
               std::string(80, 'x');
  for (int i = 0; i < 12; ++i) first.sourcePath += "/Noch ein Ordner mit Namen";
  first.storagePath = "/Volumes/Extern/" + std::string(250, 'y') + ".sparsebundle";
  first.originalBackupPath = std::nullopt;
  core.world.volumes.push_back({"Ein Laufwerk mit sehr langem Namen für Sicherungen", "/Volumes/Lang",
                                500 * gigabyte, 3 * gigabyte, false, CapacityLevel::critical});
}

void unfinished(FakeCore& core) {
  three(core);
  Journal journal(OperationKind::relocate, relocation("Fotomediathek", RelocationKind::image));
  journal.completedSteps = {"imageCreated", "tempMounted", "copied"};
  core.world.unfinished = {journal};
}

/// Until the picture was taken.
void hold(OperationContext& context) {
  while (!context.isCancelled()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  context.checkCancelled();
}

void determinate(FakeCore& core) {
  three(core);
  core.operation = [](OperationContext& context) {
    context.progress("Kopiere Daten … 12,3 GB von 276,3 GB", 0.10);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // so that the window shows it
    context.progress(
        "Vergleiche „Originale/2024/Sommer am Meer/" + std::string(120, 'z') + "/IMG_20240712.HEIC“ …", 0.42);
    hold(context);
  };
}

void indeterminate(FakeCore& core) {
  three(core);
  core.operation = [](OperationContext& context) {
    context.progress("Lege virtuelle Festplatte an …", std::nullopt);
    hold(context);
  };
}

void failing(FakeCore& core) {
  three(core);
  core.operation = [](OperationContext&) {
    throw FernwahrungError::message(
        "Auf dem externen Laufwerk ist nicht genug Platz: benötigt werden 276,3 GB, frei sind 120 GB.");
  };
}

struct State {
  const char* name;
  void (*describe)(FakeCore& core);
  std::size_t selected = 0;
  bool operation = false;
  bool loading = false;
};

const State states[] = {
    {.name = "loading", .describe = three, .loading = true},
    {.name = "empty", .describe = empty},
    {.name = "three", .describe = three},
    {.name = "unmounted", .describe = three, .selected = 1},
    {.name = "link", .describe = three, .selected = 2},
    {.name = "restored", .describe = three, .selected = 3},
    {.name = "long", .describe = longNames},
    {.name = "unfinished", .describe = unfinished},
    {.name = "busy", .describe = determinate, .operation = true},
    {.name = "indeterminate", .describe = indeterminate, .operation = true},
    {.name = "error", .describe = failing, .operation = true},
};

void save(const QPixmap& picture, const std::string& file) {
  if (!picture.save(QString::fromStdString(file))) std::fprintf(stderr, "not written: %s\n", file.c_str());
}

/// Answers every question; takes a picture of the first, over the window, when `file` isn't empty.
class QuestionPicture {
 public:
  QuestionPicture(QWidget& window, const std::string& file) {
    QObject::connect(&timer_, &QTimer::timeout, &window, [this, &window, file] {
      auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
      if (!dialog) return;
      if (taken_ || file.empty()) return dialog->reject();
      taken_ = true;
      QPixmap picture = window.grab();
      QPixmap question = dialog->grab();
      QPoint place((picture.width() - question.width()) / 2, (picture.height() - question.height()) / 3);
      QPainter painter(&picture);
      painter.drawPixmap(place, question);
      painter.setPen(window.palette().color(QPalette::Mid));  // the frame that a desktop would draw
      painter.drawRect(QRect(place, question.size()).adjusted(-1, -1, 0, 0));
      save(picture, file);
      dialog->reject();
    });
    timer_.start(10);
  }
  bool taken() const { return taken_; }

 private:
  QTimer timer_;
  bool taken_ = false;
};

void picture(const State& state, const QSize& size, const std::string& file) {
  FakeCore core;
  state.describe(core);
  if (state.loading) core.reading.close();
  ModalQuestions questions;
  AppModel model(core.calls(), questions, std::chrono::hours(1));
  {
    MainWindow window(model);
    window.resize(size);
    window.show();
    if (!state.loading) pumpUntil([&] { return model.loaded(); });
    if (state.selected < model.relocations().size()) {
      model.setSelection(model.relocations()[state.selected].id);
    }
    const bool fails = state.describe == failing;
    QuestionPicture question(window, fails ? file : std::string());
    if (state.operation) {
      RelocationPlan plan;
      plan.name = "Fotomediathek";
      model.relocate(plan);
      pumpUntil([&] {
        return !model.busyTitle() || model.progressMessage().size() > 60 ||
               (state.describe == indeterminate && model.progressMessage() != "Starte …");
      });
    }
    pumpOnce();
    pumpOnce();
    if (fails) {
      pumpUntil([&] { return question.taken(); });
    } else {
      save(window.grab(), file);
    }
    core.reading.open();
    model.cancel();
    pumpUntil([&] { return !model.busyTitle() && model.loaded() && !model.errorMessage(); });
  }
  Background::waitForDone();
}

void mainWindowPictures(const std::string& folder) {
  const QPalette light = QApplication::style()->standardPalette();
  for (bool dark : {false, true}) {
    QApplication::setPalette(dark ? Appearance::darkPalette() : light);
    for (const QSize& size : {smallest, QSize(1400, 900)}) {
      for (const State& state : states) {
        picture(state, size,
                fmt::format("{}/main-{}-{}-{}.png", folder, state.name, dark ? "dark" : "light",
                            size == smallest ? "small" : "large"));
      }
    }
  }
  QApplication::setPalette(light);
}

}  // namespace
}  // namespace fernwahrung

int main(int count, char** arguments) {
  using namespace fernwahrung;
  if (count != 2 || !QDir().mkpath(arguments[1])) {
    std::fprintf(stderr, "usage: fernwahrung-pictures DIRECTORY\n");
    return 2;
  }
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(count, arguments);
  Appearance::apply(application);
  TempHome home;
  // Time flies, so that a time left can be told at once.
  std::atomic<int> ticks = 0;
  Clock::Override clock([&ticks] { return Dates::fromUnixSeconds(1'795'000'000 + 30 * ticks++); },
                        [](double) {});
  mainWindowPictures(arguments[1]);
#if __has_include("interface/SheetPictures.h")
  sheetPictures(arguments[1]);
#endif
  return 0;
}
