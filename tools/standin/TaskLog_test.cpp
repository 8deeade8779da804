#include "TaskLog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "TemporaryDirectory.h"

namespace velmo::standin {
namespace {

using velmo::test::readFile;
using velmo::test::TemporaryDirectory;

class TaskLogTest : public testing::Test {
 protected:
  void write(std::string_view text) const {
    EXPECT_EQ(static_cast<ssize_t>(text.size()),
              ::write(m_log.descriptor(), text.data(), text.size()));
  }

  std::string shown() const {
    testing::internal::CaptureStderr();
    m_log.show();
    return testing::internal::GetCapturedStderr();
  }

  TemporaryDirectory m_directory;
  TaskLog m_log{m_directory.path() / "log"};
};

TEST_F(TaskLogTest, EmptyLogShowsNothing) {
  EXPECT_TRUE(m_log.isEmpty());
  EXPECT_EQ("", shown());
}

TEST_F(TaskLogTest, EveryLineIsMarkedAlsoTheLastWithoutALineFeed) {
  write("one\n\nthree");
  EXPECT_FALSE(m_log.isEmpty());
  EXPECT_EQ("velmo-standin: | one\nvelmo-standin: | \nvelmo-standin: | three\n", shown());
}

TEST_F(TaskLogTest, BytesAreShownUnchanged) {
  write("\t\x1b[1m\xff\n");
  EXPECT_EQ("velmo-standin: | \t\x1b[1m\xff\n", shown());
}

TEST_F(TaskLogTest, LinesOfALogThatTakesSeveralReadsAreShownWhole) {
  std::string expected;
  for (int i = 0; i < 20000; ++i) {
    write("line " + std::to_string(i) + "\n");
    expected += "velmo-standin: | line " + std::to_string(i) + "\n";
  }
  EXPECT_EQ(expected, shown());
}

// A process that the task has left behind may write for ever. Here the lines that are shown are
// themselves appended to the log.
TEST_F(TaskLogTest, LogThatGrowsWhileItIsShownIsShownAsFarAsItWentBefore) {
  write("one\ntwo\n");
  std::fflush(stderr);
  const int before = dup(STDERR_FILENO);
  const int log = open((m_directory.path() / "log").c_str(), O_WRONLY | O_APPEND);
  ASSERT_GE(dup2(log, STDERR_FILENO), 0);
  m_log.show();
  std::fflush(stderr);
  dup2(before, STDERR_FILENO);
  close(before);
  close(log);
  EXPECT_EQ("one\ntwo\nvelmo-standin: | one\nvelmo-standin: | two\n",
            readFile(m_directory.path() / "log"));
}

TEST_F(TaskLogTest, LineOfMoreThan64KiBIsShownAsSeveral) {
  write(std::string(65536, 'x') + "y\n");
  EXPECT_EQ("velmo-standin: | " + std::string(65536, 'x') + "\nvelmo-standin: | y\n", shown());
}

TEST_F(TaskLogTest, ShowingDoesNotChangeWhereTheTaskWrites) {
  write("one\n");
  shown();
  write("two\n");
  EXPECT_EQ("one\ntwo\n", readFile(m_directory.path() / "log"));
}

TEST_F(TaskLogTest, LogOfAnEarlierRunIsEmptied) {
  write("one\n");
  const TaskLog again(m_directory.path() / "log");
  EXPECT_TRUE(again.isEmpty());
}

}  // namespace
}  // namespace velmo::standin
