// Source: the File Manager D-Bus Interface of freedesktop.org.
#include "FernwahrungApp/Platform/Desktop.h"

#include "FernwahrungApp/Platform/linux/SessionBus.h"

#include "Foundation/PathString.h"

#include <QCoreApplication>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QUrl>

namespace fernwahrung {
namespace {

/// Byte by byte, so that names that are no valid UTF-8 survive as well.
QByteArray fileUri(const std::string& path) {
  return "file://" + QByteArray::fromStdString(path).toPercentEncoding("/");
}

void openFile(const std::string& path) {
  QDesktopServices::openUrl(QUrl::fromEncoded(fileUri(path), QUrl::StrictMode));
}

/// The call had reached a file manager, which was slow to answer or went: it may well have shown the item,
/// and a second window long after would only be in the way.
bool maybeTaken(const QDBusError& error) {
  switch (error.type()) {
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
    case QDBusError::Disconnected:
      return true;
    default:
      return false;
  }
}

}  // namespace

void Desktop::reveal(const std::string& path) {
  const std::string parent = PathString::parent(path);
  const auto bus = sessionBus();
  if (!bus) return openFile(parent);
  QDBusMessage call = QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
      QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
  call << QStringList{QString::fromLatin1(fileUri(path))} << QString();
  auto* watcher = new QDBusPendingCallWatcher(bus->asyncCall(call), QCoreApplication::instance());
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, parent] {
    if (watcher->isError() && !maybeTaken(watcher->error())) openFile(parent);
    watcher->deleteLater();
  });
}

void Desktop::open(const std::string& pathOrUrl) {
  if (pathOrUrl.starts_with('/')) return openFile(pathOrUrl);
  QDesktopServices::openUrl(QUrl::fromEncoded(QByteArray::fromStdString(pathOrUrl)));
}

bool Desktop::askToQuit(std::int32_t) {
  return false;
}

}  // namespace fernwahrung
