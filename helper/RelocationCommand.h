#pragma once

#include "helper/Command.h"

#include "Records/Relocation.h"

#include <string>

namespace fernwahrung {

/// A command about one relocation, which its first argument names.
class RelocationCommand : public Command {
 public:
  void declare(Arguments& arguments) override;
  ExitCode run(Session& session) final;

 protected:
  /// `relocation` is the record as it stood in the list when the command began.
  virtual ExitCode runOn(const Relocation& relocation, Session& session) = 0;

  /// The status as it is now: the document of "status", or a sentence for people.
  static void show(const Relocation& relocation, const std::string& sentence, Session& session);

 private:
  std::string reference_;
};

}  // namespace fernwahrung
