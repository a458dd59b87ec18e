#include "support/Program.h"
#include "support/ToolDouble.h"

#include <gtest/gtest.h>
#include <thread>

namespace fernwahrung {
namespace {

using Calls = std::vector<std::vector<std::string>>;

const std::string tool = "/usr/bin/hdiutil";

ProgramResult call(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), HostTools::locate(tool));
  return runProgram(arguments);
}

TEST(ToolDouble, AnswersAsToldAndRecordsTheExactVector) {
  const ToolDouble hdiutil(tool, {.out = std::string("a\0b\n", 4), .err = "Ärger\n", .status = 3});
  const ProgramResult result = call({"attach", "", "two words", "line\nbreak", "quote's \\ $HOME `x`"});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.out, std::string("a\0b\n", 4));
  EXPECT_EQ(result.err, "Ärger\n");
  EXPECT_EQ(hdiutil.calls(), (Calls{{"attach", "", "two words", "line\nbreak", "quote's \\ $HOME `x`"}}));
}

TEST(ToolDouble, TellsNoArgumentsFromAnEmptyOne) {
  const ToolDouble hdiutil(tool);
  EXPECT_EQ(call({}).status, 0);
  EXPECT_EQ(call({""}).status, 0);
  EXPECT_EQ(hdiutil.calls(), (Calls{{}, {""}}));
}

TEST(ToolDouble, HasAnswersOfItsOwnForSingleCalls) {
  ToolDouble hdiutil(tool, {.out = "default"});
  hdiutil.answerCall(2, {.out = "second", .status = 1});
  EXPECT_EQ(call({"1"}).out, "default");
  EXPECT_EQ(call({"2"}).out, "second");
  EXPECT_EQ(call({"3"}).out, "default");
  hdiutil.answer({.out = "later"});
  EXPECT_EQ(call({"4"}).out, "later");
  EXPECT_EQ(hdiutil.calls(), (Calls{{"1"}, {"2"}, {"3"}, {"4"}}));
}

TEST(ToolDouble, CountsCallsAtTheSameTime) {
  const ToolDouble hdiutil(tool);
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([] { call({"x"}); });
  }
  EXPECT_EQ(hdiutil.calls(), Calls(8, {"x"}));
}

TEST(ToolDouble, DiesByASignal) {
  const ToolDouble hdiutil(tool, {.signal = 9});
  EXPECT_EQ(call({}).status, 128 + 9);
}

TEST(ToolDouble, StaysUntilItIsEnded) {
  const ToolDouble hdiutil(tool, {.neverEnds = true});
  const ProgramResult result = runProgram({"timeout", "1", HostTools::locate(tool)});
  EXPECT_EQ(result.status, 124);
  EXPECT_TRUE(hdiutil.waitForCalls(1));
}

TEST(ToolDouble, RunsAScriptWithTheArgumentsAndThenTheRealTool) {
  const ToolDouble inner("/usr/bin/ditto", {.out = "real"});
  const ToolDouble outer("/usr/bin/ditto",
                         {.out = "double,", .thenReal = true, .script = "printf %s, \"$2\""});
  EXPECT_EQ(runProgram({HostTools::locate("/usr/bin/ditto"), "a", "b"}).out, "b,double,real");
  EXPECT_EQ(inner.calls(), (Calls{{"a", "b"}}));
}

TEST(ToolDouble, GivesTheToolBackAtItsEnd) {
  const std::string before = HostTools::locate(tool);
  { const ToolDouble hdiutil(tool); }
  EXPECT_EQ(HostTools::locate(tool), before);
}

}  // namespace
}  // namespace fernwahrung
