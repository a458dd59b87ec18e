#pragma once

#include <string>

namespace fernwahrung {

struct NastyTreeOptions {
  int depth = 60;          // levels of the deep folder
  int manyFiles = 40;      // small files in one folder
  bool attributes = true;  // extended attributes; left out by itself where the file system has none
  bool bigFile = true;     // one of 3 MiB and a bit, larger than any buffer
};

/// Fills the folder (made if need be) with all that makes copying hard and is still legal on a Mac: names
/// with umlauts in both normal forms, blanks, line breaks, backslashes and of 255 bytes; links absolute,
/// relative, dangling and to themselves; hard links, in one folder and across folders; a sparse file;
/// attributes on files and folders; empty folders and files; modes 0400 to 0755 with set-id and sticky bits;
/// ".DS_Store" at two depths; a deep folder; file times with nanoseconds. The same each time. No two names
/// are equal when case or normal form is ignored.
void makeNastyTree(const std::string& folder, const NastyTreeOptions& options = {});

}  // namespace fernwahrung
