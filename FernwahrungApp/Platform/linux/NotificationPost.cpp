// Source: the Desktop Notifications protocol, version 1.2.
#include "FernwahrungApp/Platform/NotificationPost.h"

#include "FernwahrungApp/Platform/linux/SessionBus.h"

#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace fernwahrung {

void Notifier::post(const std::string& title, const std::string& body) {
  const auto bus = sessionBus();
  if (!bus) return;
  QDBusMessage call = QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
      QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
  call.setAutoStartService(false);
  const uint replacesNone = 0;
  const int expiresAsUsual = -1;
  // The body, unlike the title, may hold markup; a name with "<" in it must not be taken for that.
  call << QStringLiteral("Fernwahrung") << replacesNone << QStringLiteral("drive-removable-media")
       << QString::fromStdString(title) << QString::fromStdString(body).toHtmlEscaped() << QStringList()
       << QVariantMap() << expiresAsUsual;
  bus->send(call);
}

}  // namespace fernwahrung
