// Timing one action against a reference in the same run.
#pragma once

#include <functional>
#include <string>

namespace fernwahrung::Bench {

struct Contest {
  std::string name;       // what is measured, for the table
  std::string reference;  // the other program, for the table
  std::function<void()> ours;
  std::function<void()> theirs;
  std::function<void()> prepare = [] {};  // before each single run, not timed
  double limit;                           // ours may take this many times the reference's time
  int rounds = 5;
};

/// Runs both in turn as often as asked for, after one round that is not counted, and prints the medians,
/// their ratio and the limit. True when the ratio keeps to the limit.
bool hold(const Contest& contest);

/// Runs a shell command that must succeed, or end with 1 where `mayDiffer` (as diff does).
void shell(const std::string& command, bool mayDiffer = false);
/// In single quotes for the shell.
std::string quoted(const std::string& text);

/// Empties the page cache, so that the next reading comes from the disk. Only root may.
void dropCaches();

}  // namespace fernwahrung::Bench
