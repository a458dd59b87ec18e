#include "FernwahrungApp/Views/Symbols.h"

#include <QApplication>
#include <QDir>
#include <QIconEngine>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <algorithm>
#include <optional>

/// The drawings lie in a static library, whose resources nothing pulls in by itself. Qt wants this outside
/// all namespaces.
static void loadResources() {
  Q_INIT_RESOURCE(resources);
}

namespace fernwahrung::Symbols {
namespace {

constexpr QLatin1String folder(":/symbols/");
constexpr QLatin1String substitute("questionmark.circle.fill");

QString known(const QString& name) {
  loadResources();
  const bool exists = QFile::exists(folder + name);
  Q_ASSERT_X(exists, "Symbols", qUtf8Printable(QStringLiteral("no symbol is named “%1”").arg(name)));
  if (exists) return name;
  qWarning("no symbol is named “%s”", qUtf8Printable(name));
  return substitute;
}

/// `pixels` are the device's own.
QPixmap render(const QString& name, int pixels, const QColor& color) {
  const QString key =
      QStringLiteral("symbol %1 %2 %3").arg(name).arg(pixels).arg(color.name(QColor::HexArgb));
  QPixmap result;
  if (QPixmapCache::find(key, &result)) return result;
  result = QPixmap(pixels, pixels);
  result.fill(Qt::transparent);
  QPainter painter(&result);
  QSvgRenderer(folder + name).render(&painter, QRectF(0, 0, pixels, pixels));
  // The drawing is only a stencil: its coverage stays, the colour is put in.
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(result.rect(), color);
  painter.end();
  QPixmapCache::insert(key, result);
  return result;
}

class Engine : public QIconEngine {
 public:
  Engine(QString name, std::optional<QColor> color) : name_(std::move(name)), color_(std::move(color)) {}

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
    const int side = std::min(rect.width(), rect.height());
    if (side <= 0) return;
    const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
    QRect square(0, 0, side, side);
    square.moveCenter(rect.center());
    painter->drawPixmap(square, render(name_, qRound(side * ratio), colorFor(mode)));
  }

  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    return draw(size, 1.0, mode, state);
  }

  QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal ratio) override {
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    return draw(size, ratio, mode, state);
#else
    // These versions pass the size in the device's pixels.
    return draw((QSizeF(size) / ratio).toSize(), ratio, mode, state);
#endif
  }

  QIconEngine* clone() const override {
    return new Engine(name_, color_);
  }
  QString key() const override {
    return QStringLiteral("fernwahrung-symbol");
  }
  QString iconName() override {
    return name_;
  }
  bool isNull() override {
    return false;
  }

 private:
  QPixmap draw(const QSize& size, qreal ratio, QIcon::Mode mode, QIcon::State state) {
    if (size.isEmpty()) return {};
    QPixmap result((QSizeF(size) * ratio).toSize());
    result.setDevicePixelRatio(ratio);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    paint(&painter, QRect(QPoint(0, 0), size), mode, state);
    return result;
  }

  QColor colorFor(QIcon::Mode mode) const {
    const QPalette palette = QApplication::palette();
    if (mode == QIcon::Disabled) return palette.color(QPalette::Disabled, QPalette::ButtonText);
    if (mode == QIcon::Selected) return palette.color(QPalette::Active, QPalette::HighlightedText);
    return color_.value_or(palette.color(QPalette::Active, QPalette::ButtonText));
  }

  QString name_;
  std::optional<QColor> color_;
};

bool isDark(const QPalette& palette) {
  return qGray(palette.color(QPalette::Active, QPalette::Window).rgb()) < 128;
}

}  // namespace

QStringList names() {
  loadResources();
  return QDir(folder).entryList(QDir::Files, QDir::Name);
}

QIcon icon(const QString& name) {
  return QIcon(new Engine(known(name), std::nullopt));
}

QIcon icon(const QString& name, const QColor& color) {
  return QIcon(new Engine(known(name), color));
}

QPixmap pixmap(const QString& name, int size, const QColor& color, qreal devicePixelRatio) {
  QPixmap result = render(known(name), qRound(size * devicePixelRatio), color);
  result.setDevicePixelRatio(devicePixelRatio);
  return result;
}

QIcon applicationIcon() {
  loadResources();
  return QIcon(QStringLiteral(":/AppIcon.svg"));
}

QColor good(const QPalette& palette) {
  return isDark(palette) ? QColor(0x4c, 0xd0, 0x7d) : QColor(0x16, 0x72, 0x2f);
}

QColor warning(const QPalette& palette) {
  return isDark(palette) ? QColor(0xff, 0xa5, 0x3d) : QColor(0x97, 0x50, 0x0a);
}

QColor error(const QPalette& palette) {
  return isDark(palette) ? QColor(0xff, 0x80, 0x78) : QColor(0xc0, 0x27, 0x1f);
}

}  // namespace fernwahrung::Symbols
