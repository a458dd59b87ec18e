#include "support/Files.h"
#include "support/TempFolder.h"

#include "Foundation/Errors.h"
#include "Storage/PairReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fernwahrung {
namespace {

constexpr std::size_t piece = PairReader::pieceSize;

/// With both hands and with one.
class PairReaderTest : public testing::TestWithParam<bool> {
 protected:
  void write(const std::string& source, const std::string& copy) {
    writeFile(folder_ / "source", source);
    writeFile(folder_ / "copy", copy);
  }

  /// What one piece after the other says: "=" for an equal one, "#" for one that differs, "." at the end.
  std::string course() {
    const Directory folder(folder_.path());
    const FileName source{folder, "source"};
    const FileName copy{folder, "copy"};
    const FileDescriptor sourceFile = openFile(source);
    const FileDescriptor copyFile = openFile(copy);
    reader_.begin({source, sourceFile}, {copy, copyFile}, GetParam());
    std::string text;
    do {
      if (!reader_.nextIsEqual()) return text + "#";
      text += "=";
    } while (!reader_.reachedEnd());
    return text + ".";
  }

  TempFolder folder_;
  PairReader reader_;
};

TEST_P(PairReaderTest, EqualFilesAreEqualToTheEnd) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, piece - 1, piece + 1, 2 * piece + 5}) {
    const std::string bytes(size, 'x');
    write(bytes, bytes);
    EXPECT_EQ(course(), std::string(size / piece + 1, '=') + ".") << size;
  }
}

TEST_P(PairReaderTest, ADifferenceShowsInItsPiece) {
  std::string bytes(2 * piece + 5, 'x');
  const std::string same = bytes;
  for (const std::size_t place : {std::size_t{0}, piece - 1, piece, 2 * piece + 4}) {
    bytes[place] = 'y';
    write(same, bytes);
    EXPECT_EQ(course(), std::string(place / piece, '=') + "#") << place;
    bytes[place] = 'x';
  }
}

TEST_P(PairReaderTest, ALongerFileIsAnotherOne) {
  write("12345", "123456");
  EXPECT_EQ(course(), "#");
  write(std::string(piece + 1, 'x'), std::string(piece, 'x'));
  EXPECT_EQ(course(), "=#");
}

TEST_P(PairReaderTest, AFileThatCanNotBeReadIsNamed) {
  write("1", "1");
  const Directory folder(folder_.path());
  const FileName source{folder, "source"};
  const FileName copy{folder, "copy"};
  const FileDescriptor readable = openFile(source);
  const FileDescriptor writeOnly(::open((folder_ / "copy").c_str(), O_WRONLY | O_CLOEXEC));
  const auto errorOf = [&](const PairReader::File& first, const PairReader::File& second) {
    reader_.begin(first, second, GetParam());
    try {
      reader_.nextIsEqual();
    } catch (const FernwahrungError& error) {
      return std::string(error.what());
    }
    return std::string("nothing was thrown");
  };
  EXPECT_EQ(errorOf({source, readable}, {copy, writeOnly}),
            "Lesefehler: " + (folder_ / "copy") + " (Bad file descriptor)");
  EXPECT_EQ(errorOf({copy, writeOnly}, {source, readable}),
            "Lesefehler: " + (folder_ / "copy") + " (Bad file descriptor)");
}

INSTANTIATE_TEST_SUITE_P(Hands, PairReaderTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "Two" : "One"; });

TEST(OpenFileTest, ALinkIsNoFile) {
  const TempFolder folder;
  writeFile(folder / "file", "1");
  ASSERT_EQ(::symlink("file", (folder / "link").c_str()), 0);
  const Directory directory(folder.path());
  EXPECT_TRUE(tryOpenFile({directory, "file"}));
  EXPECT_FALSE(tryOpenFile({directory, "link"}));
  EXPECT_THROW(openFile({directory, "link"}), FernwahrungError);
}

}  // namespace
}  // namespace fernwahrung
