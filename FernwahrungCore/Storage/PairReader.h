// The bytes of two files, read side by side.
#pragma once

#include "Foundation/FileDescriptor.h"
#include "Platform/Directory.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace fernwahrung {

/// A file of one folder, named by its place there; the full path is put together only for a message.
struct FileName {
  const Directory& folder;
  const char* name;

  std::string path() const;
};

/// Not followed: a link that has taken the file's place since it was looked at is an error, not another file.
/// No descriptor, and errno, when it can't be opened.
FileDescriptor tryOpenFile(const FileName& file);
/// The same; throws FernwahrungError "Datei kann nicht geöffnet werden: {path} ({reason})".
FileDescriptor openFile(const FileName& file);

/// Compares two files piece by piece through two buffers of its own, which serve one pair after the other.
class PairReader {
 public:
  /// Bytes.
  static constexpr std::size_t pieceSize = 1048576;

  PairReader();
  ~PairReader();
  PairReader(const PairReader&) = delete;
  PairReader& operator=(const PairReader&) = delete;

  struct File {
    FileName name;
    const FileDescriptor& descriptor;
  };
  /// Turns to another pair; both files must outlive the reading. `atOnce`: both are read at the same time, so
  /// that neither drive waits for the other; worth it for what is larger than a piece.
  void begin(const File& source, const File& copy, bool atOnce);
  /// The next piece is as long on both sides and holds the same bytes. Throws FernwahrungError
  /// "Lesefehler: {path} ({reason})".
  bool nextIsEqual();
  /// The piece was the last on both sides.
  bool reachedEnd() const;

 private:
  class Buffer;
  class SecondHand;

  void readAtOnce();

  const std::unique_ptr<Buffer> sourceBuffer_;
  const std::unique_ptr<Buffer> copyBuffer_;
  std::unique_ptr<SecondHand> secondHand_;  // from the first pair on that is read at once
  std::optional<File> source_;
  std::optional<File> copy_;
  bool atOnce_ = false;
};

}  // namespace fernwahrung
