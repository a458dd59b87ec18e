// The one way in which the program asks the user something and waits for the answer.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

struct Question {
  std::string title;
  std::string text;
  /// In the order shown; Escape chooses the last.
  std::vector<std::string> buttons;
  /// The index of the button that Return chooses.
  std::size_t defaultButton = 0;

  bool operator==(const Question&) const = default;
};

/// Main thread only. Every call blocks until the user has answered; the event loop runs on meanwhile.
class Questions {
 public:
  virtual ~Questions() = default;

  /// The index of the button.
  virtual std::size_t ask(const Question& question) = 0;
  /// Nothing when the user cancels.
  virtual std::optional<std::string> chooseFolder(const std::string& title, const std::string& start) = 0;
  virtual std::optional<std::string> chooseApplication(const std::string& title,
                                                       const std::string& start) = 0;

  /// "{button}" or "Abbrechen"; true for the first.
  bool confirm(const std::string& title, const std::string& text, const std::string& button) {
    return ask({title, text, {button, "Abbrechen"}}) == 0;
  }
};

}  // namespace fernwahrung
