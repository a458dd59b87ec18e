#include "Measure.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fernwahrung::Bench {
namespace {

double secondsOf(const std::function<void()>& action) {
  const auto begin = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

}  // namespace

bool hold(const Contest& contest) {
  std::vector<double> ours;
  std::vector<double> theirs;
  contest.prepare();
  contest.ours();
  contest.prepare();
  contest.theirs();
  for (int round = 0; round < contest.rounds; ++round) {
    contest.prepare();
    ours.push_back(secondsOf(contest.ours));
    contest.prepare();
    theirs.push_back(secondsOf(contest.theirs));
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
