// velmo queue show.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "TaskInstallation.h"
#include "TerminalProcess.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

using testing::HasSubstr;

const char* const kTask = "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh";

class QueueShowTest : public testing::Test {
 protected:
  std::string put(const std::string& contents) const {
    return m_installation.directory.writeFile(std::string("var/taskqueue/") + kTask, contents);
  }

  TaskInstallation m_installation;
};

TEST_F(QueueShowTest, PartsAndContentsAreAligned) {
  const std::string path = put("echo hello\n#1USE=u\n");
  const ToolResult result = runTool({"queue", "show", kTask});
  EXPECT_THAT(result.output,
              testing::MatchesRegex("Path:         " + path +
                                    "\nSize:         19 bytes\n"
                                    "Priority:     50\n"
                                    "Created:      2025-03-03 14:05:09 \\(age [0-9]+ days\\)\n"
                                    "Job:          J12\n"
                                    "Sub-job:      0\n"
                                    "Task:         731\n"
                                    "Relative:     2\n"
                                    "Type:         sh\n"
                                    "Command:      echo hello\n"
                                    "Information:  #1USE=u\n"));
  EXPECT_EQ(0, result.status);
}

TEST_F(QueueShowTest, NumberOfTheTaskIsEnough) {
  put("echo hello\n");
  EXPECT_THAT(runTool({"queue", "show", "731"}).output, HasSubstr("Command:      echo hello\n"));
}

TEST_F(QueueShowTest, ObjectHasPartsAndContents) {
  put("echo hello\n");
  EXPECT_EQ(std::string(R"({"name":")") + kTask +
                R"(","priority":50,"created":"2025-03-03T14:05:09","job":"J12","sub_job":"0",)" +
                R"("task":731,"relative_priority":2,"type":"sh","command":"echo hello",)" +
                "\"information\":null,\"problem\":null}\n",
            runTool({"queue", "show", "--json", kTask}).output);
}

TEST_F(QueueShowTest, MalformedFileSaysWhy) {
  put("a\nb\nc\n");
  EXPECT_THAT(runTool({"queue", "show", kTask}).output,
              HasSubstr("Malformed:  3 lines where one or two belong\n"));
}

TEST_F(QueueShowTest, PipeAndLinkAreNotOpened) {
  const std::string path = m_installation.directory.path(std::string("var/taskqueue/") + kTask);
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  EXPECT_THAT(runTool({"queue", "show", kTask}).output,
              HasSubstr("Malformed:  not a regular file\n"));
  std::filesystem::remove(path);
  std::filesystem::create_symlink("/etc/passwd", path);
  EXPECT_THAT(runTool({"queue", "show", kTask}).output,
              HasSubstr("Malformed:  not a regular file\n"));
}

TEST_F(QueueShowTest, TaskThatIsNotThereIsNotFound) {
  const ToolResult result = runTool({"queue", "show", kTask});
  EXPECT_EQ(12, result.status);
  EXPECT_EQ("", result.output);
  EXPECT_EQ(std::string("velmo: not in the queue: ") + kTask + "\n", result.errors);
  EXPECT_EQ(12, runTool({"queue", "show", "731"}).status);
}

TEST_F(QueueShowTest, NameThatIsNotThatOfATaskIsWrongUsage) {
  m_installation.directory.writeFile("var/x", "secret\n");
  for (const std::string given : {"../x", "README", "..", "a/b"}) {
    const ToolResult result = runTool({"queue", "show", given});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("velmo: not the name of a task: \"" + given + "\"\n", result.errors);
  }
}

TEST_F(QueueShowTest, ControlCharactersOfTheCommandAreNotPrinted) {
  put("echo \x1b[31m\tx\n");
  EXPECT_THAT(runTool({"queue", "show", kTask}).output, HasSubstr("Command:      echo ?[31m?x\n"));
}

TEST_F(QueueShowTest, LongCommandIsCutOnATerminalOnly) {
  put(std::string(3999, 'x') + "\xc3\xa4" + std::string(100, 'y') + "\n");
  EXPECT_THAT(runTool({"queue", "show", kTask}).output,
              HasSubstr("\xc3\xa4" + std::string(100, 'y') + "\n"));
  TerminalProcess process({"queue", "show", kTask}, 80, 24);
  EXPECT_EQ(0, process.wait());
  EXPECT_THAT(process.output(), HasSubstr("xxx ... and 102 bytes more\r\n"));
}

}  // namespace
}  // namespace velmo::test
