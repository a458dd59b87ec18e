#include "FernwahrungApp/Views/RelocationDelegate.h"

#include "FernwahrungApp/Views/HealthIcon.h"
#include "FernwahrungApp/Views/Shades.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "FernwahrungApp/Views/Texts.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

namespace fernwahrung {
namespace {

constexpr int outer = 6;    // around the selection's ground
constexpr int padding = 8;  // inside it
constexpr int symbolSide = 24;
constexpr int healthSide = 14;
constexpr int gaugeSide = 20;
constexpr int gap = 8;
constexpr int lineGap = 3;
constexpr int wrapped = Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap;

/// Where everything of one row lies.
struct Places {
  QFont nameFont;
  QFont usageFont;
  QRect ground;
  QRect symbol;
  QRect name;
  QRect gauge;  // empty without one
  QRect health;
  QRect summary;
  QRect usage;
  int height = 0;
};

int wrappedHeight(const QFont& font, int width, const QString& text) {
  return QFontMetrics(font).boundingRect(QRect(0, 0, width, 1 << 20), wrapped, text).height();
}

Places places(const QRect& area, const QFont& font, const RelocationListModel::Row& row) {
  Places result;
  result.nameFont = font;
  result.nameFont.setWeight(QFont::DemiBold);
  result.usageFont = font;
  result.usageFont.setPointSizeF(font.pointSizeF() * 0.92);

  result.ground = area.adjusted(outer, 1, -outer, -1);
  QRect inner = result.ground.adjusted(padding, padding, -padding, -padding);
  result.symbol = QRect(inner.left(), inner.top(), symbolSide, symbolSide);
  const int left = result.symbol.right() + 1 + gap;
  const int right = inner.right() + 1;

  int top = inner.top();
  const int nameHeight = QFontMetrics(result.nameFont).height();
  int nameRight = right;
  if (row.scarce) {
    result.gauge = QRect(right - gaugeSide, top + (nameHeight - gaugeSide) / 2, gaugeSide, gaugeSide);
    nameRight = result.gauge.left() - gap;
  }
  result.name = QRect(left, top, nameRight - left, nameHeight);
  top += nameHeight + lineGap;

  if (!row.summary.isEmpty()) {
    const int lineHeight = QFontMetrics(font).height();
    result.health = QRect(left, top + (lineHeight - healthSide) / 2, healthSide, healthSide);
    const int textLeft = result.health.right() + 1 + gap / 2;
    result.summary =
        QRect(textLeft, top, right - textLeft, wrappedHeight(font, right - textLeft, row.summary));
    top = result.summary.bottom() + 1 + lineGap;
  }
  if (!row.usage.isEmpty()) {
    result.usage = QRect(left, top, right - left, wrappedHeight(result.usageFont, right - left, row.usage));
    top = result.usage.bottom() + 1 + lineGap;
  }
  result.height = std::max(top - lineGap, result.symbol.bottom() + 1) + padding + 1 - area.top();
  return result;
}

const RelocationListModel::Row& rowOf(const QModelIndex& index) {
  return static_cast<const RelocationListModel*>(index.model())->row(index);
}

QString symbolOf(RelocationKind kind) {
  return kind == RelocationKind::image ? "externaldrive.fill" : "link";
}

/// How a row's colours follow from its being selected and having the keyboard.
struct Colors {
  QColor ground;  // invalid without one
  QColor text;
  QColor quiet;
  bool vivid = false;  // on the ground of the highlight, where no other colour can be told
};

Colors colors(const QStyleOptionViewItem& option) {
  const QPalette& palette = option.palette;
  Colors result;
  result.text = palette.color(QPalette::Text);
  if (option.state & QStyle::State_Selected) {
    const QColor highlight = palette.color(QPalette::Highlight);
    result.vivid = option.state & QStyle::State_HasFocus;
    result.ground = result.vivid ? highlight : Shades::blend(highlight, palette.color(QPalette::Base), 0.25);
    if (result.vivid) result.text = palette.color(QPalette::HighlightedText);
  }
  const bool enabled = option.state & QStyle::State_Enabled;
  result.quiet = result.vivid || !enabled ? result.text : Shades::secondary(palette);
  return result;
}

void drawGround(QPainter& painter, const QRect& place, const Colors& colors) {
  if (!colors.ground.isValid()) return;
  painter.setPen(Qt::NoPen);
  painter.setBrush(colors.ground);
  painter.drawRoundedRect(place, 6, 6);
  if (!colors.vivid) return;
  painter.setPen(Shades::blend(colors.text, colors.ground, 0.7));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(QRectF(place).adjusted(2.5, 2.5, -2.5, -2.5), 4, 4);
}

void drawSymbol(QPainter& painter, const QRect& place, const QString& name, const QColor& color) {
  painter.drawPixmap(place.topLeft(),
                     Symbols::pixmap(name, place.width(), color, painter.device()->devicePixelRatioF()));
}

}  // namespace

void RelocationDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                               const QModelIndex& index) const {
  const RelocationListModel::Row& row = rowOf(index);
  const Places at = places(option.rect, option.font, row);
  const QPalette& palette = option.palette;
  const Colors color = colors(option);

  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  drawGround(*painter, at.ground, color);
  drawSymbol(*painter, at.symbol, symbolOf(row.kind), color.quiet);
  painter->setPen(color.text);
  painter->setFont(at.nameFont);
  painter->drawText(at.name, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                    QFontMetrics(at.nameFont).elidedText(row.name, Qt::ElideMiddle, at.name.width()));
  if (row.scarce) {
    if (color.vivid) {
      painter->setPen(Qt::NoPen);
      painter->setBrush(palette.color(QPalette::Base));
      painter->drawEllipse(QRectF(at.gauge).adjusted(-1, -1, 1, 1));
    }
    drawSymbol(*painter, at.gauge, "gauge.with.dots.needle.100percent", Symbols::warning(palette));
  }
  if (row.health && !at.health.isEmpty()) {
    drawSymbol(*painter, at.health, HealthIcon::symbol(*row.health),
               color.vivid ? color.text : HealthIcon::color(*row.health, palette));
  }
  painter->setPen(color.text);
  painter->setFont(option.font);
  painter->drawText(at.summary, wrapped, row.summary);
  painter->setPen(color.quiet);
  painter->setFont(at.usageFont);
  painter->drawText(at.usage, wrapped, row.usage);
  painter->restore();
}

QSize RelocationDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const auto* view = qobject_cast<const QAbstractItemView*>(option.widget);
  const int width = view ? view->viewport()->width() : option.rect.width();
  return {0, places(QRect(0, 0, width, 0), option.font, rowOf(index)).height};
}

bool RelocationDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                                   const QStyleOptionViewItem& option, const QModelIndex& index) {
  if (event->type() != QEvent::ToolTip || !index.isValid()) return false;
  const RelocationListModel::Row& row = rowOf(index);
  const Places at = places(option.rect, option.font, row);
  const bool elided = QFontMetrics(at.nameFont).horizontalAdvance(row.name) > at.name.width();
  if (at.gauge.contains(event->pos())) {
    QToolTip::showText(event->globalPos(), "Speicher wird knapp", view);
  } else if (elided && at.name.contains(event->pos())) {
    QToolTip::showText(event->globalPos(), Texts::inToolTip(row.name), view);
  } else {
    QToolTip::hideText();
  }
  return true;
}

}  // namespace fernwahrung
