// The end of the real program, asked for from outside.
#include "support/Eventually.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/PathString.h"
#include "Foundation/Paths.h"

#include <QElapsedTimer>
#include <QProcess>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fernwahrung {
namespace {

class ProgramEnd : public testing::Test {
 protected:
  void start() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::ForwardedChannels);
    program.start(FERNWAHRUNG_PROGRAM, {});
    ASSERT_TRUE(program.waitForStarted());
  }
  /// Before that a signal would simply end it.
  bool takesSignals() {
    std::ifstream stream("/proc/" + std::to_string(program.processId()) + "/status");
    for (std::string line; std::getline(stream, line);) {
      if (!line.starts_with("SigCgt:")) continue;
      return (std::stoull(line.substr(7), nullptr, 16) >> (SIGTERM - 1) & 1) != 0;
    }
    return false;
  }
  void TearDown() override {
    program.kill();
    program.waitForFinished();
  }

  TempHome home;
  QProcess program;
};

TEST_F(ProgramEnd, DoesNotWaitForAReadThatNeverReturns) {
  // That the list is damaged goes into a log that takes nothing: a pipe from which nobody reads.
  writeFile(Paths::registryFile(), "{ kaputt");
  Paths::ensure(PathString::parent(Paths::logFile()));
  ASSERT_EQ(::mkfifo(Paths::logFile().c_str(), 0600), 0);
  start();
  ASSERT_TRUE(eventually([this] { return takesSignals(); }));
  QElapsedTimer waited;
  waited.start();
  program.terminate();
  ASSERT_TRUE(program.waitForFinished(20'000)) << "it still waits";
  EXPECT_GE(waited.elapsed(), 1'500) << "nothing hung";
  EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(program.exitCode(), 0);
}

}  // namespace
}  // namespace fernwahrung
