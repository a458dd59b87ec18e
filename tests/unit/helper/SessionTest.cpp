#include "helper/Session.h"
#include "support/Eventually.h"

#include "Foundation/Errors.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace fernwahrung {
namespace {

struct Scene {
  std::istringstream in;
  std::ostringstream out;
  std::ostringstream err;
  Streams streams{.in = in, .out = out, .err = err};
};

TEST(Session, TextIsForPeople) {
  Scene scene;
  Session session(scene.streams, false, false);
  session.say("eins");
  session.print("zwei\n");
  session.remark("drei");
  EXPECT_EQ(scene.out.str(), "eins\nzwei\n");
  EXPECT_EQ(scene.err.str(), "drei\n");
}

TEST(Session, WithJsonTheDocumentStandsAlone) {
  Scene scene;
  Session session(scene.streams, true, false);
  session.say("eins");
  session.print("zwei\n");
  session.printJson({{"b", "ä\n"}, {"a", 1}});
  EXPECT_EQ(scene.out.str(), "{\n  \"a\": 1,\n  \"b\": \"ä\\n\"\n}\n");
}

TEST(Session, BytesThatAreNoUtf8AreRepairedInTheDocument) {
  Scene scene;
  Session session(scene.streams, true, false);
  session.printJson({{"path",
                      "a\xff"
                      "b"}});
  EXPECT_EQ(Json::parse(scene.out.str())["path"], "a\uFFFDb");
}

TEST(RunningOperation, ASignalCancelsAndIsShown) {
  Scene scene;
  scene.streams.errorIsTerminal = true;
  Session session(scene.streams, false, false);
  {
    RunningOperation operation(session);
    operation.context().progress("Kopiere …", 0.5);
    ::kill(::getpid(), SIGINT);
    ASSERT_TRUE(eventually([&] { return operation.context().isCancelled(); }));
    EXPECT_THROW(operation.context().checkCancelled(), FernwahrungError);
  }
  EXPECT_NE(scene.err.str().find("Breche ab und stelle den Ausgangszustand wieder her …"), std::string::npos);
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
  std::signal(SIGHUP, SIG_DFL);
}

TEST(RunningOperation, ProgressGoesToStandardError) {
  Scene scene;
  Session session(scene.streams, true, true);
  {
    RunningOperation operation(session);
    operation.context().progress("Kopiere …", 0.5);
  }
  EXPECT_EQ(scene.out.str(), "");
  EXPECT_EQ(scene.err.str(), "Kopiere …\n");
}

}  // namespace
}  // namespace fernwahrung
