#include "LinePieces.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "TemporaryDirectory.h"

namespace {

using velmo::client::Descriptor;
using velmo::client::LinePieces;
using velmo::client::Opened;
using velmo::client::openRegularFile;
using velmo::test::TemporaryDirectory;

std::vector<std::string> pieces(const std::string& path, std::size_t size) {
  const Opened file = openRegularFile(path);
  EXPECT_TRUE(file.descriptor.isOpen());
  LinePieces lines(file.descriptor, size);
  std::vector<std::string> result;
  while (const char* piece = lines.next()) {
    result.emplace_back(piece);
  }
  EXPECT_EQ(0, lines.error());
  return result;
}

// The platform's fgets reads the same.
std::vector<std::string> piecesOfThePlatform(const std::string& path, int size) {
  std::vector<std::string> result;
  std::vector<char> buffer(static_cast<std::size_t>(size));
  FILE* file = std::fopen(path.c_str(), "rb");
  while (std::fgets(buffer.data(), size, file) != nullptr) {
    result.emplace_back(buffer.data());
  }
  std::fclose(file);
  return result;
}

TEST(LinePiecesTest, LinesKeepTheirLineFeeds) {
  const TemporaryDirectory directory;
  EXPECT_EQ((std::vector<std::string>{"a\n", "\n", "bc"}),
            pieces(directory.writeFile("f", "a\n\nbc"), 100));
  EXPECT_TRUE(pieces(directory.writeFile("f", ""), 100).empty());
}

TEST(LinePiecesTest, LongLineArrivesInPieces) {
  const TemporaryDirectory directory;
  EXPECT_EQ((std::vector<std::string>{"abc", "def", "\n", "gh\n"}),
            pieces(directory.writeFile("f", "abcdef\ngh\n"), 4));
}

TEST(LinePiecesTest, PieceEndsAtANulForItsReader) {
  const TemporaryDirectory directory;
  EXPECT_EQ((std::vector<std::string>{"a", "c\n"}),
            pieces(directory.writeFile("f", std::string("a\0b\nc\n", 6)), 100));
}

TEST(LinePiecesTest, ReadsEveryFileAsFgetsDoes) {
  const TemporaryDirectory directory;
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same files in every run
  for (int round = 0; round < 300; ++round) {
    std::string contents(random() % 60, '\0');
    for (char& character : contents) {
      character = "ab\n\0"[random() % 4];
    }
    const std::string path = directory.writeFile("f", contents);
    const int size = static_cast<int>(2 + random() % 9);
    ASSERT_EQ(piecesOfThePlatform(path, size), pieces(path, static_cast<std::size_t>(size)))
        << contents;
  }
}

TEST(LinePiecesTest, ReadThatFailsIsReported) {
  const Descriptor directory(open("/", O_RDONLY | O_CLOEXEC));
  LinePieces lines(directory, 100);
  EXPECT_EQ(nullptr, lines.next());
  EXPECT_EQ(EISDIR, lines.error());
  EXPECT_EQ(nullptr, lines.next());
}

// --- openRegularFile ---

TEST(OpenRegularFileTest, MissingFileIsEnoent) {
  const TemporaryDirectory directory;
  EXPECT_EQ(ENOENT, openRegularFile(directory.path("f")).error);
}

TEST(OpenRegularFileTest, OtherFilesAreNotOpenedAndNotWaitedFor) {
  const TemporaryDirectory directory;
  ASSERT_EQ(0, mkfifo(directory.path("pipe").c_str(), 0600));
  for (const std::string& path :
       {directory.path("pipe"), directory.makeDirectory("d"), std::string("/dev/null")}) {
    const Opened file = openRegularFile(path);
    EXPECT_FALSE(file.descriptor.isOpen()) << path;
    EXPECT_EQ(0, file.error) << path;
  }
}

TEST(OpenRegularFileTest, DescriptorIsClosedOnExec) {
  const TemporaryDirectory directory;
  const Opened file = openRegularFile(directory.writeFile("f", ""));
  EXPECT_EQ(FD_CLOEXEC, fcntl(file.descriptor.get(), F_GETFD));
}

}  // namespace
