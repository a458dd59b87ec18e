// The user's answers, agreed beforehand. A question that nobody expects and an answer that nobody asks for
// fail the test.
//
//   ScriptedQuestions questions;
//   questions.expect("Unterbrochenen Vorgang zurückrollen?", "Zurückrollen");
#pragma once

#include "FernwahrungApp/Model/Questions.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace fernwahrung {

class ScriptedQuestions : public Questions {
 public:
  ~ScriptedQuestions() override {
    for (const Expected& left : expected_) ADD_FAILURE() << "never asked: " << left.title;
  }

  /// The next question has this title; the answer is the button of this name, or the path for a chooser (""
  /// cancels). `meanwhile` happens while the question stands.
  void expect(std::string title, std::string answer, std::function<void()> meanwhile = {}) {
    expected_.push_back({std::move(title), std::move(answer), std::move(meanwhile)});
  }

  /// Every question so far; for a chooser the text is the folder it starts in and there are no buttons.
  const std::vector<Question>& asked() const { return asked_; }
  bool allAsked() const { return expected_.empty(); }

  std::size_t ask(const Question& question) override {
    std::string answer = next(question);
    auto found = std::find(question.buttons.begin(), question.buttons.end(), answer);
    if (found == question.buttons.end()) {
      ADD_FAILURE() << "„" << question.title << "“ has no button „" << answer << "“";
      return question.buttons.size() - 1;
    }
    return static_cast<std::size_t>(found - question.buttons.begin());
  }
  std::optional<std::string> chooseFolder(const std::string& title, const std::string& start) override {
    return choose(title, start);
  }
  std::optional<std::string> chooseApplication(const std::string& title, const std::string& start) override {
    return choose(title, start);
  }

 private:
  struct Expected {
    std::string title;
    std::string answer;
    std::function<void()> meanwhile;
  };

  std::optional<std::string> choose(const std::string& title, const std::string& start) {
    std::string answer = next({title, start, {}});
    return answer.empty() ? std::nullopt : std::optional(answer);
  }

  std::string next(const Question& question) {
    asked_.push_back(question);
    if (expected_.empty()) {
      ADD_FAILURE() << "unexpected question: " << question.title << "\n" << question.text;
      return question.buttons.empty() ? "" : question.buttons.back();
    }
    Expected expected = expected_.front();
    expected_.pop_front();
    EXPECT_EQ(question.title, expected.title) << question.text;
    if (expected.meanwhile) expected.meanwhile();
    return expected.answer;
  }

  std::deque<Expected> expected_;
  std::vector<Question> asked_;
};

}  // namespace fernwahrung
