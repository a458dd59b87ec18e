#pragma once

#include "FernwahrungApp/Views/MainWindow.h"
#include "unit/AppModel/ModelFixture.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <map>
#include <set>

namespace fernwahrung {

/// The main window on a described world.
class WindowFixture : public ModelFixture {
 protected:
  using Health = RelocationStatus::Health;

  void open() {
    create();
    window.emplace(*owned);
    window->show();
    window->activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&*window));
  }
  /// After the first refresh.
  void openLoaded() {
    open();
    EXPECT_TRUE(pumpUntil([this] { return owned->loaded(); }));
    settle();
  }
  void TearDown() override {
    release();
    window.reset();
    ModelFixture::TearDown();
  }

  Relocation& add(const std::string& name, RelocationKind kind, RelocationStatus status) {
    core.world.relocations.push_back(FakeCore::relocation(name, kind));
    Relocation& made = core.world.relocations.back();
    core.world.statuses[made.id] = std::move(status);
    return made;
  }
  Relocation& addMounted(const std::string& name) {
    return add(name, RelocationKind::image,
               {.summary = "Eingehängt", .details = {}, .mounted = true, .storageAvailable = true});
  }
  Relocation& addUnmounted(const std::string& name) {
    return add(
        name, RelocationKind::image,
        {.health = Health::error, .summary = "Nicht eingehängt", .details = {}, .storageAvailable = true});
  }
  Relocation& addLink(const std::string& name) {
    return add(name, RelocationKind::symlink,
               {.summary = "Verlinkt", .details = {}, .mounted = true, .storageAvailable = true});
  }

  /// Lets every operation run until release() or its cancellation, after it has reported this.
  void holdOperations(std::string message = "Kopiere …", std::optional<double> fraction = {}) {
    gate.close();
    core.operation = [this, message, fraction](OperationContext& context) {
      context.progress(message, fraction);
      gate.pass();
      context.checkCancelled();
    };
  }
  void release() { gate.open(); }
  bool untilBusy() {
    bool busy = pumpUntil([this] { return owned->busyTitle() && owned->progressMessage() != "Starte …"; });
    pumpOnce();
    return busy;
  }
  /// The window of one offloaded folder whose way back is held in the middle.
  void openWithARestoreAtWork() {
    addMounted("Bilder");
    holdOperations();
    openLoaded();
    owned->restore(owned->relocations().front());
    EXPECT_TRUE(untilBusy());
  }

  template <class Kind = QWidget>
  Kind* find(const QString& name) {
    auto* found = window->findChild<Kind*>(name);
    EXPECT_NE(found, nullptr) << name.toStdString();
    return found;
  }
  bool visible(const QString& name) {
    auto* found = window->findChild<QWidget*>(name);
    return found && found->isVisible();
  }
  QAction* action(const QString& name) { return find<QAction>(name); }
  /// The text of a label or field, whole.
  std::string text(const QString& name);
  /// All texts that can be seen in the window.
  std::set<std::string> visibleTexts();

  FakeCore::Gate gate;
  std::optional<MainWindow> window;
};

/// Counts the paint events of a window and all within it.
class PaintCounter : public QObject {
 public:
  explicit PaintCounter(QWidget& root) : root_(root) { qApp->installEventFilter(this); }
  std::map<QString, int> counts;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    auto* widget = qobject_cast<QWidget*>(watched);
    if (event->type() == QEvent::Paint && widget && root_.isAncestorOf(widget)) {
      ++counts[watched->objectName() + "/" + watched->metaObject()->className()];
    }
    return false;
  }

 private:
  QWidget& root_;
};

}  // namespace fernwahrung
