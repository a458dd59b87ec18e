// A session bus of the test's own, with its services.
#pragma once

#include "support/ScopedEnvironment.h"
#include "support/TempFolder.h"

#include <QDBusConnection>
#include <QProcess>
#include <QString>
#include <functional>
#include <optional>

namespace fernwahrung {

/// Handles events until the condition holds; false when it does not come within half a minute.
bool handleEventsUntil(const std::function<bool()>& condition);

/// A private dbus-daemon, which DBUS_SESSION_BUS_ADDRESS names while it lives. It starts no services.
class PrivateSessionBus {
 public:
  PrivateSessionBus();
  ~PrivateSessionBus();
  PrivateSessionBus(const PrivateSessionBus&) = delete;
  PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

  const QString& address() const { return address_; }
  /// Ends the bus; its address stays.
  void stop();

 private:
  TempFolder folder_;
  QProcess daemon_;
  QString address_;
  std::optional<ScopedEnvironment> environment_;
};

/// A second participant on the bus, which offers an object under a name.
class BusService {
 public:
  BusService(const PrivateSessionBus& bus, const QString& name, const QString& path, QObject* object);
  ~BusService();
  BusService(const BusService&) = delete;
  BusService& operator=(const BusService&) = delete;

 private:
  QString connectionName_;
};

}  // namespace fernwahrung
