// velmo queue --watch.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>

#include "StandinProcess.h"
#include "TaskInstallation.h"
#include "TerminalProcess.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

using testing::HasSubstr;

constexpr const char* kLeave = "\x1b[?7h\x1b[?25h\x1b[?1049l";

std::string name(int task) {
  return "0050.20250303140509.J12.S0.T20250303140509-" + std::to_string(task) + ".R0002.sh";
}

class QueueWatchTest : public testing::Test {
 protected:
  std::string path(int task) const {
    return m_installation.directory.path("var/taskqueue/" + name(task));
  }

  void put(int task, const std::string& command = "echo hello") const {
    m_installation.directory.writeFile("tmp/" + name(task), command + "\n");
    std::filesystem::rename(m_installation.directory.path("tmp/" + name(task)), path(task));
  }

  TaskInstallation m_installation;
};

// --- on a terminal ---

TEST_F(QueueWatchTest, TerminalShowsTasksAsTheyComeAndGo) {
  TerminalProcess process({"queue", "--watch"}, 80, 24);
  EXPECT_TRUE(process.shows("\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[H"));
  EXPECT_TRUE(process.shows("taskqueue: 0 tasks, last change "));
  EXPECT_TRUE(process.shows("the queue is empty"));
  put(1, "echo arrived");
  EXPECT_TRUE(process.shows(": 1 task, last change "));
  EXPECT_TRUE(process.shows("echo arrived\x1b[K"));
  std::filesystem::remove(path(1));
  EXPECT_TRUE(process.shows(": 0 tasks, last change "));
}

TEST_F(QueueWatchTest, InterruptRestoresTheTerminal) {
  TerminalProcess process({"queue", "--watch"}, 80, 24);
  const termios before = process.modes();
  ASSERT_TRUE(process.shows("the queue is empty"));
  process.signal(SIGINT);
  EXPECT_EQ(0, process.wait());
  EXPECT_THAT(process.output(), testing::EndsWith(kLeave));
  EXPECT_EQ(before.c_lflag | ICANON | ECHO, process.modes().c_lflag);
}

TEST_F(QueueWatchTest, KeysThatInterruptAndQuitEndIt) {
  for (const char* key : {"\x03", "q", "xq"}) {
    TerminalProcess process({"queue", "--watch"}, 80, 24);
    ASSERT_TRUE(process.shows("the queue is empty"));
    EXPECT_EQ(0U, process.modes().c_lflag & ECHO);
    process.type(key);
    EXPECT_EQ(0, process.wait());
    EXPECT_THAT(process.output(), testing::EndsWith(kLeave));
  }
}

TEST_F(QueueWatchTest, OtherKeysDoNothing) {
  TerminalProcess process({"queue", "--watch"}, 80, 24);
  ASSERT_TRUE(process.shows("the queue is empty"));
  process.type("x\x1a\x1c\n");
  put(1);
  EXPECT_TRUE(process.shows("echo hello"));
  EXPECT_THAT(process.output(), testing::Not(HasSubstr("^")));
}

TEST_F(QueueWatchTest, PageFollowsTheSizeOfTheTerminal) {
  for (int i = 0; i < 9; ++i) {
    put(i);
  }
  TerminalProcess process({"queue", "--watch"}, 80, 24);
  ASSERT_TRUE(process.shows("  8    2  sh    echo hello"));
  process.resize(80, 5);
  EXPECT_TRUE(process.shows("... and 7 more\x1b[K\x1b[J"));
}

TEST_F(QueueWatchTest, QueueThatIsGoneEndsItWithTheTerminalRestored) {
  TerminalProcess process({"queue", "--watch"}, 80, 24);
  ASSERT_TRUE(process.shows("the queue is empty"));
  std::filesystem::remove(m_installation.directory.path("var/taskqueue"));
  EXPECT_EQ(2, process.wait());
  EXPECT_THAT(process.output(),
              HasSubstr(std::string(kLeave) + "velmo: the directory of VAR is missing"));
}

TEST_F(QueueWatchTest, TerminalWithoutACursorGetsLines) {
  put(1);
  TerminalProcess process({"queue", "--watch"}, 80, 24, {"TERM=dumb"});
  EXPECT_TRUE(process.shows("  present  " + name(1) + "\r\n"));
  process.signal(SIGTERM);
  EXPECT_EQ(0, process.wait());
}

// --- elsewhere ---

TEST_F(QueueWatchTest, EachChangeIsALine) {
  put(1);
  ToolProcess process({"queue", "--watch"});
  ASSERT_TRUE(waitUntil([&] { return !process.output().empty(); }));
  put(2);
  std::filesystem::remove(path(2));
  std::filesystem::remove(path(1));
  ASSERT_TRUE(
      waitUntil([&] { return process.output().find("gone  " + name(1)) != std::string::npos; }));
  process.signal(SIGINT);
  const ToolResult result = process.wait();
  EXPECT_EQ(0, result.status);
  EXPECT_EQ("", result.errors);
  const std::string time = "[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+  ";
  EXPECT_THAT(result.output,
              testing::MatchesRegex(time + "present  " + name(1) + "\n" + time + "arrived  " +
                                    name(2) + "\n" + time + "gone  " + name(2) + "\n" + time +
                                    "gone  " + name(1) + "\n"));
}

TEST_F(QueueWatchTest, ObjectHasTheEventAndThePartsOfTheName) {
  put(1);
  ToolProcess process({"queue", "--watch", "--json", "--commands"});
  ASSERT_TRUE(waitUntil([&] { return !process.output().empty(); }));
  std::filesystem::remove(path(1));
  ASSERT_TRUE(waitUntil([&] { return process.output().find("\"gone\"") != std::string::npos; }));
  process.signal(SIGINT);
  const std::string output = process.wait().output;
  EXPECT_THAT(output, testing::StartsWith(R"({"event":"present","at":"2)"));
  EXPECT_THAT(output, HasSubstr(R"(","name":")" + name(1) + R"(","priority":50,)"));
  EXPECT_THAT(output, HasSubstr(R"("type":"sh","command":"echo hello","information":null)"));
  EXPECT_THAT(output, HasSubstr("\n{\"event\":\"gone\",\"at\":\"2"));
  EXPECT_THAT(output, testing::EndsWith("\"type\":\"sh\"}\n"));
}

TEST_F(QueueWatchTest, QueueThatIsGoneEndsIt) {
  put(1);
  ToolProcess process({"queue", "--watch"});
  ASSERT_TRUE(waitUntil([&] { return !process.output().empty(); }));
  std::filesystem::remove_all(m_installation.directory.path("var/taskqueue"));
  const ToolResult result = process.wait();
  EXPECT_EQ(2, result.status);
  EXPECT_THAT(result.errors, testing::StartsWith("velmo: the directory of VAR is missing"));
}

}  // namespace
}  // namespace velmo::test
