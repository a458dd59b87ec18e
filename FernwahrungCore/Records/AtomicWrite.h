// How every small file of the program reaches the disk.
#pragma once

#include <string>
#include <string_view>

namespace fernwahrung::FileOps {

/// A reader, and a crash at any instant, sees the old file or the whole new one: a temporary file beside the
/// target (".{name}.{UUID}.tmp") is written and flushed to the disk, then renamed over it, then the folder is
/// flushed. With `keepBackup` the old content stays as "{path}.bak", a hard link that costs no copy; a failed
/// backup does not stop the write. Throws FernwahrungError "Datei kann nicht geschrieben werden: {path}" or
/// "Datei kann nicht gespeichert werden: {path}", or SystemError; a temporary file may then stay behind. An
/// error means that the old content is still in place: once the rename has succeeded nothing throws.
void atomicWrite(std::string_view data, const std::string& path, bool keepBackup);

/// The whole plain file as bytes; links are followed. Throws SystemError, also for anything that is no plain
/// file, as a pipe, which would block.
std::string readFile(const std::string& path);

}  // namespace fernwahrung::FileOps
