#include "FailedLines.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>

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
  read(text);
  failed.keepFailed(m_line, *m_lines);
  failed.keepFailed(next(), *m_lines);
  EXPECT_EQ(text, file());
  EXPECT_EQ(m_path, failed.failedPath());
  EXPECT_EQ("", failed.inDoubtPath());
}

TEST_F(FailedLinesTest, LineInDoubtGoesToAnotherFile) {
  FailedLines failed(m_path, STDIN_FILENO);
  EXPECT_TRUE(test::exists(m_path + ".in-doubt"));
  EXPECT_EQ("", failed.inDoubtPath());
  read("one\n");
  failed.keepInDoubt(m_line, *m_lines);
  EXPECT_EQ("one\n", inDoubtFile());
  EXPECT_EQ("", file());
  EXPECT_EQ("", failed.failedPath());
  EXPECT_EQ(m_path + ".in-doubt", failed.inDoubtPath());
}

TEST_F(FailedLinesTest, LineThatIsTooLongIsKeptWhole) {
  const std::string line = std::string(500000, 'x') + "\n";
  FailedLines failed(m_path, STDIN_FILENO);
  read(line + "next\n");
  failed.keepFailed(m_line, *m_lines);
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
  read("one\ntwo\n");
  failed.keepFailed(m_line, *m_lines);
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
  read("one\n" + std::string(300000, 'x'));
  failed.keepFailed(m_line, *m_lines);
  const InputLine& line = next();
  const test::SizeLimit limit(200000);
  EXPECT_THROW(failed.keepFailed(line, *m_lines), Failure);
  EXPECT_EQ("one\n", file());
}

TEST_F(FailedLinesTest, RestIsWrittenInWholeLines) {
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  m_input.emplace(ends[0]);
  const std::string first = "one\nrm -rf /";
  ASSERT_EQ(static_cast<ssize_t>(first.size()), write(ends[1], first.data(), first.size()));
  m_lines.emplace(ends[0], m_stop, kLimit);
  m_stop = SIGINT;
  std::string before;
  m_lines->whenStopIsIgnored([&] {
    before = file();
    if (before == "one\n" && ends[1] >= 0) {  // waits for what follows "/"
      ASSERT_EQ(5, write(ends[1], "srv\nx", 5));
      close(ends[1]);
      ends[1] = -1;
    }
  });
  FailedLines failed(m_path, STDIN_FILENO);
  EXPECT_TRUE(failed.keepRest(*m_lines));
  EXPECT_EQ("one\nrm -rf /srv\n", before);
  EXPECT_EQ("one\nrm -rf /srv\nx", file());
}

TEST_F(FailedLinesTest, FullDiskLeavesTheWholeLinesOfAPiece) {
  signal(SIGXFSZ, SIG_IGN);
  FailedLines failed(m_path, STDIN_FILENO);
  read("one\ntwo\nthree\nfour\n");
  const test::SizeLimit limit(12);
  EXPECT_THROW(failed.keepRest(*m_lines), Failure);
  EXPECT_EQ("two\nthree\n", file());
  EXPECT_EQ(2U, failed.failed());
  EXPECT_TRUE(failed.isBroken());
}

TEST_F(FailedLinesTest, RestThatCannotBeReadIsCutBackToWholeLines) {
  const int directory = open("/", O_RDONLY | O_CLOEXEC);
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  const std::string text = "one\n" + std::string(kLimit + 5, 'x');
  ASSERT_EQ(static_cast<ssize_t>(text.size()), write(ends[1], text.data(), text.size()));
  m_input.emplace(ends[0]);
  m_lines.emplace(ends[0], m_stop, kLimit);
  m_stop = SIGINT;
  FailedLines failed(m_path, STDIN_FILENO);
  m_lines->whenStopIsIgnored([&] {
    if (test::readFile(m_path).size() == text.size()) {  // the long line is unfinished
      dup3(directory, ends[0], O_CLOEXEC);               // from now on reads fail
    }
  });
  EXPECT_THROW(failed.keepRest(*m_lines), Failure);
  EXPECT_EQ("one\n", file());
  EXPECT_FALSE(failed.isBroken());
  close(directory);
  close(ends[1]);
}

TEST_F(FailedLinesTest, FilesThatStayEmptyAreRemoved) {
  { const FailedLines failed(m_path, STDIN_FILENO); }
  EXPECT_FALSE(test::exists(m_path + ".in-doubt"));
}

TEST_F(FailedLinesTest, FileOfLinesInDoubtThatCannotBeCreatedIsRefusedAtTheStart) {
  m_path = m_directory.path(std::string(250, 'x'));  // a name of 255 bytes is the longest
  EXPECT_THROW(FailedLines(m_path, STDIN_FILENO), Failure);
  EXPECT_FALSE(test::exists(m_path));
}

TEST_F(FailedLinesTest, EmptyFileOfLinesInDoubtThatAKilledRunHasLeftIsReplaced) {
  test::writeFile(m_path + ".in-doubt", "");
  FailedLines failed(m_path, STDIN_FILENO);
  read("one\n");
  failed.keepInDoubt(m_line, *m_lines);
  EXPECT_EQ("one\n", inDoubtFile());
}

TEST_F(FailedLinesTest, EmptyFileOfLinesInDoubtOfAnotherRunIsRefused) {
  const FailedLines other(m_path, STDIN_FILENO);
  ASSERT_EQ(0, rename(m_path.c_str(), m_directory.path("moved").c_str()));
  EXPECT_NE("", refusal());
  EXPECT_TRUE(test::exists(m_path + ".in-doubt"));
}

TEST_F(FailedLinesTest, DeviceAndPipeAreRefused) {
  m_path = "/dev/full";
  EXPECT_EQ("\"/dev/full\" is a device or a pipe; name a new file", refusal());
  m_path = m_directory.path("pipe");
  ASSERT_EQ(0, mkfifo(m_path.c_str(), 0600));
  EXPECT_EQ("\"" + m_path + "\" is a device or a pipe; name a new file", refusal());
}

}  // namespace
}  // namespace velmo::cli
