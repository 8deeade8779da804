#include "TaskRunner.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <filesystem>
#include <string>

#include "Installation.h"
#include "TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace velmo::standin {
namespace {

using velmo::test::readFile;
using velmo::test::TemporaryDirectory;
using velmo::test::writeFile;

constexpr const char* kName = "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh";

class TaskRunnerTest : public testing::Test {
 protected:
  bool isAwake() const {
    pollfd descriptor{m_runner.watchDescriptor(), POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1;
  }

  void queue(const std::string& name, const std::string& contents) {
    writeFile(m_installation.directory() / "tmp" / name, contents);
    fs::rename(m_installation.directory() / "tmp" / name, queued(name));
  }

  void runAll() {
    while (m_runner.proceed()) {
      poll(nullptr, 0, 1);
    }
  }

  fs::path queued(const std::string& name) const {
    return m_installation.queueDirectory() / name;
  }

  TemporaryDirectory m_directory;
  Installation m_installation{m_directory.path() / "home", false};
  UnknownClasses m_unknownClasses{m_installation};
  TaskRunner m_runner{
      m_installation, {"NAME=value", "PATH=/usr/bin:/bin"}, false, m_unknownClasses};
};

TEST_F(TaskRunnerTest, EmptyQueueHasNothingToRun) {
  EXPECT_FALSE(m_runner.proceed());
  EXPECT_FALSE(m_runner.hasSeenFiles());
}

TEST_F(TaskRunnerTest, WatchIsQuietAfterTheQueueIsReadSoTheLoopDoesNotSpin) {
  queue(kName, "true\n");
  EXPECT_TRUE(isAwake());
  EXPECT_TRUE(m_runner.proceed());
  EXPECT_FALSE(isAwake());
}

TEST_F(TaskRunnerTest, TaskRunsWithTheGivenEnvironment) {
  queue(kName, "echo $NAME\n");
  EXPECT_TRUE(m_runner.proceed());
  EXPECT_TRUE(m_runner.hasSeenFiles());
  runAll();
  EXPECT_FALSE(fs::exists(queued(kName)));
  EXPECT_EQ("value\n", readFile(m_installation.logDirectory() / (std::string(kName) + ".log")));
}

TEST_F(TaskRunnerTest, TaskThatCannotBeStartedHasFailed) {
  queue(kName, "true\n");
  fs::remove(m_installation.logDirectory());
  runAll();
  EXPECT_TRUE(m_runner.hasFailed());
}

TEST_F(TaskRunnerTest, StrayFileIsNotAFailedTask) {
  queue("x", "");
  queue("0060.20250303140509.J12.S0.T20250303140509-732.R0002.java", "Main\n");
  runAll();
  EXPECT_FALSE(m_runner.hasFailed());
}

TEST_F(TaskRunnerTest, FileOfAnAbandonedTaskStaysInTheQueue) {
  queue(kName, "sleep 600\n");
  EXPECT_TRUE(m_runner.proceed());
  m_runner.abandon();
  EXPECT_TRUE(fs::exists(queued(kName)));
}

TEST_F(TaskRunnerTest, OutputOfAnAbandonedTaskIsShown) {
  TaskRunner runner(m_installation, {"PATH=/usr/bin:/bin"}, true, m_unknownClasses);
  queue(kName, "echo hello; echo >started; sleep 600\n");
  EXPECT_TRUE(runner.proceed());
  while (!fs::exists(m_installation.directory() / "started")) {
    poll(nullptr, 0, 1);
  }
  testing::internal::CaptureStderr();
  runner.abandon();
  EXPECT_EQ(
      "velmo-standin: priority 0050, created 2025-03-03 14:05:09, job J12, sub-job 0, task 731, "
      "relative 2, type sh: interrupted, left in the queue\nvelmo-standin: | hello\n",
      testing::internal::GetCapturedStderr());
}

TEST_F(TaskRunnerTest, StrayFileIsReportedOnceAndAgainWhenItReturns) {
  const std::string line = "velmo-standin: x: not a task file, left in the queue\n";
  testing::internal::CaptureStderr();
  queue("x", "");
  m_runner.proceed();
  m_runner.proceed();
  EXPECT_EQ(line, testing::internal::GetCapturedStderr());

  fs::rename(queued("x"), m_directory.path() / "x");
  m_runner.proceed();
  fs::rename(m_directory.path() / "x", queued("x"));
  testing::internal::CaptureStderr();
  m_runner.proceed();
  EXPECT_EQ(line, testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace velmo::standin
