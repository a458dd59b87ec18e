// One run of one command: where its output goes, and the operation it may start.
#pragma once

#include "helper/Interruption.h"
#include "helper/Progress.h"
#include "helper/Streams.h"

#include "Foundation/Json.h"
#include "Foundation/OperationContext.h"

#include <string>

namespace fernwahrung {

class Session {
 public:
  Session(Streams& streams, bool json, bool verbose) : streams_(streams), json_(json), verbose_(verbose) {}

  Streams& streams() { return streams_; }
  /// Standard output carries one JSON document instead of text.
  bool json() const { return json_; }
  bool verbose() const { return verbose_; }

  /// A line for people; nothing when JSON is asked for.
  void say(const std::string& text);
  /// Text that brings its own line ends.
  void print(const std::string& text);
  /// The document. Bytes that are no UTF-8, as a file name may hold, become U+FFFD.
  void printJson(const Json::Value& document);
  /// A line on standard error that does not end the command.
  void remark(const std::string& text);

 private:
  Streams& streams_;
  const bool json_;
  const bool verbose_;
};

/// While it lives, signals cancel the operation instead of ending the program, and progress is shown. Made
/// before the operation takes its lock.
class RunningOperation {
 public:
  explicit RunningOperation(Session& session);

  OperationContext& context() { return context_; }

 private:
  ProgressDisplay display_;
  OperationContext context_;
  Interruption interruption_;
};

}  // namespace fernwahrung
