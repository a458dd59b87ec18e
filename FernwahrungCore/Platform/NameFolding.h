// Where two names that differ in case alone are one.
#pragma once

#include <optional>
#include <string>

namespace fernwahrung::Platform {

/// In this folder. Darwin: pathconf(2). Linux: never.
bool foldsNames(const std::string& folder);
/// On the file system that a new disk image gets.
bool imagesFoldNames();

/// Test hook: while set, the answer of both.
extern std::optional<bool> foldsNamesForTesting;

}  // namespace fernwahrung::Platform
