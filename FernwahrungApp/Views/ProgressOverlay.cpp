#include "FernwahrungApp/Views/ProgressOverlay.h"

#include "FernwahrungApp/Views/Card.h"
#include "FernwahrungApp/Views/ElidedLabel.h"
#include "FernwahrungApp/Views/Shades.h"
#include "FernwahrungApp/Views/Texts.h"

#include "Foundation/Clock.h"

#include <QEvent>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>

namespace fernwahrung {
namespace {

constexpr int cardWidth = 480;
constexpr int barSteps = 1000;

}  // namespace

ProgressOverlay::ProgressOverlay(AppModel& model, QMainWindow& window, std::vector<QWidget*> covered,
                                 QWidget& fallback)
    : QWidget(&window),
      model_(model),
      window_(window),
      covered_(std::move(covered)),
      fallback_(fallback),
      update_([this] { update(); }) {
  setObjectName("progressOverlay");
  setAccessibleName("Vorgang läuft");
  setFocusPolicy(Qt::StrongFocus);
  hide();

  auto* card = new Card(this);
  card->setFixedWidth(cardWidth);
  title_ = new QLabel(card);
  title_->setObjectName("overlayTitle");
  title_->setTextFormat(Qt::PlainText);
  QFont font = title_->font();
  font.setPointSizeF(font.pointSizeF() * 1.35);
  font.setWeight(QFont::DemiBold);
  title_->setFont(font);
  message_ = new ElidedLabel(card);
  message_->setObjectName("overlayMessage");
  bar_ = new QProgressBar(card);
  bar_->setObjectName("overlayBar");
  bar_->setAccessibleName("Fortschritt");
  bar_->setTextVisible(false);
  time_ = new QLabel(card);
  time_->setObjectName("overlayTimeLeft");
  auto* warning = new QLabel("Bitte die betroffene App nicht starten und das Laufwerk nicht trennen.", card);
  warning->setObjectName("overlayWarning");
  warning->setWordWrap(true);
  cancel_ = new QPushButton("Abbrechen", card);
  cancel_->setObjectName("overlayCancel");
  cancel_->setAccessibleName("Vorgang abbrechen");
  connect(cancel_, &QPushButton::clicked, this, [this] {
    cancelled_ = true;
    cancel_->setEnabled(false);
    setFocus();
    model_.cancel();
  });

  auto* column = new QVBoxLayout(card);
  column->setContentsMargins(24, 24, 24, 24);
  column->setSpacing(12);
  column->addWidget(title_);
  column->addWidget(message_);
  column->addWidget(bar_);
  column->addWidget(time_);
  column->addWidget(warning);
  column->addSpacing(4);
  column->addWidget(cancel_, 0, Qt::AlignRight);
  auto* outer = new QVBoxLayout(this);
  outer->addWidget(card, 0, Qt::AlignCenter);

  window_.installEventFilter(this);
  connect(&model_, &AppModel::busyTitleChanged, this, [this] {
    // At once: the views disable what has the focus, and it wanders on.
    if (model_.busyTitle() && isHidden()) focusBefore_ = window_.focusWidget();
    timeLeft_ = TimeLeft();
    cancelled_ = false;
  });
  update_.follow(&model_, &AppModel::busyTitleChanged, &AppModel::progressMessageChanged,
                 &AppModel::progressFractionChanged, &AppModel::cancellableChanged);
  update();
}

void ProgressOverlay::update() {
  const bool busy = model_.busyTitle().has_value();
  // hidden, and not invisible: the window itself may not be shown
  if (busy && isHidden()) begin();
  if (busy) showProgress();
  if (!busy && !isHidden()) end();
}

void ProgressOverlay::begin() {
  cover();
  show();
  raise();
  for (QWidget* widget : covered_) widget->setEnabled(false);
  // Return would press the button: the overlay itself takes the keys until the user moves on.
  setFocus();
}

void ProgressOverlay::end() {
  for (QWidget* widget : covered_) widget->setEnabled(true);
  hide();
  // When the other views have caught up, and what had the focus is enabled again.
  QTimer::singleShot(0, this, &ProgressOverlay::giveFocusBack);
}

void ProgressOverlay::giveFocusBack() {
  if (!isHidden()) return;
  bool canTakeIt = focusBefore_ && focusBefore_->isEnabled() && focusBefore_->isVisibleTo(&window_);
  (canTakeIt ? focusBefore_.data() : &fallback_)->setFocus();
}

void ProgressOverlay::showProgress() {
  const std::optional<double>& fraction = model_.progressFraction();
  timeLeft_.advance(fraction, Clock::now());
  title_->setText(Texts::shown(*model_.busyTitle()));
  setAccessibleName(title_->text());
  message_->setFullText(Texts::shown(model_.progressMessage()));
  bar_->setRange(0, fraction ? barSteps : 0);
  if (fraction) bar_->setValue(static_cast<int>(*fraction * barSteps));
  time_->setText(Texts::shown(timeLeft_.text()));
  cancel_->setVisible(model_.cancellable());
  cancel_->setEnabled(!cancelled_);
}

void ProgressOverlay::cover() {
  QRect area = window_.rect();
  const QMenuBar* menuBar = window_.menuBar();
  if (!menuBar->isNativeMenuBar() && !menuBar->isHidden()) area.setTop(menuBar->height());
  setGeometry(area);
}

bool ProgressOverlay::eventFilter(QObject* watched, QEvent* event) {
  if (watched == &window_ && (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest)) {
    cover();
  }
  return QWidget::eventFilter(watched, event);
}

void ProgressOverlay::paintEvent(QPaintEvent*) {
  QPainter(this).fillRect(rect(), Shades::veil(palette()));
}

void ProgressOverlay::mousePressEvent(QMouseEvent* event) {
  event->accept();
}

/// Tab stays between the overlay and its button.
bool ProgressOverlay::focusNextPrevChild(bool) {
  if (cancel_->isVisible() && cancel_->isEnabled() && !cancel_->hasFocus()) {
    cancel_->setFocus(Qt::TabFocusReason);
  } else {
    setFocus(Qt::TabFocusReason);
  }
  return true;
}

}  // namespace fernwahrung
