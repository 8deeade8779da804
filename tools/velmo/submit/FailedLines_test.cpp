#include "FailedLines.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "Failure.h"
#include "SizeLimit.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

constexpr std::size_t kLimit = 20;

class FailedLinesTest : public testing::Test {
 protected:
  // Opens the input, and reads its first line.
  const InputLine& read(const std::string& text) {
    m_input.emplace(open(m_directory.writeFile("input", text).c_str(), O_RDONLY | O_CLOEXEC));
    m_lines.emplace(m_input->get(), m_stop, kLimit);
    return next();
  }

  const InputLine& next() {
    m_line = *m_lines->next();
    return m_line;
  }

  std::string file() const {
    return test::readFile(m_path);
  }
  std::string inDoubtFile() const {
    return test::readFile(m_path + ".in-doubt");
  }

  std::string refusal() const {
    try {
      const FailedLines failed(m_path, m_input ? m_input->get() : STDIN_FILENO);
    } catch (const Failure& failure) {
      EXPECT_EQ(Status::invalidArgument, failure.status());
      return failure.what();
    }
    return "";
  }

  test::TemporaryDirectory m_directory;
  std::string m_path = m_directory.path("failed");
  std::atomic<int> m_stop{0};
  std::optional<tools::FileDescriptor> m_input;
  std::optional<InputLines> m_lines;
  InputLine m_line{};
};

TEST_F(FailedLinesTest, LinesAreKeptByteForByte) {
  const std::string text("a\0\xff b\r\nlast", 11);
  FailedLines failed(m_path, STDIN_FILENO);
  failed.keepFailed(read(text), *m_lines);
  failed.keepFailed(next(), *m_lines);
  EXPECT_EQ(text, file());
  EXPECT_EQ(m_path, failed.failedPath());
  EXPECT_EQ("", failed.inDoubtPath());
}

TEST_F(FailedLinesTest, LineInDoubtGoesToAnotherFile) {
  FailedLines failed(m_path, STDIN_FILENO);
  EXPECT_FALSE(test::exists(m_path + ".in-doubt"));
  failed.keepInDoubt(read("one\n"), *m_lines);
  EXPECT_EQ("one\n", inDoubtFile());
  EXPECT_EQ("", file());
  EXPECT_EQ("", failed.failedPath());
  EXPECT_EQ(m_path + ".in-doubt", failed.inDoubtPath());
}

TEST_F(FailedLinesTest, LineThatIsTooLongIsKeptWhole) {
  const std::string line = std::string(500000, 'x') + "\n";
  FailedLines failed(m_path, STDIN_FILENO);
  failed.keepFailed(read(line + "next\n"), *m_lines);
  EXPECT_EQ(line, file());
}

TEST_F(FailedLinesTest, RestOfTheInputIsKept) {
  FailedLines failed(m_path, STDIN_FILENO);
  read("one\ntwo\n\nthree");
  failed.keepRest(*m_lines);
  EXPECT_EQ("two\n\nthree", file());
}

TEST_F(FailedLinesTest, FileThatStaysEmptyIsRemoved) {
  { const FailedLines failed(m_path, STDIN_FILENO); }
  EXPECT_FALSE(test::exists(m_path));
}

TEST_F(FailedLinesTest, OnlyTheOwnerCanReadTheFile) {
  const FailedLines failed(m_path, STDIN_FILENO);
  struct stat status {};
  ASSERT_EQ(0, stat(m_path.c_str(), &status));
  EXPECT_EQ(0600U, status.st_mode & 0777U);
}

TEST_F(FailedLinesTest, FileThatExistsIsRefusedAndUnchanged) {
  test::writeFile(m_path, "precious");
  EXPECT_EQ("\"" + m_path + "\" exists already; move it away, or name another file", refusal());
  EXPECT_EQ("precious", file());
}

TEST_F(FailedLinesTest, FileThatCannotBeCreatedIsReported) {
  m_path = m_directory.path("missing/failed");
  try {
    const FailedLines failed(m_path, STDIN_FILENO);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(Status::systemError, failure.status());
    EXPECT_EQ("cannot create \"" + m_path + "\": No such file or directory",
              std::string(failure.what()));
  }
}

TEST_F(FailedLinesTest, FileOfLinesInDoubtThatExistsIsRefused) {
  test::writeFile(m_path + ".in-doubt", "precious");
  EXPECT_EQ("\"" + m_path +
                ".in-doubt\" exists already; move it away once you know whether its lines are "
                "queued",
            refusal());
  EXPECT_FALSE(test::exists(m_path));
}

TEST_F(FailedLinesTest, InputItselfIsRefusedAndUnchanged) {
  read("one\ntwo\n");
  m_path = m_directory.path("input");
  EXPECT_EQ("\"" + m_path + "\" is the file that the lines come from", refusal());
  EXPECT_EQ("one\ntwo\n", file());
}

TEST_F(FailedLinesTest, FullDiskLeavesWholeLines) {
  signal(SIGXFSZ, SIG_IGN);
  FailedLines failed(m_path, STDIN_FILENO);
  failed.keepFailed(read("one\ntwo\n"), *m_lines);
  const test::SizeLimit limit(6);
  try {
    failed.keepFailed(next(), *m_lines);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(Status::systemError, failure.status());
    EXPECT_EQ("cannot write \"" + m_path + "\": File too large", std::string(failure.what()));
  }
  EXPECT_EQ("one\n", file());
}

TEST_F(FailedLinesTest, FullDiskLeavesNoPieceOfALongLine) {
  signal(SIGXFSZ, SIG_IGN);
  FailedLines failed(m_path, STDIN_FILENO);
  failed.keepFailed(read("one\n" + std::string(300000, 'x')), *m_lines);
  const InputLine& line = next();
  const test::SizeLimit limit(200000);
  EXPECT_THROW(failed.keepFailed(line, *m_lines), Failure);
  EXPECT_EQ("one\n", file());
}

TEST_F(FailedLinesTest, DeviceIsWrittenToAndNotRemoved) {
  FailedLines failed("/dev/full", STDIN_FILENO);
  const InputLine& line = read("one\n");
  EXPECT_THROW(failed.keepFailed(line, *m_lines), Failure);
}

}  // namespace
}  // namespace velmo::cli
