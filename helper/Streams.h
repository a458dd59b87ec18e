#pragma once

#include <functional>
#include <iosfwd>

namespace fernwahrung {

/// Where the helper reads and writes, and what it may expect at the other end.
struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool inputIsTerminal = false;
  bool errorIsTerminal = false;
  /// The columns of the terminal behind `err`. Asked for each line, since a window can be resized.
  std::function<int()> errorColumns = [] { return 80; };
};

}  // namespace fernwahrung
