#include "InputLines.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <vector>

#include "Failure.h"
#include "FileDescriptor.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

constexpr std::size_t kLimit = 10;

class InputLinesTest : public testing::Test {
 protected:
  InputLines& read(const std::string& text) {
    const std::string path = m_directory.writeFile("input", text);
    m_file.emplace(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return m_lines.emplace(m_file->get(), m_stop, kLimit);
  }

  static std::string piecesOf(InputLines& lines) {
    std::string text;
    while (const auto piece = lines.piece()) {
      text += *piece;
    }
    return text;
  }

  test::TemporaryDirectory m_directory;
  std::optional<tools::FileDescriptor> m_file;
  std::atomic<int> m_stop{0};
  std::optional<InputLines> m_lines;
};

TEST_F(InputLinesTest, LinesHaveNumbersAndTheirBytes) {
  InputLines& lines = read(std::string("one\n\nt\0o\n", 9));
  const auto first = lines.next();
  EXPECT_EQ(1U, first->number);
  EXPECT_EQ("one", first->text);
  EXPECT_EQ("one\n", first->bytes);
  EXPECT_EQ("", lines.next()->text);
  EXPECT_EQ(4U, lines.nextNumber() + 1);
  EXPECT_EQ(std::string("t\0o", 3), lines.next()->text);
  EXPECT_FALSE(lines.next());
  EXPECT_TRUE(lines.isAtEnd());
}

TEST_F(InputLinesTest, LastLineWithoutALineFeedCounts) {
  InputLines& lines = read("one\ntwo");
  lines.next();
  const auto last = lines.next();
  EXPECT_EQ("two", last->text);
  EXPECT_EQ("two", last->bytes);
  EXPECT_FALSE(lines.next());
}

TEST_F(InputLinesTest, EmptyInputHasNoLine) {
  EXPECT_FALSE(read("").next());
  EXPECT_TRUE(m_lines->isAtEnd());
}

TEST_F(InputLinesTest, LineOfTheLimitIsRead) {
  EXPECT_EQ("0123456789", read("0123456789\n").next()->text);
  EXPECT_EQ("0123456789", read("0123456789").next()->text);
}

TEST_F(InputLinesTest, LineBeyondTheLimitIsReturnedInPieces) {
  for (const std::size_t size : {std::size_t{11}, std::size_t{300000}}) {
    const std::string line = std::string(size, 'x') + "\n";
    InputLines& lines = read(line + "next\n");
    const auto tooLong = lines.next();
    EXPECT_TRUE(tooLong->isTooLong);
    EXPECT_EQ("", tooLong->bytes);
    EXPECT_EQ(line, piecesOf(lines));
    const auto next = lines.next();
    EXPECT_EQ("next", next->text);
    EXPECT_EQ(2U, next->number);
  }
}

TEST_F(InputLinesTest, LineBeyondTheLimitIsSkippedUnlessItsPiecesAreTaken) {
  InputLines& lines = read(std::string(200000, 'x') + "\nnext");
  EXPECT_TRUE(lines.next()->isTooLong);
  EXPECT_EQ("next", lines.next()->text);
}

TEST_F(InputLinesTest, LongLastLineWithoutALineFeedEndsTheInput) {
  InputLines& lines = read(std::string(200000, 'x'));
  EXPECT_TRUE(lines.next()->isTooLong);
  EXPECT_EQ(200000U, piecesOf(lines).size());
  EXPECT_FALSE(lines.next());
  EXPECT_TRUE(lines.isAtEnd());
}

TEST_F(InputLinesTest, ShortLineHasNoPieces) {
  InputLines& lines = read("one\n");
  lines.next();
  EXPECT_FALSE(lines.piece());
}

TEST_F(InputLinesTest, RestIsEverythingThatWasNotReturned) {
  const std::string rest = "two\n\n" + std::string(200000, 'x');
  InputLines& lines = read("one\n" + rest);
  lines.next();
  m_stop = 2;
  std::string text;
  while (const auto piece = lines.rest()) {
    text += *piece;
  }
  EXPECT_EQ(rest, text);
}

TEST_F(InputLinesTest, StopEndsTheWaitForInput) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  const tools::FileDescriptor reader(ends[0]);
  const tools::FileDescriptor writer(ends[1]);
  ASSERT_TRUE(tools::writeWhole(writer.get(), "one\npart"));
  InputLines lines(reader.get(), m_stop, kLimit);
  EXPECT_EQ("one", lines.next()->text);
  m_stop = 2;
  EXPECT_FALSE(lines.next());
  EXPECT_FALSE(lines.isAtEnd());
  EXPECT_EQ(2U, lines.nextNumber());
  m_stop = 0;
  ASSERT_TRUE(tools::writeWhole(writer.get(), "ial\n"));
  EXPECT_EQ("partial", lines.next()->text);
}

TEST_F(InputLinesTest, InputThatCannotBeReadIsReported) {
  const tools::FileDescriptor directory(open("/", O_RDONLY | O_CLOEXEC));
  InputLines lines(directory.get(), m_stop, kLimit);
  try {
    lines.next();
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(Status::systemError, failure.status());
    EXPECT_STREQ("cannot read standard input: Is a directory", failure.what());
  }
}

}  // namespace
}  // namespace velmo::cli
