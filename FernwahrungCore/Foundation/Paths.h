// Where the program's private files lie. Every path is computed on each call, so that the environment
// variable "FERNWAHRUNG_HOME" is honoured wherever it was set; while it is set it holds all private files.
#pragma once

#include "Foundation/Dates.h"

#include <optional>
#include <string>

namespace fernwahrung::Paths {

/// The value of "FERNWAHRUNG_HOME" when it is set and not empty.
std::optional<std::string> homeOverride();

/// The user's home as the system reports it, never the variable "HOME".
std::string homeDirectory();

std::string supportDirectory();
std::string logFile();
std::string registryFile();
std::string lockFile();
std::string journalDirectory();
std::string finishedJournalDirectory();
std::string tempMountDirectory();

/// Creates the folder and those above it, each to outlast a power cut. One that exists is no error. Throws
/// SystemError.
void ensure(const std::string& directory);

/// "yyyyMMdd-HHmmss" in local time: the suffix of every kept file, so that names sort by time.
std::string timestamp(Date date);

}  // namespace fernwahrung::Paths
