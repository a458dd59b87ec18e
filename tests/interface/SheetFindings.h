// Results of checks as users meet them, for the sheets' tests and pictures.
#pragma once

#include "Engine/Preflight.h"

namespace fernwahrung::SheetFindings {

inline PreflightResult measured(std::int64_t bytes = 34'560'000'000, std::int64_t files = 48'213) {
  PreflightResult result;
  result.size.bytes = bytes;
  result.size.allocatedBytes = bytes;
  result.size.files = files;
  return result;
}

inline ProcessDescription process(std::int32_t pid, const std::string& name, const std::string& technicalName,
                                  ProcessDescription::Kind kind) {
  ProcessDescription process;
  process.pid = pid;
  process.uid = 501;
  process.displayName = name;
  process.technicalName = technicalName;
  process.kind = kind;
  process.executablePath = "/Applications/" + name + ".app/Contents/MacOS/" + name;
  process.origin = ProcessDescription::Origin::installedApp;
  process.openFileCount = 1;
  process.exampleFiles = {"…/Main Profile/Outlook.sqlite"};
  return process;
}

/// An application that may be ended.
inline ProcessDescription terminable() {
  return process(812, "Microsoft Outlook", "com.microsoft.Outlook", ProcessDescription::Kind::app());
}

/// A service that the system started.
inline ProcessDescription systemService() {
  ProcessDescription service = process(977, "Spotlight-Importer", "com.microsoft.Outlook.Spotlight",
                                       ProcessDescription::Kind::service("Microsoft Outlook"));
  service.isBackgroundService = true;
  service.openFileCount = 3;
  return service;
}

/// A process of another user.
inline ProcessDescription forbidden() {
  ProcessDescription other = process(88, "backupd", "com.apple.backupd", ProcessDescription::Kind::program());
  other.origin = ProcessDescription::Origin::macOS;
  other.executablePath = "/System/Library/CoreServices/backupd.bundle/Contents/Resources/backupd";
  other.termination =
      ProcessDescription::Termination::forbidden("Gehört einem anderen Benutzer (z. B. dem System)");
  return other;
}

/// With these processes in the way, and nothing measured.
inline PreflightResult heldBy(std::vector<ProcessDescription> processes) {
  PreflightResult result;
  for (const ProcessDescription& process : processes) {
    result.blockers.push_back(ProcessDescriber::message(process));
  }
  result.processes = std::move(processes);
  return result;
}

}  // namespace fernwahrung::SheetFindings
