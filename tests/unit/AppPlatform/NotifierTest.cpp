#include "FernwahrungApp/Platform/Notifier.h"
#include "support/Files.h"
#include "unit/AppPlatform/PrivateSessionBus.h"

#include "Foundation/Paths.h"

#include <QElapsedTimer>
#include <QVariantMap>
#include <gmock/gmock.h>
#include <thread>
#include <vector>

namespace fernwahrung {

/// Takes the place of the desktop's own.
class NotificationServer : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

 public:
  struct Call {
    QString application;
    uint replaces;
    QString title;
    QString body;
    QStringList actions;
    int timeout;
  };
  std::vector<Call> calls;

 public slots:
  uint Notify(const QString& application, uint replaces, const QString&, const QString& title,
              const QString& body, const QStringList& actions, const QVariantMap&, int timeout) {
    calls.push_back({application, replaces, title, body, actions, timeout});
    return 7;
  }
};

namespace {

using testing::EndsWith;
using testing::HasSubstr;

class NotifierTest : public testing::Test {
 protected:
  NotifierTest() : noRuntimeFolder_("XDG_RUNTIME_DIR", std::nullopt) {}

  static std::string log() { return exists(Paths::logFile()) ? readFile(Paths::logFile()) : ""; }

  TempHome home_;
  ScopedEnvironment noRuntimeFolder_;
};

class NotifierOnABusTest : public NotifierTest {
 protected:
  PrivateSessionBus bus_;
  NotificationServer server_;
  BusService service_{bus_, "org.freedesktop.Notifications", "/org/freedesktop/Notifications", &server_};

  bool receives(std::size_t count) {
    return handleEventsUntil([&] { return server_.calls.size() >= count; });
  }
};

TEST_F(NotifierOnABusTest, TheDesktopIsGivenTitleBodyAndTheProgramsName) {
  Notifier::send("Speicher wird knapp", "„Fotos“: nur noch 5 GB frei – bitte prüfen");
  ASSERT_TRUE(receives(1));
  const auto& call = server_.calls.at(0);
  EXPECT_EQ(call.application, "Fernwahrung");
  EXPECT_EQ(call.replaces, 0U);
  EXPECT_EQ(call.title, "Speicher wird knapp");
  EXPECT_EQ(call.body, QString::fromUtf8("„Fotos“: nur noch 5 GB frei – bitte prüfen"));
  EXPECT_TRUE(call.actions.isEmpty());
  EXPECT_EQ(call.timeout, -1);
  EXPECT_THAT(log(),
              EndsWith("Mitteilung: Speicher wird knapp – „Fotos“: nur noch 5 GB frei – bitte prüfen\n"));
}

TEST_F(NotifierOnABusTest, NamesAreNoMarkup) {
  Notifier::send("<i> & Co", "Ordner „<b>&amp;“");
  ASSERT_TRUE(receives(1));
  EXPECT_EQ(server_.calls.at(0).title, "<i> & Co");
  EXPECT_EQ(server_.calls.at(0).body, QString::fromUtf8("Ordner „&lt;b&gt;&amp;amp;“"));
  EXPECT_THAT(log(), HasSubstr("Mitteilung: <i> & Co – Ordner „<b>&amp;“\n"));
}

TEST_F(NotifierOnABusTest, AnyThreadMaySend) {
  std::thread first([] { Notifier::send("eins", ""); });
  std::thread second([] { Notifier::send("zwei", ""); });
  first.join();
  second.join();
  ASSERT_TRUE(receives(2));
  QStringList titles{server_.calls.at(0).title, server_.calls.at(1).title};
  titles.sort();
  EXPECT_EQ(titles, QStringList({"eins", "zwei"}));
}

TEST_F(NotifierTest, WithoutABusOnlyTheLogLineStands) {
  ScopedEnvironment none("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  Notifier::send("Gesundheitscheck", "2 Auffälligkeit(en) – Details im Systemstatus.");
  EXPECT_THAT(log(),
              EndsWith("Mitteilung: Gesundheitscheck – 2 Auffälligkeit(en) – Details im Systemstatus.\n"));
}

TEST_F(NotifierTest, NobodyWaitsWhereNobodyListens) {
  PrivateSessionBus bus;
  QElapsedTimer timer;
  timer.start();
  Notifier::send("a", "b");
  bus.stop();
  Notifier::send("c", "d");
  // Far below the 25 seconds after which D-Bus gives up.
  EXPECT_LT(timer.elapsed(), 5000);
  EXPECT_THAT(log(), HasSubstr("Mitteilung: a – b\n"));
  EXPECT_THAT(log(), HasSubstr("Mitteilung: c – d\n"));
}

}  // namespace
}  // namespace fernwahrung

#include "NotifierTest.moc"
