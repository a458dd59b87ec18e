#include "unit/AppPlatform/PrivateSessionBus.h"

#include "support/Files.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>
#include <stdexcept>

namespace fernwahrung {

bool handleEventsUntil(const std::function<bool()>& condition) {
  const QDeadlineTimer end(30000);
  QTimer heartbeat;  // so that a condition which no event announces is looked at as well
  heartbeat.start(5);
  while (!condition()) {
    if (end.hasExpired()) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return true;
}

PrivateSessionBus::PrivateSessionBus() {
  // The system's own configuration would start the services that happen to be installed here.
  writeFile(
      folder_ / "bus.conf",
      "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" \"busconfig.dtd\">\n"
      "<busconfig><type>session</type><listen>unix:path=" +
          (folder_ / "bus") +
          "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n");
  daemon_.start("dbus-daemon", {"--nofork", "--print-address",
                                "--config-file=" + QString::fromStdString(folder_ / "bus.conf")});
  if (!daemon_.waitForStarted() || !daemon_.waitForReadyRead()) {
    throw std::runtime_error("dbus-daemon does not start: " + daemon_.errorString().toStdString() + "\n" +
                             daemon_.readAllStandardError().toStdString());
  }
  address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
  environment_.emplace("DBUS_SESSION_BUS_ADDRESS", address_.toStdString());
}

PrivateSessionBus::~PrivateSessionBus() {
  stop();
}

void PrivateSessionBus::stop() {
  daemon_.kill();
  daemon_.waitForFinished();
}

BusService::BusService(const PrivateSessionBus& bus, const QString& name, const QString& path,
                       QObject* object)
    : connectionName_("service " + name + " " + bus.address()) {
  QDBusConnection connection = QDBusConnection::connectToBus(bus.address(), connectionName_);
  if (!connection.registerObject(path, object, QDBusConnection::ExportAllSlots) ||
      !connection.registerService(name)) {
    throw std::runtime_error("the bus does not take the service " + name.toStdString());
  }
}

BusService::~BusService() {
  QDBusConnection::disconnectFromBus(connectionName_);
}

}  // namespace fernwahrung
