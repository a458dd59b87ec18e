#include "FernwahrungApp/Model/CheckFindings.h"

#include "Foundation/ByteFormat.h"

#include <algorithm>
#include <fmt/format.h>

namespace fernwahrung::CheckFindings {

std::vector<std::string> otherBlockers(const PreflightResult& result) {
  std::vector<std::string> processes;
  for (const ProcessDescription& process : result.processes) {
    processes.push_back(ProcessDescriber::message(process));
  }
  std::vector<std::string> others;
  std::copy_if(result.blockers.begin(), result.blockers.end(), std::back_inserter(others),
               [&](const std::string& blocker) {
                 return std::find(processes.begin(), processes.end(), blocker) == processes.end();
               });
  return others;
}

bool hasSystemService(const PreflightResult& result) {
  return std::any_of(result.processes.begin(), result.processes.end(),
                     [](const ProcessDescription& process) { return process.isBackgroundService; });
}

std::string sizeText(const PreflightResult& result) {
  // An empty folder that was measured has nothing against it; one that was not measured has.
  if (result.size == TreeSize() && !result.blockers.empty()) return {};
  return fmt::format("{} Dateien, {}", result.size.files, ByteFormat::string(result.size.bytes));
}

}  // namespace fernwahrung::CheckFindings
