#include "FernwahrungApp/Platform/linux/SessionBus.h"

#include <QDBusConnection>
#include <QFileInfo>
#include <QString>
#include <mutex>

namespace fernwahrung {
namespace {

/// Empty when no bus is running. The D-Bus library itself would start one then.
QString address() {
  const QString named = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
  if (!named.isEmpty()) return named.startsWith(QLatin1String("autolaunch:")) ? QString() : named;
  const QByteArray folder = qgetenv("XDG_RUNTIME_DIR");
  if (folder.isEmpty() || !QFileInfo::exists(QFile::decodeName(folder + "/bus"))) return {};
  return QStringLiteral("unix:path=") + QString::fromLatin1((folder + "/bus").toPercentEncoding("/-_.\\"));
}

}  // namespace

std::optional<QDBusConnection> sessionBus() {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  const QString place = address();
  if (place.isEmpty()) return std::nullopt;
  const QString name = QStringLiteral("fernwahrung ") + place;
  QDBusConnection bus(name);
  if (!bus.isConnected()) {
    // A connection whose bus has gone stays under its name until it is given up.
    QDBusConnection::disconnectFromBus(name);
    bus = QDBusConnection::connectToBus(place, name);
  }
  if (!bus.isConnected()) return std::nullopt;
  return bus;
}

}  // namespace fernwahrung
