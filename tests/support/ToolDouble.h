// A stand-in for one of the Mac's tools that writes down how it was called and answers as told.
#pragma once

#include "support/TempFolder.h"

#include "Foundation/HostTools.h"

#include <string>
#include <vector>

namespace fernwahrung {

/// Installed for its lifetime; any number of calls, also at the same time.
///   ToolDouble hdiutil("/usr/bin/hdiutil", {.err = "hdiutil: attach failed", .status = 1});
///   EXPECT_THROW(DiskImage::attach(…), ShellError);
///   EXPECT_EQ(hdiutil.calls(), (std::vector<std::vector<std::string>>{{"attach", "-plist", image}}));
class ToolDouble {
 public:
  struct Answer {
    std::string out = {};       // bytes for standard output
    std::string err = {};       // bytes for standard error
    int status = 0;             // the exit code
    int signal = 0;             // if not 0, the double ends itself with this signal instead
    int delayMilliseconds = 0;  // before it answers
    bool neverEnds = false;     // answers, then stays until it is ended by a signal
    bool thenReal = false;      // answers, then becomes the real stand-in with the same arguments
    std::string script = {};    // lines of sh that run before the answer; "$@" are the arguments
  };

  /// `answer` is that of every call that has none of its own.
  ToolDouble(const std::string& tool, const Answer& answer);
  explicit ToolDouble(const std::string& tool) : ToolDouble(tool, Answer()) {}

  /// Changes the answer of all later calls that have none of their own.
  void answer(const Answer& answer);
  /// The answer of one call, counted from 1.
  void answerCall(int number, const Answer& answer);

  /// The argument vectors in the order of the calls, without the tool's name. A call is in it before it
  /// answers.
  std::vector<std::vector<std::string>> calls() const;
  /// Blocks until that many calls were begun; false when they don't come within the time.
  bool waitForCalls(std::size_t count, int seconds = 30) const;

  /// The double itself.
  std::string path() const { return folder_ / "double"; }

 private:
  void writeAnswer(const std::string& name, const Answer& answer) const;

  TempFolder folder_;
  std::string real_;
  HostTools::Replacement replacement_;
};

}  // namespace fernwahrung
