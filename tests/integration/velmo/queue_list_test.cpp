// velmo queue: the list.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string>

#include "StandinProcess.h"
#include "TaskInstallation.h"
#include "TerminalProcess.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

using testing::HasSubstr;

// A task of a time long past: its age in days changes during no test.
std::string name(int priority, int task, const std::string& job = "J12",
                 const std::string& type = "sh") {
  std::array<char, 8> digits{};
  std::snprintf(digits.data(), digits.size(), "%04d", priority);
  return std::string(digits.data()) + ".20250303140509." + job + ".S0.T20250303140509-" +
         std::to_string(task) + ".R0002." + type;
}

class QueueListTest : public testing::Test {
 protected:
  std::string put(const std::string& task, const std::string& contents = "echo hello\n") const {
    return m_installation.directory.writeFile("var/taskqueue/" + task, contents);
  }

  // The numbers of the tasks, in the order of the lines.
  static std::string numbersIn(const std::string& json) {
    std::string numbers;
    for (std::size_t at = json.find("\"task\":"); at != std::string::npos;
         at = json.find("\"task\":", at + 1)) {
      numbers += (numbers.empty() ? "" : " ") + json.substr(at + 7, json.find(',', at) - at - 7);
    }
    return numbers;
  }

  TaskInstallation m_installation;
};

TEST_F(QueueListTest, TasksAreInTheOrderOfTheService) {
  put(name(500, 1));
  put(name(50, 2));
  put(name(10000, 3));
  put(name(-5, 4));
  EXPECT_EQ("4 2 1 3", numbersIn(runTool({"queue", "--json"}).output));
}

TEST_F(QueueListTest, ObjectHasThePartsOfTheName) {
  put(name(50, 7));
  const ToolResult result = runTool({"queue", "--json"});
  EXPECT_EQ(R"({"name":")" + name(50, 7) +
                R"(","priority":50,"created":"2025-03-03T14:05:09","job":"J12","sub_job":"0",)" +
                "\"task\":7,\"relative_priority\":2,\"type\":\"sh\"}\n",
            result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.status);
}

TEST_F(QueueListTest, TableEndsWithTheName) {
  put(name(50, 7));
  put(name(500, 1234, "node2-J1", "java"));
  const std::string output = runTool({"queue"}).output;
  EXPECT_THAT(output,
              testing::MatchesRegex("PRIORITY +AGE  JOB       SUB-JOB  TASK  REL  TYPE  NAME\n"
                                    " +50  [0-9]+ days  J12       0           7    2  sh    " +
                                    name(50, 7) +
                                    "\n +500  [0-9]+ days  node2-J1  0        1234    2  java  " +
                                    name(500, 1234, "node2-J1", "java") + "\n"));
}

TEST_F(QueueListTest, CommandsAreFirstLinesOfTheFiles) {
  put(name(50, 7), "echo hello\n#1USE=u\n");
  const std::string output = runTool({"queue", "--commands"}).output;
  EXPECT_THAT(output, HasSubstr("  COMMAND\n"));
  EXPECT_THAT(output, testing::EndsWith(name(50, 7) + "  echo hello\n"));
}

TEST_F(QueueListTest, ObjectHasCommandAndInformationIfCommandsAreWanted) {
  put(name(50, 1), "echo hello\n#1USE=u\n");
  put(name(50, 2), "a\nb\nc\n");
  const std::string output = runTool({"queue", "--commands", "--json"}).output;
  EXPECT_THAT(output,
              HasSubstr(R"("command":"echo hello","information":"#1USE=u","problem":null})"));
  EXPECT_THAT(output, HasSubstr(R"("command":null,"information":null,"problem":"3 lines where)"));
}

TEST_F(QueueListTest, FilesThatAreNotTasksAreLeftOut) {
  put("README");
  put("." + name(50, 1));
  put("0050.20251303140509.J12.S0.T20251303140509-1.R0002.sh");
  put(name(50, 2));
  EXPECT_EQ("2", numbersIn(runTool({"queue", "--json"}).output));
}

TEST_F(QueueListTest, FiltersAreApplied) {
  put(name(10, 1));
  put(name(20, 2, "J13"));
  put(name(30, 3, "J13", "java"));
  put(name(40, 4, "J13"));
  EXPECT_EQ("2 3 4", numbersIn(runTool({"queue", "--json", "--job", "J13"}).output));
  EXPECT_EQ("2 4", numbersIn(runTool({"queue", "--json", "--job", "J13", "--type", "sh"}).output));
  EXPECT_EQ("2", numbersIn(runTool({"queue", "--json", "--job", "J13", "--limit", "1"}).output));
  EXPECT_EQ("", numbersIn(runTool({"queue", "--json", "--sub-job", "1"}).output));
  EXPECT_EQ("1 2 3 4", numbersIn(runTool({"queue", "--json", "--older-than", "60"}).output));
  EXPECT_EQ("", numbersIn(runTool({"queue", "--json", "--older-than", "2147483647"}).output));
}

TEST_F(QueueListTest, EmptyValueOfAFilterSelectsNoTask) {
  put(name(50, 1));
  for (const std::string option : {"--job", "--sub-job", "--type"}) {
    const ToolResult result = runTool({"queue", "--json", option, ""});
    EXPECT_EQ("", result.output) << option;
    EXPECT_EQ("", result.errors) << option;
    EXPECT_EQ(0, result.status) << option;
  }
}

TEST_F(QueueListTest, FilterWithoutAValueIsWrongUsage) {
  put(name(50, 1));
  const ToolResult result = runTool({"queue", "--json", "--job="});
  EXPECT_EQ("", result.output);
  EXPECT_EQ("velmo: --job needs a value, J (see --help)\n", result.errors);
  EXPECT_EQ(1, result.status);
}

TEST_F(QueueListTest, EmptyQueuePrintsNothing) {
  const ToolResult result = runTool({"queue"});
  EXPECT_EQ("", result.output + result.errors);
  EXPECT_EQ(0, result.status);
}

TEST_F(QueueListTest, NamesWithControlCharactersAreShownHarmlesslyAndGivenExactlyInJson) {
  put(name(50, 1, "J\x1b[31m\n\xc2\x9b"));
  EXPECT_THAT(runTool({"queue"}).output, HasSubstr("  J?[31m??  "));
  EXPECT_THAT(runTool({"queue", "--json"}).output, HasSubstr(R"("job":"J\u001b[31m\n)"));
}

TEST_F(QueueListTest, NamesInUtf8AreAlignedAndOtherBytesBecomeReplacementCharactersInJson) {
  put(name(50, 1, "J\xc3\xa4"));
  put(name(50, 2, "J\xff"));
  EXPECT_THAT(runTool({"queue"}).output, HasSubstr("  J\xc3\xa4   0  "));
  EXPECT_THAT(runTool({"queue", "--json"}).output, HasSubstr("\"job\":\"J\xef\xbf\xbd\""));
}

TEST_F(QueueListTest, OptionsOutOfRangeAreWrongUsage) {
  const auto refusal = [](const std::string& option, const std::string& value) {
    const ToolResult result = runTool({"queue", option, value});
    EXPECT_EQ(1, result.status) << option << value;
    EXPECT_EQ("", result.output);
    return result.errors;
  };
  EXPECT_EQ("velmo: --limit must be 1 to 2147483647\n", refusal("--limit", "0"));
  EXPECT_EQ("velmo: --older-than must be 0 to 2147483647 seconds\n", refusal("--older-than", "-1"));
  EXPECT_EQ("velmo: --limit must be 1 to 2147483647\n", refusal("--limit", "-1"));
  EXPECT_THAT(refusal("--limit", "x"), testing::StartsWith("velmo: "));
  EXPECT_THAT(refusal("--older-than", "x"), testing::StartsWith("velmo: "));
  EXPECT_THAT(refusal("--watch", "--limit=1"), testing::StartsWith("velmo: "));
}

TEST_F(QueueListTest, OptionsOfTheListAreRefusedBeforeAnotherCommand) {
  const ToolResult result = runTool({"queue", "--json", "show", name(50, 1)});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("velmo: --json must follow the word \"show\" or \"cancel\"\n", result.errors);
}

TEST_F(QueueListTest, QueueThatCannotBeReadIsReported) {
  std::filesystem::remove(m_installation.directory.path("var/taskqueue"));
  EXPECT_EQ(2, runTool({"queue"}).status);
  m_installation.directory.writeFile("var/taskqueue", "");
  EXPECT_EQ(2, runTool({"queue"}).status);
  m_installation.environment.set("VAR", "relative");
  EXPECT_EQ(2, runTool({"queue"}).status);
  m_installation.environment.unset("VAR");
  const ToolResult result = runTool({"queue"});
  EXPECT_EQ(2, result.status);
  EXPECT_THAT(result.errors, testing::StartsWith("velmo: "));
  EXPECT_THAT(result.errors, HasSubstr("VAR"));
}

TEST_F(QueueListTest, SignalEndsAListWhoseReaderDoesNotRead) {
  for (int i = 0; i < 1500; ++i) {  // more than a pipe holds
    put(name(50, i));
  }
  const std::string pipe = m_installation.directory.path("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const int reader = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  const std::string tool = TOOL_PROGRAM;
  const pid_t child = fork();
  if (child == 0) {
    dup2(reader, STDOUT_FILENO);
    execl(tool.c_str(), tool.c_str(), "queue", "--json", nullptr);
    _exit(99);
  }
  int held = 0;
  ASSERT_TRUE(waitUntil([&] { return ioctl(reader, FIONREAD, &held) == 0 && held > 60000; }));
  kill(child, SIGTERM);
  int status = 0;
  ASSERT_TRUE(waitUntil([&] { return waitpid(child, &status, WNOHANG) == child; }));
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(5, WEXITSTATUS(status));
  close(reader);
}

TEST_F(QueueListTest, ReaderThatIsGoneEndsItQuietly) {
  for (int i = 0; i < 1000; ++i) {
    put(name(50, i), "");
  }
  std::array<int, 2> ends{};
  ASSERT_EQ(0, pipe(ends.data()));
  const std::string errorsPath = m_installation.directory.writeFile("errors", "");
  const int errors = open(errorsPath.c_str(), O_WRONLY | O_CLOEXEC);
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(ends[1], STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    execl(TOOL_PROGRAM, TOOL_PROGRAM, "queue", nullptr);
    _exit(99);
  }
  close(ends[0]);
  close(ends[1]);
  close(errors);
  int status = 0;
  ASSERT_EQ(pid, waitpid(pid, &status, 0));
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE) << status;
  EXPECT_EQ(0U, std::filesystem::file_size(errorsPath));
}

// --- on a terminal ---

TEST_F(QueueListTest, TerminalShowsNamesWhereTheyFit) {
  put(name(50, 7));
  TerminalProcess narrow({"queue"}, 80, 24);
  EXPECT_EQ(0, narrow.wait());
  EXPECT_THAT(narrow.output(), testing::Not(HasSubstr("NAME")));
  TerminalProcess wide({"queue"}, 132, 24);
  EXPECT_EQ(0, wide.wait());
  EXPECT_THAT(wide.output(), HasSubstr(name(50, 7)));
}

TEST_F(QueueListTest, TerminalCutsCommandsToItsWidth) {
  put(name(50, 7), std::string(200, 'x') + "\n");
  TerminalProcess process({"queue", "--commands"}, 80, 24, {"NO_COLOR=1"});
  EXPECT_EQ(0, process.wait());
  const std::string& output = process.output();
  EXPECT_THAT(output, testing::EndsWith("xxx...\r\n"));
  EXPECT_EQ(80U, output.size() - 2 - (output.find('\n') + 1));
}

// Of plain ASCII.
std::size_t longestLineOf(const std::string& output) {
  std::size_t longest = 0;
  for (std::size_t start = 0; start < output.size();) {
    const std::size_t end = std::min(output.find("\r\n", start), output.size());
    longest = std::max(longest, end - start);
    start = end + 2;
  }
  return longest;
}

TEST_F(QueueListTest, NoLineIsLongerThanTheTerminal) {
  put(name(50, 7, std::string(60, 'j')));
  put("0050.20250303140509.J1.S" + std::string(62, 's') + ".T20250303140509-8.R0002.sh");
  put(name(50, 9), std::string(400, '\x85') + "\n");
  constexpr std::array<unsigned short, 3> kWidths{1, 20, 80};
  for (const unsigned short width : kWidths) {
    for (const char* option : {"--commands", "--type=sh"}) {
      TerminalProcess process({"queue", option}, width, 24, {"NO_COLOR=1"});
      EXPECT_EQ(0, process.wait());
      EXPECT_EQ(4, std::count(process.output().begin(), process.output().end(), '\n'));
      EXPECT_LE(longestLineOf(process.output()), width) << process.output();
    }
  }
}

TEST_F(QueueListTest, TerminalIsToldThatNothingIsThere) {
  TerminalProcess empty({"queue"}, 80, 24);
  EXPECT_EQ(0, empty.wait());
  EXPECT_EQ("the queue is empty\r\n", empty.output());
  TerminalProcess none({"queue", "--job", "x"}, 80, 24);
  EXPECT_EQ(0, none.wait());
  EXPECT_EQ("no task in the queue matches\r\n", none.output());
}

TEST_F(QueueListTest, TerminalIsToldHowManyMoreThereAre) {
  put(name(50, 1));
  put(name(50, 2));
  put(name(50, 3));
  TerminalProcess process({"queue", "--limit", "1"}, 80, 24);
  EXPECT_EQ(0, process.wait());
  EXPECT_THAT(process.output(), testing::EndsWith("... and 2 more\r\n"));
}

TEST_F(QueueListTest, ColoursCanBeSwitchedOff) {
  put(name(50, 1));
  TerminalProcess coloured({"queue"}, 80, 24);
  EXPECT_EQ(0, coloured.wait());
  EXPECT_THAT(coloured.output(), testing::StartsWith("\x1b[1mPRIORITY"));
  TerminalProcess plain({"queue"}, 80, 24, {"NO_COLOR=1"});
  EXPECT_EQ(0, plain.wait());
  EXPECT_THAT(plain.output(), testing::StartsWith("PRIORITY"));
}

}  // namespace
}  // namespace velmo::test
