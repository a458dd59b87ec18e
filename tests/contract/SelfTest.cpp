// The self-test: asks this machine for each promise that Fernwahrung relies on, and writes down what it
// answered.
//
//   fernwahrung-selftest [report file]      "fernwahrung-selftest.txt" in the present folder unless told
//
// Everything happens in a temporary folder that goes at the end. The exit status is 0 when no promise was
// broken.
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Platform/Volume.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <sys/utsname.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

/// "ALockedFolderCanNotBeRemoved" as people write it.
std::string sentence(std::string_view name) {
  std::string text;
  for (const char c : name) {
    const bool begins = std::isupper(static_cast<unsigned char>(c)) && !text.empty();
    if (begins) text += ' ';
    text += begins ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : c;
  }
  return text;
}

std::string indented(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  std::string result = "                 ";
  for (const char c : text) result += c == '\n' ? "\n                 " : std::string(1, c);
  return result;
}

/// Writes a line per promise, on the screen and into the report.
class Report : public testing::EmptyTestEventListener {
 public:
  explicit Report(const std::string& path) : file_(path) {}

  bool isOpen() const { return file_.is_open(); }

  void write(const std::string& line) {
    file_ << line << std::endl;
    std::cout << line << std::endl;
  }

  void writeMachine(const std::string& folder) {
    utsname machine{};
    ::uname(&machine);
    char now[32] = "";
    const std::time_t seconds = std::time(nullptr);
    std::tm parts{};
    std::strftime(now, sizeof now, "%Y-%m-%d %H:%M:%S UTC", ::gmtime_r(&seconds, &parts));
    write(std::string("Fernwahrung self-test, ") + now);
    write(std::string("Machine: ") + machine.sysname + " " + machine.release + ", " + machine.machine +
          (::geteuid() == 0 ? ", as root" : ", as an ordinary user"));
    const auto facts = Platform::volumeFacts(folder);
    writeFile(folder + "/case", "");
    write("Folder:  " + folder + " (" + (facts ? facts->type : "unknown file system") +
          (exists(folder + "/CASE") ? ", does not tell capitals from small letters)"
                                    : ", tells capitals apart)"));
    removeEverything(folder + "/case");
    write("");
  }

  void OnTestSuiteStart(const testing::TestSuite& suite) override { write(sentence(suite.name())); }
  void OnTestSuiteEnd(const testing::TestSuite& /*suite*/) override { write(""); }

  void OnTestPartResult(const testing::TestPartResult& part) override {
    if (part.passed()) return;
    const std::string place = part.file_name() ? part.file_name() : "";
    const std::string where =
        place.empty() ? ""
                      : place.substr(place.rfind('/') + 1) + ":" + std::to_string(part.line_number()) + ": ";
    details_ += indented(part.skipped() ? part.message() : where + part.message()) + "\n";
  }

  void OnTestEnd(const testing::TestInfo& test) override {
    const testing::TestResult& result = *test.result();
    const char* verdict = result.Skipped() ? "not permitted" : result.Passed() ? "pass" : "FAIL";
    std::string line = std::string("  ") + verdict;
    line.resize(17, ' ');
    write(line + sentence(test.name()));
    if (!details_.empty()) write(details_.substr(0, details_.size() - 1));
    details_.clear();
  }

  void OnTestProgramEnd(const testing::UnitTest& tests) override {
    write(std::to_string(tests.successful_test_count()) + " kept, " +
          std::to_string(tests.failed_test_count()) + " broken, " +
          std::to_string(tests.skipped_test_count()) + " not permitted here");
  }

 private:
  std::ofstream file_;
  std::string details_;
};

int runWithReport(const std::string& path, const std::string& folder) {
  auto* report = new Report(path);
  auto& listeners = testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  listeners.Append(report);  // who owns it from here on
  if (!report->isOpen()) {
    std::cerr << "The report can't be written: " << path << std::endl;
    return 2;
  }
  report->writeMachine(folder);
  const int status = RUN_ALL_TESTS();
  std::cout << "\nThis report lies in " << path << std::endl;
  return status;
}

bool asksForGoogleTestItself(int argc, char** argv) {
  return std::any_of(argv + 1, argv + argc,
                     [](const char* argument) { return std::string_view(argument).starts_with("--gtest_"); });
}

}  // namespace
}  // namespace fernwahrung

int main(int argc, char** argv) {
  // What one case at a time is started with, by the check of the project.
  const bool plain = fernwahrung::asksForGoogleTestItself(argc, argv);
  testing::InitGoogleTest(&argc, argv);
  const fernwahrung::TempHome home;
  if (plain) return RUN_ALL_TESTS();
  return fernwahrung::runWithReport(argc > 1 ? argv[1] : "fernwahrung-selftest.txt", home.path());
}
