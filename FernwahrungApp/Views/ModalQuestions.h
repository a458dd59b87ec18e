#pragma once

#include "FernwahrungApp/Model/Questions.h"

namespace fernwahrung {

/// Questions as dialogs on the window that the user works in.
class ModalQuestions : public Questions {
 public:
  std::size_t ask(const Question& question) override;
  /// A start folder that doesn't exist gives way to the nearest one above it that does.
  std::optional<std::string> chooseFolder(const std::string& title, const std::string& start) override;
  /// An application bundle, or an executable file; whoever chooses something else is told so and asked again.
  std::optional<std::string> chooseApplication(const std::string& title, const std::string& start) override;
};

}  // namespace fernwahrung
