#include "Storage/PairReader.h"

#include "Foundation/Errors.h"
#include "Foundation/PathString.h"
#include "Storage/ReadRetry.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace fernwahrung {

std::string FileName::path() const {
  return PathString::join(folder.path(), name);
}

FileDescriptor tryOpenFile(const FileName& file) {
  return FileDescriptor(ReadRetry::openRetrying(
      [&] { return ::openat(file.folder.descriptor(), file.name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC); }));
}

FileDescriptor openFile(const FileName& file) {
  FileDescriptor fd = tryOpenFile(file);
  if (!fd) {
    throw FernwahrungError::message(
        fmt::format("Datei kann nicht geöffnet werden: {} ({})", file.path(), errnoText(errno)));
  }
  return fd;
}

/// The bytes of one side, and what the last reading left in it.
class PairReader::Buffer {
 public:
  /// Throws nothing: it may run on another thread. requireSuccess tells of a failure.
  void read(const FileDescriptor& file) {
    filled_ = ReadRetry::readFully(
        [&](std::size_t offset, std::size_t length) {
          return ::read(file.get(), buffer_.get() + offset, length);
        },
        pieceSize);
    error_ = errno;
  }

  void requireSuccess(const FileName& file) const {
    // Nothing at all, not even the end, after all retries: that proves nothing.
    if (!filled_ || (filled_->count == 0 && !filled_->reachedEnd)) {
      throw FernwahrungError::message(fmt::format("Lesefehler: {} ({})", file.path(), errnoText(error_)));
    }
  }

  bool reachedEnd() const { return filled_->reachedEnd; }
  bool holdsSameAs(const Buffer& other) const {
    return filled_->count == other.filled_->count &&
           std::memcmp(buffer_.get(), other.buffer_.get(), filled_->count) == 0;
  }

 private:
  const std::unique_ptr<std::byte[]> buffer_{new std::byte[pieceSize]};
  std::optional<ReadRetry::Filled> filled_;
  int error_ = 0;
};

/// A second thread, which reads one side while the first reads the other. What it has not taken up when the
/// result is wanted, the first thread does itself, so that on a busy machine nobody waits for a thread that
/// gets no processor.
class PairReader::SecondHand {
 public:
  SecondHand() {
    try {
      thread_ = std::thread([this] { serve(); });
    } catch (const std::system_error&) {
      // One hand is enough: finish() does what nobody has taken up.
    }
  }
  ~SecondHand() {
    if (!thread_.joinable()) return;
    state_ = State::stopped;
    state_.notify_one();
    thread_.join();
  }
  SecondHand(const SecondHand&) = delete;
  SecondHand& operator=(const SecondHand&) = delete;

  void begin(Buffer& buffer, const FileDescriptor& file) {
    buffer_ = &buffer;
    file_ = &file;
    state_ = State::wanted;
    state_.notify_one();
  }

  void finish() {
    State expected = State::wanted;
    if (state_.compare_exchange_strong(expected, State::idle)) {
      buffer_->read(*file_);
      return;
    }
    for (State state = state_; state != State::done; state = state_) state_.wait(state);
  }

 private:
  enum class State : int { idle, wanted, running, done, stopped };

  void serve() {
    for (State state = state_; state != State::stopped; state = state_) {
      State expected = State::wanted;
      if (state_.compare_exchange_strong(expected, State::running)) {
        buffer_->read(*file_);
        state_ = State::done;
        state_.notify_one();
      } else if (expected != State::stopped) {
        state_.wait(expected);
      }
    }
  }

  std::atomic<State> state_ = State::idle;
  Buffer* buffer_ = nullptr;
  const FileDescriptor* file_ = nullptr;
  std::thread thread_;
};

PairReader::PairReader()
    : sourceBuffer_(std::make_unique<Buffer>()), copyBuffer_(std::make_unique<Buffer>()) {
}

PairReader::~PairReader() = default;

void PairReader::begin(const File& source, const File& copy, bool atOnce) {
  source_.emplace(source);
  copy_.emplace(copy);
  atOnce_ = atOnce;
}

bool PairReader::nextIsEqual() {
  if (atOnce_) {
    readAtOnce();
  } else {
    sourceBuffer_->read(source_->descriptor);
    copyBuffer_->read(copy_->descriptor);
  }
  sourceBuffer_->requireSuccess(source_->name);
  copyBuffer_->requireSuccess(copy_->name);
  return sourceBuffer_->holdsSameAs(*copyBuffer_);
}

bool PairReader::reachedEnd() const {
  return sourceBuffer_->reachedEnd() && copyBuffer_->reachedEnd();
}

void PairReader::readAtOnce() {
  if (!secondHand_) secondHand_ = std::make_unique<SecondHand>();
  secondHand_->begin(*copyBuffer_, copy_->descriptor);
  sourceBuffer_->read(source_->descriptor);
  secondHand_->finish();
}

}  // namespace fernwahrung
