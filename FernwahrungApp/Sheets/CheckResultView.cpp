#include "FernwahrungApp/Sheets/CheckResultView.h"

#include "FernwahrungApp/Model/CheckFindings.h"
#include "FernwahrungApp/Sheets/FindingRow.h"
#include "FernwahrungApp/Sheets/ProcessBlockerRow.h"
#include "FernwahrungApp/Views/FollowFocus.h"
#include "FernwahrungApp/Views/Shades.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "FernwahrungApp/Views/Texts.h"
#include "FernwahrungApp/Views/WrappedText.h"

#include <QPointer>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>

namespace fernwahrung {
namespace {

constexpr int margin = 16;
constexpr int rowSpacing = 12;

bool same(const PreflightResult& one, const PreflightResult& other) {
  return one.blockers == other.blockers && one.processes == other.processes &&
         one.warnings == other.warnings && one.size == other.size;
}

/// Where the keyboard is inside the view, so that a new result doesn't take it away: the automatic re-check
/// comes unasked.
struct FocusPlace {
  QString id;
  std::optional<std::int32_t> pid;
  bool seen = false;  // not scrolled away

  static std::optional<std::int32_t> pidAround(const QWidget* widget) {
    for (; widget; widget = widget->parentWidget()) {
      if (auto* row = qobject_cast<const ProcessBlockerRow*>(widget)) return row->process().pid;
    }
    return std::nullopt;
  }
  static std::optional<FocusPlace> in(const QWidget& content) {
    const QWidget* focused = content.window()->focusWidget();
    if (!focused || !content.isAncestorOf(focused)) return std::nullopt;
    return FocusPlace{focused->objectName(), pidAround(focused), !focused->visibleRegion().isEmpty()};
  }
  /// Nothing when there is no such place any more.
  QWidget* find(const QWidget& content) const {
    for (QWidget* widget : content.findChildren<QWidget*>(id)) {
      if (pidAround(widget) == pid) return widget;
    }
    return nullptr;
  }
};

}  // namespace

CheckResultView::CheckResultView(AppModel& model, const QString& procedure, Timing timing, QWidget* parent)
    : QScrollArea(parent),
      model_(model),
      procedure_(procedure),
      timing_(timing),
      recheck_(timing.recheckInterval) {
  setObjectName("checkResult");
  setAccessibleName("Ergebnis der Prüfung");
  setFrameShape(QFrame::StyledPanel);
  setWidgetResizable(true);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setBackgroundRole(QPalette::Base);
  followFocus(*this);
  connect(&recheck_, &BlockerRecheck::recheck, this, [this] {
    updateRecheckLine();
    emit recheck();
  });
}

bool CheckResultView::setResult(const std::optional<PreflightResult>& result) {
  if (!result) recheck_.forget();
  bool unchanged = result_.has_value() == result.has_value() && (!result || same(*result_, *result));
  if (unchanged) return false;
  result_ = result;
  rebuild();
  watch(isVisible());
  return true;
}

void CheckResultView::setBusy(bool busy) {
  recheck_.setBusy(busy);
}

QSize CheckResultView::minimumSizeHint() const {
  return {320, 8 * fontMetrics().lineSpacing()};
}

QSize CheckResultView::sizeHint() const {
  return minimumSizeHint();
}

int CheckResultView::heightOfAll(int width) const {
  const int least = minimumSizeHint().height();
  if (!widget()) return least;
  return std::max(widget()->heightForWidth(width - 2 * frameWidth()) + 2 * frameWidth(), least);
}

void CheckResultView::showEvent(QShowEvent* event) {
  QScrollArea::showEvent(event);
  watch(true);
}

void CheckResultView::hideEvent(QHideEvent* event) {
  QScrollArea::hideEvent(event);
  watch(false);
}

void CheckResultView::watch(bool visible) {
  recheck_.setWatched(visible && result_ && CheckFindings::hasSystemService(*result_));
}

void CheckResultView::rebuild() {
  std::optional<FocusPlace> focus = widget() ? FocusPlace::in(*widget()) : std::nullopt;
  const int scrolled = verticalScrollBar()->value();
  auto* content = new QWidget;
  content->setBackgroundRole(QPalette::Base);
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins(margin, margin, margin, margin);
  layout->setSpacing(rowSpacing);
  if (result_) addFindings(*layout);
  layout->addStretch();
  setWidget(content);
  updateGeometry();
  QPointer<QWidget> focused = focus ? focus->find(*content) : nullptr;
  if (focus) (focused ? focused.data() : this)->setFocus();
  // Until the findings are laid out there is nothing to scroll to, and nothing to be seen of that.
  viewport()->setUpdatesEnabled(false);
  QTimer::singleShot(0, content, [this, scrolled, focused, seen = focus && focus->seen] {
    verticalScrollBar()->setValue(scrolled);
    if (focused && seen) ensureWidgetVisible(focused);
    viewport()->setUpdatesEnabled(true);
  });
}

void CheckResultView::addFindings(QVBoxLayout& layout) {
  auto add = [&](const QString& symbol, SymbolView::Color color, const QString& id, const QString& kind,
                 const QString& text) {
    layout.addWidget(new FindingRow(symbol, std::move(color), id, kind, text, this));
  };
  if (result_->blockers.empty() && result_->warnings.empty()) {
    add("checkmark.circle.fill", Symbols::good, "allGood", "Ergebnis", "Alle Voraussetzungen erfüllt.");
  }
  for (const std::string& blocker : CheckFindings::otherBlockers(*result_)) {
    add("xmark.octagon.fill", Symbols::error, "otherBlocker", "Hindernis", Texts::shown(blocker));
  }
  for (const ProcessDescription& process : result_->processes) addProcess(layout, process);
  if (CheckFindings::hasSystemService(*result_)) {
    add("arrow.clockwise", Shades::secondary, "recheckLine", "Automatisches Prüfen", recheckLine());
  }
  for (const std::string& warning : result_->warnings) {
    add("exclamationmark.triangle.fill", Symbols::warning, "warning", "Warnung", Texts::shown(warning));
  }
  add("list.bullet.rectangle", Shades::secondary, "procedure", "Ablauf", procedure_);
  if (std::string size = CheckFindings::sizeText(*result_); !size.empty()) {
    add("folder", Shades::secondary, "sizeLine", "Größe des Ordners", Texts::shown(size));
  }
}

void CheckResultView::addProcess(QVBoxLayout& layout, const ProcessDescription& process) {
  auto* row = new ProcessBlockerRow(process, this);
  // What follows may take the row down, so the press of its button has to be over by then.
  auto onPress = [&](auto pressed, auto action) {
    connect(row, pressed, this, action, Qt::QueuedConnection);
  };
  onPress(&ProcessBlockerRow::recheck, [this] { emit recheck(); });
  onPress(&ProcessBlockerRow::reveal, [this, path = process.executablePath] { model_.revealInFinder(path); });
  onPress(&ProcessBlockerRow::quit, [this, process] {
    auto followed = [this] { emit recheck(); };
    BlockerTermination::confirm(model_, process, this, followed, timing_.terminationGrace);
  });
  layout.addWidget(row);
}

QString CheckResultView::recheckLine() const {
  return recheck_.exhausted() ? "Automatisches Prüfen beendet – „Erneut prüfen“ klicken."
                              : "Ein vom System gestarteter Dienst hält Dateien offen. "
                                "Die App prüft alle 5 Sekunden selbst erneut und beendet nichts von allein.";
}

void CheckResultView::updateRecheckLine() {
  auto* line = findChild<WrappedText*>("recheckLine");
  if (line) line->showText(recheckLine());
}

}  // namespace fernwahrung
