// velmo queue cancel.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <string>
#include <vector>

#include "NamedPipe.h"
#include "StandinProcess.h"
#include "TaskInstallation.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

std::string name(int task, const std::string& job = "J12") {
  return "0050.20250303140509." + job + ".S0.T20250303140509-" + std::to_string(task) + ".R0002.sh";
}

class QueueCancelTest : public testing::Test {
 protected:
  void put(int task, const std::string& job = "J12") const {
    m_installation.directory.writeFile("var/taskqueue/" + name(task, job), "echo hello\n");
  }

  TaskInstallation m_installation;
};

TEST_F(QueueCancelTest, NamesOfTheTasksThatWereRemovedArePrinted) {
  put(1);
  put(2);
  put(3);
  const ToolResult result = runTool({"queue", "cancel", name(1), "3"});
  EXPECT_EQ(name(1) + "\n" + name(3) + "\n", result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.status);
  EXPECT_EQ(std::vector<std::string>{name(2)}, m_installation.queue());
}

TEST_F(QueueCancelTest, MissingTaskDoesNotStopTheOthers) {
  put(2);
  const ToolResult result = runTool({"queue", "cancel", name(1), name(2)});
  EXPECT_EQ(name(2) + "\n", result.output);
  EXPECT_EQ("velmo: not in the queue: " + name(1) + "\n", result.errors);
  EXPECT_EQ(12, result.status);
}

TEST_F(QueueCancelTest, TaskThatIsCancelledTwiceIsNotFoundTheSecondTime) {
  put(1);
  const ToolResult result = runTool({"queue", "cancel", name(1), name(1)});
  EXPECT_EQ(name(1) + "\n", result.output);
  EXPECT_EQ(12, result.status);
}

TEST_F(QueueCancelTest, NamesThatAreNotThoseOfTasksAreRefused) {
  m_installation.directory.writeFile("var/x", "");
  m_installation.directory.writeFile("var/taskqueue/README", "");
  put(1);
  const ToolResult result = runTool({"queue", "cancel", "../x", "..", "README", name(1)});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ(name(1) + "\n", result.output);
  EXPECT_EQ(
      "velmo: not the name of a task: \"../x\"\nvelmo: not the name of a task: \"..\"\n"
      "velmo: not the name of a task: \"README\"\n",
      result.errors);
  EXPECT_TRUE(exists(m_installation.directory.path("var/x")));
}

TEST_F(QueueCancelTest, MissingTaskDecidesTheStatusWhateverElseFails) {
  EXPECT_EQ(12, runTool({"queue", "cancel", "README", name(1), ".."}).status);
}

TEST_F(QueueCancelTest, ObjectTellsTheOutcomeOfEachName) {
  put(1);
  const ToolResult result = runTool({"queue", "cancel", "--json", name(1), "7", "x"});
  EXPECT_EQ(R"({"name":")" + name(1) + "\",\"status\":\"ok\",\"message\":null}\n" +
                R"({"name":"7","status":"not_found","message":"not in the queue: 7"})" + "\n" +
                R"({"name":"x","status":"invalid_argument",)" +
                R"("message":"not the name of a task: \"x\""})" + "\n",
            result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(12, result.status);
}

TEST_F(QueueCancelTest, NamesAreReadFromTheInput) {
  put(1);
  put(2);
  put(3);
  const ToolResult result = runTool({"queue", "cancel", "-"}, name(1) + "\n\n" + name(3));
  EXPECT_EQ(name(1) + "\n" + name(3) + "\n", result.output);
  EXPECT_EQ(0, result.status);
}

TEST_F(QueueCancelTest, ListOfAJobCanBeCancelled) {
  put(1);
  put(2, "J13");
  put(3, "J13");
  const std::string list = runTool({"queue", "--json", "--job", "J13"}).output;
  EXPECT_EQ(0, runTool({"queue", "cancel", "-"}, list).status);
  EXPECT_EQ(std::vector<std::string>{name(1)}, m_installation.queue());
}

TEST_F(QueueCancelTest, LineOfTheInputThatHasNoNameIsReported) {
  put(1);
  const ToolResult result = runTool({"queue", "cancel", "-"}, "{\"x\":1}\n" + name(1) + "\n");
  EXPECT_EQ(name(1) + "\n", result.output);
  EXPECT_EQ("velmo: line 1 has no name\n", result.errors);
  EXPECT_EQ(1, result.status);
}

TEST_F(QueueCancelTest, SignalEndsTheWaitForNames) {
  const NamedPipe input(m_installation.directory.path("pipe"));
  put(1);
  ToolProcess process({"queue", "cancel", "-"}, input.path());
  input.write(name(1) + "\n");
  ASSERT_TRUE(waitUntil([&] { return process.output() == name(1) + "\n"; }));
  process.signal(SIGINT);
  const ToolResult result = process.wait();
  EXPECT_EQ(5, result.status);
  EXPECT_EQ("velmo: stopped by a signal\n", result.errors);
}

TEST_F(QueueCancelTest, HundredsOfNumbersAreCancelled) {
  std::string names;
  for (int i = 0; i < 600; ++i) {
    put(i);
    names += std::to_string(i) + "\n";
  }
  EXPECT_EQ(0, runTool({"queue", "cancel", "-"}, names).status);
  EXPECT_TRUE(m_installation.queue().empty());
}

TEST_F(QueueCancelTest, NamesWithControlCharactersAreReportedHarmlessly) {
  EXPECT_EQ("velmo: not in the queue: " + name(1, "J?[31m") + "\n",
            runTool({"queue", "cancel", name(1, "J\x1b[31m")}).errors);
}

TEST_F(QueueCancelTest, TaskWhoseNameIsNotUtf8IsCancelledByItsNumber) {
  put(1, "J\xff");
  EXPECT_THAT(runTool({"queue", "cancel", "--help"}).output,
              testing::HasSubstr("not UTF-8 does not fit into JSON: give the number"));
  EXPECT_EQ(0, runTool({"queue", "cancel", "1"}).status);
  EXPECT_TRUE(m_installation.queue().empty());
}

TEST_F(QueueCancelTest, WithoutAQueueNothingIsTried) {
  m_installation.environment.unset("VAR");
  const ToolResult result = runTool({"queue", "cancel", name(1), name(2)});
  EXPECT_EQ(2, result.status);
  EXPECT_EQ(1, std::count(result.errors.begin(), result.errors.end(), '\n'));
}

}  // namespace
}  // namespace velmo::test
