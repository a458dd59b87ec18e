// The few facts of the machine that Foundation itself needs. Declared here and defined in Platform/Host.cpp,
// so that Foundation includes nothing above it.
#pragma once

#include "Foundation/FileDescriptor.h"

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace fernwahrung::Host {

/// The home folder of the current user as the system reports it.
std::string homeDirectory();

/// Test hook: another home folder; empty for the real one again.
void setHomeDirectoryForTesting(std::string directory);

/// Makes one folder (0777 less the umask) and flushes the folder around it, so that a power cut can't take
/// the new one away from under what is then made in it. 0 or the errno of the making.
int makeDirectory(const std::string& path);

/// A pipe whose ends no other child inherits: {read end, write end}. Throws SystemError.
std::pair<FileDescriptor, FileDescriptor> makePipe();

/// Starts `program` with `arguments` (the program's name is put in front) in a process group of its own, with
/// default signal handling, LC_ALL=C in its environment, and no descriptor but these three. Returns the
/// process's id, or throws SystemError with the code of the failed start.
pid_t spawn(const std::string& program, const std::vector<std::string>& arguments, int standardInput,
            int standardOutput, int standardError);

}  // namespace fernwahrung::Host
