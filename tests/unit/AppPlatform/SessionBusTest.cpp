#include "FernwahrungApp/Platform/linux/SessionBus.h"
#include "unit/AppPlatform/PrivateSessionBus.h"

#include <QDBusConnectionInterface>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {

namespace {

TEST(SessionBusTest, NoBusIsAnswered) {
  TempFolder folder;
  ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  ScopedEnvironment runtime("XDG_RUNTIME_DIR", folder.path());
  EXPECT_FALSE(sessionBus());
}

TEST(SessionBusTest, NoneIsStarted) {
  ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", "autolaunch:");
  EXPECT_FALSE(sessionBus());
}

TEST(SessionBusTest, AnAddressWithoutABusIsNone) {
  TempFolder folder;
  ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (folder / "nothing"));
  EXPECT_FALSE(sessionBus());
}

TEST(SessionBusTest, TheRuntimeFolderNamesTheBusAsWell) {
  PrivateSessionBus bus;
  TempFolder folder;
  const std::string socket = bus.address().section("path=", 1).section(',', 0, 0).toStdString();
  ASSERT_EQ(::symlink(socket.c_str(), (folder / "bus").c_str()), 0);
  ScopedEnvironment address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  ScopedEnvironment runtime("XDG_RUNTIME_DIR", folder.path());
  const auto found = sessionBus();
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->interface()->isServiceRegistered("org.freedesktop.DBus"));
}

TEST(SessionBusTest, TheConnectionIsKept) {
  PrivateSessionBus bus;
  const auto first = sessionBus();
  const auto second = sessionBus();
  ASSERT_TRUE(first && second);
  EXPECT_FALSE(first->baseService().isEmpty());
  EXPECT_EQ(first->baseService(), second->baseService());
}

}  // namespace
}  // namespace fernwahrung
