#include "helper/Table.h"

#include "helper/TextColumns.h"

#include "Foundation/Text.h"

#include <algorithm>

namespace fernwahrung {

Table::Table(const std::vector<std::string>& titles) {
  row(titles);
}

void Table::row(const std::vector<std::string>& cells) {
  Line line;
  for (const std::string& cell : cells) line.cells.push_back(visible(cell));
  lines_.push_back(std::move(line));
}

void Table::note(const std::string& text) {
  lines_.push_back({{visible(text)}, true});
}

std::string Table::text() const {
  std::vector<int> widths;
  for (const Line& line : lines_) {
    if (line.isNote) continue;
    widths.resize(std::max(widths.size(), line.cells.size()));
    for (std::size_t i = 0; i < line.cells.size(); ++i)
      widths[i] = std::max(widths[i], columns(line.cells[i]));
  }
  std::string result;
  for (const Line& line : lines_) {
    if (line.isNote) {
      result += "     " + line.cells.front() + "\n";
      continue;
    }
    // The last cell is not filled up: no blanks at the end of a line.
    std::vector<std::string> cells = line.cells;
    for (std::size_t i = 0; i + 1 < cells.size(); ++i) cells[i] = padded(cells[i], widths[i]);
    result += Text::join(cells, "  ") + "\n";
  }
  return result;
}

}  // namespace fernwahrung
