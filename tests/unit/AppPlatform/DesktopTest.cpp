#include "FernwahrungApp/Platform/Desktop.h"
#include "unit/AppPlatform/PrivateSessionBus.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QUrl>
#include <QtGui/QDesktopServices>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {

/// Every call to the bus has been answered, and the answer dealt with.
bool allIsAnswered() {
  return handleEventsUntil(
      [] { return QCoreApplication::instance()->findChildren<QDBusPendingCallWatcher*>().isEmpty(); });
}

/// Takes the place of the file manager.
class FileManager : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

 public:
  /// The addresses of the only call.
  QStringList shown() const { return calls_.size() == 1 ? calls_.first() : QStringList(); }

 public slots:
  void ShowItems(const QStringList& uris, const QString&) { calls_ << uris; }

 private:
  QList<QStringList> calls_;
};

/// Takes what would be opened by another program.
class Opener : public QObject {
  Q_OBJECT

 public:
  explicit Opener(const QString& scheme) : scheme_(scheme) {
    QDesktopServices::setUrlHandler(scheme_, this, "take");
  }
  ~Opener() override { QDesktopServices::unsetUrlHandler(scheme_); }

 public slots:
  void take(const QUrl& url) { opened << url.toEncoded(); }

 public:
  QByteArrayList opened;

 private:
  QString scheme_;
};

namespace {

class DesktopTest : public testing::Test {
 protected:
  DesktopTest()
      : noRuntimeFolder_("XDG_RUNTIME_DIR", std::nullopt), noBus_("DBUS_SESSION_BUS_ADDRESS", std::nullopt) {}

  ScopedEnvironment noRuntimeFolder_;
  ScopedEnvironment noBus_;
  Opener files_{"file"};
};

TEST_F(DesktopTest, TheFileManagerIsGivenTheExactAddress) {
  PrivateSessionBus bus;
  FileManager manager;
  BusService service(bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1", &manager);
  Desktop::reveal("/Volumes/Große Platte/100%#1?/Zeile\numbruch");
  ASSERT_TRUE(allIsAnswered());
  EXPECT_EQ(manager.shown(),
            QStringList{"file:///Volumes/Gro%C3%9Fe%20Platte/100%25%231%3F/Zeile%0Aumbruch"});
  EXPECT_TRUE(files_.opened.isEmpty());
}

TEST_F(DesktopTest, BytesThatAreNoTextSurvive) {
  PrivateSessionBus bus;
  FileManager manager;
  BusService service(bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1", &manager);
  Desktop::reveal("/a/\xff\xfe");
  ASSERT_TRUE(allIsAnswered());
  EXPECT_EQ(manager.shown(), QStringList{"file:///a/%FF%FE"});
}

TEST_F(DesktopTest, WithoutAFileManagerTheFolderIsOpened) {
  PrivateSessionBus bus;
  Desktop::reveal("/Volumes/Große Platte/50%/Datei");
  ASSERT_TRUE(allIsAnswered());
  EXPECT_EQ(files_.opened, QByteArrayList{"file:///Volumes/Gro%C3%9Fe%20Platte/50%25"});
}

TEST_F(DesktopTest, AFileManagerThatGoesOpensNoSecondWindow) {
  PrivateSessionBus bus;
  FileManager manager;
  BusService service(bus, "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1", &manager);
  Desktop::reveal("/Volumes/Platte/Datei");
  bus.stop();
  ASSERT_TRUE(allIsAnswered());
  EXPECT_TRUE(files_.opened.isEmpty());
}

TEST_F(DesktopTest, WithoutABusTheFolderIsOpened) {
  Desktop::reveal("/Volumes/Platte/Datei");
  EXPECT_EQ(files_.opened, QByteArrayList{"file:///Volumes/Platte"});
}

TEST_F(DesktopTest, APathIsOpenedAsAFile) {
  Desktop::open("/tmp/a b#c?d%20\ne.txt");
  EXPECT_EQ(files_.opened, QByteArrayList{"file:///tmp/a%20b%23c%3Fd%2520%0Ae.txt"});
}

TEST_F(DesktopTest, AnAddressIsOpenedAsItIs) {
  Opener settings("x-apple.systempreferences");
  Desktop::open("x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles");
  EXPECT_EQ(settings.opened,
            QByteArrayList{"x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles"});
}

TEST_F(DesktopTest, NoProcessIsAskedWhereThereIsNoSuchRequest) {
  EXPECT_FALSE(Desktop::askToQuit(static_cast<std::int32_t>(::getpid())));
}

}  // namespace
}  // namespace fernwahrung

#include "DesktopTest.moc"
