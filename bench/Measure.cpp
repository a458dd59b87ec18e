#include "Measure.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace fernwahrung::Bench {
namespace {

constexpr std::size_t rounds = 5;

double secondsOf(const std::function<void()>& action) {
  const auto begin = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::array<double, rounds> times) {
  std::sort(times.begin(), times.end());
  return times[rounds / 2];
}

}  // namespace

bool hold(const Contest& contest) {
  std::array<double, rounds> ours{};
  std::array<double, rounds> theirs{};
  contest.prepare();
  contest.ours();
  contest.prepare();
  contest.theirs();
  for (std::size_t round = 0; round < rounds; ++round) {
    contest.prepare();
    ours[round] = secondsOf(contest.ours);
    contest.prepare();
    theirs[round] = secondsOf(contest.theirs);
  }
  const double ratio = median(ours) / median(theirs);
  const bool isKept = ratio <= contest.limit;
  fmt::print("{:<44} {:8.3f} s   {:<32} {:8.3f} s   ratio {:.2f} (limit {:.2f}) {}\n", contest.name,
             median(ours), contest.reference, median(theirs), ratio, contest.limit,
             isKept ? "kept" : "MISSED");
  std::fflush(stdout);
  return isKept;
}

void shell(const std::string& command, bool mayDiffer) {
  const int status = std::system(command.c_str());
  const bool isGood =
      WIFEXITED(status) && (WEXITSTATUS(status) == 0 || (mayDiffer && WEXITSTATUS(status) == 1));
  if (!isGood) throw std::runtime_error("failed: " + command);
}

std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char character : text)
    result += character == '\'' ? std::string("'\\''") : std::string(1, character);
  return result + "'";
}

void dropCaches() {
  ::sync();
  std::ofstream file("/proc/sys/vm/drop_caches");
  file << "3" << std::flush;
  if (!file) throw std::runtime_error("the page cache can't be emptied: only root may, and only on Linux");
}

}  // namespace fernwahrung::Bench
