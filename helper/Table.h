#pragma once

#include <string>
#include <vector>

namespace fernwahrung {

/// A table for people. Whatever a cell holds, it stays on its line: control characters are shown escaped.
class Table {
 public:
  explicit Table(const std::vector<std::string>& titles);

  void row(const std::vector<std::string>& cells);
  /// A line of its own below the last row, set in.
  void note(const std::string& text);

  /// Ends with a line feed.
  std::string text() const;

 private:
  struct Line {
    std::vector<std::string> cells;  // one cell: a note
    bool isNote = false;
  };
  std::vector<Line> lines_;
};

}  // namespace fernwahrung
