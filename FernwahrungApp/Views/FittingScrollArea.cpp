#include "FernwahrungApp/Views/FittingScrollArea.h"

#include "FernwahrungApp/Views/FollowFocus.h"

#include <QEvent>
#include <QResizeEvent>

namespace fernwahrung {

FittingScrollArea::FittingScrollArea(QWidget* content, int highest, QWidget* parent)
    : QScrollArea(parent), highest_(highest) {
  setFrameShape(QFrame::NoFrame);
  setWidgetResizable(true);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setFocusPolicy(Qt::NoFocus);
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
  setWidget(content);
  viewport()->setAutoFillBackground(false);
  content->setAutoFillBackground(false);
  content->installEventFilter(this);
  followFocus(*this);
  fit();
}

QSize FittingScrollArea::sizeHint() const {
  return {widget()->sizeHint().width(), fittingHeight()};
}

QSize FittingScrollArea::minimumSizeHint() const {
  return {0, fittingHeight()};
}

bool FittingScrollArea::eventFilter(QObject* watched, QEvent* event) {
  if (watched == widget() && event->type() == QEvent::LayoutRequest) fit();
  return QScrollArea::eventFilter(watched, event);
}

void FittingScrollArea::resizeEvent(QResizeEvent* event) {
  QScrollArea::resizeEvent(event);
  if (event->oldSize().width() != event->size().width()) fit();
}

int FittingScrollArea::fittingHeight() const {
  const QWidget& content = *widget();
  int width = viewport()->width();
  int height =
      content.hasHeightForWidth() && width > 0 ? content.heightForWidth(width) : content.sizeHint().height();
  return std::min(height, highest_);
}

void FittingScrollArea::fit() {
  setFixedHeight(fittingHeight());
}

}  // namespace fernwahrung
