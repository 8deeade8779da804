// velmo submit, for one task.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <string>
#include <velmo/velmo.hpp>

#include "StandinProcess.h"
#include "TaskInstallation.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Words = std::vector<std::string>;

class SubmitCommandTest : public testing::Test {
 protected:
  SubmitCommandTest() {
    m_installation.writeConfPriorities("Normal=500\nLater=20\n");
    m_installation.writeJobCounter("7");
  }

  static ToolResult submit(Words arguments) {
    arguments.insert(arguments.begin(), "submit");
    return runTool(arguments);
  }

  // The contents of the file of the only task.
  std::string queuedBy(const Words& arguments) {
    const ToolResult result = submit(arguments);
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_EQ("", result.errors);
    return m_installation.onlyTask();
  }

  // The message of a mistake, which queues nothing.
  std::string mistakeIn(const Words& arguments) {
    const ToolResult result = submit(arguments);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.output);
    EXPECT_TRUE(m_installation.queue().empty());
    return result.errors;
  }

  TaskInstallation m_installation;
};

TEST_F(SubmitCommandTest, NameOfTheTaskIsPrintedAlone) {
  const ToolResult result = submit({"-p", "Normal", "-j", "J5", "true"});
  EXPECT_EQ(0, result.status);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(m_installation.queue().front() + "\n", result.output);
}

TEST_F(SubmitCommandTest, OptionsAreTheFieldsOfTheTask) {
  EXPECT_EQ("true\ninfo\n", queuedBy({"-p", "Normal", "-d", "Later", "-t", "java", "-j", "J5", "-s",
                                      "S6", "-i", "info", "-r", "-8", "--durable", "true"}));
  const auto name = parseName(m_installation.queue().front());
  EXPECT_EQ(520, name->priority);
  EXPECT_EQ("java", name->type);
  EXPECT_EQ("J5", name->job);
  EXPECT_EQ("S6", name->subJob);
  EXPECT_EQ(-8, name->relativePriority);
}

TEST_F(SubmitCommandTest, LongOptionsAreTheSame) {
  EXPECT_EQ("true\ninfo\n",
            queuedBy({"--class=Normal", "--adjustment=Later", "--type=java", "--job=J5",
                      "--sub-job=S6", "--information=info", "--relative-priority=9", "true"}));
  const auto name = parseName(m_installation.queue().front());
  EXPECT_EQ(520, name->priority);
  EXPECT_EQ(9, name->relativePriority);
}

TEST_F(SubmitCommandTest, OptionsOfTheCommandAreItsOwn) {
  EXPECT_EQ("ls -l --json -p x\n", queuedBy({"-p", "Normal", "ls", "-l", "--json", "-p", "x"}));
}

TEST_F(SubmitCommandTest, CommandMayBeginWithAHyphenBehindTheMark) {
  EXPECT_EQ("-x --\n", queuedBy({"-p", "Normal", "--", "-x", "--"}));
}

TEST_F(SubmitCommandTest, CommandMayHaveTheNameOfACommandOfTheTool) {
  EXPECT_EQ("priorities submit\n", queuedBy({"-p", "Normal", "priorities", "submit"}));
}

TEST_F(SubmitCommandTest, OneWordReachesTheServiceByteForByte) {
  EXPECT_EQ("a | b  %d%% \xff\n", queuedBy({"-p", "Normal", "a | b  %d%% \xff"}));
}

TEST_F(SubmitCommandTest, WordsReachTheShellOfTheServiceAsTyped) {
  const std::string line =
      queuedBy({"-p", "Normal", "printf", "<%s>", "a  b", "it's", "$HOME", ""});
  const std::string file = m_installation.directory.path("words");
  EXPECT_EQ(0, system((line.substr(0, line.size() - 1) + " > " + file).c_str()));
  EXPECT_EQ("<a  b><it's><$HOME><>", textOf(file));
}

TEST_F(SubmitCommandTest, EmptyValueDoesNotTakeAWordOfTheCommand) {
  EXPECT_EQ("rm x\n", queuedBy({"-p", "Normal", "--job=", "rm", "x"}));
}

TEST_F(SubmitCommandTest, JsonHasTheFieldsOfTheName) {
  const ToolResult result = submit({"--json", "-p", "Normal", "-j", "J5", "true"});
  EXPECT_THAT(result.output,
              StartsWith("{\"name\":\"" + m_installation.queue().front() + "\",\"priority\":500,"));
  EXPECT_THAT(result.output, HasSubstr(",\"job\":\"J5\",\"sub_job\":\"0\",\"task\":1,"));
}

TEST_F(SubmitCommandTest, FailureIsOneLineAndItsStatus) {
  const ToolResult result = submit({"-p", "Nope", "true"});
  EXPECT_EQ(2, result.status);
  EXPECT_EQ("", result.output);
  EXPECT_THAT(result.errors, StartsWith("velmo: not queued: no priority class \"Nope\" in "));
}

TEST_F(SubmitCommandTest, FailureInJsonIsAnObject) {
  m_installation.semaphore.remove();
  const ToolResult result = submit({"--json", "-p", "Normal", "true"});
  const std::string text = "the service is not running: the semaphore of its task counter, key " +
                           std::to_string(m_installation.semaphore.key()) + ", is missing";
  EXPECT_EQ(3, result.status);
  EXPECT_EQ("{\"name\":null,\"status\":\"not_running\",\"message\":\"" + text + "\"}\n",
            result.output);
  EXPECT_EQ("velmo: not queued: " + text + "\n", result.errors);
}

TEST_F(SubmitCommandTest, LockThatIsHeldTimesOut) {
  m_installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  const ToolResult result = submit({"--timeout", "0.01", "-p", "Normal", "true"});
  EXPECT_EQ(4, result.status);
  EXPECT_THAT(result.errors, StartsWith("velmo: not queued: the job counter is locked: "));
}

TEST_F(SubmitCommandTest, QueueThatIsMissingIsAFailureWithoutLeftovers) {
  std::filesystem::remove(m_installation.directory.path("var/taskqueue"));
  const ToolResult result = submit({"-p", "Normal", "-j", "J5", "true"});
  EXPECT_EQ(2, result.status);
  EXPECT_THAT(result.errors, StartsWith("velmo: not queued: the directory of VAR is missing: "));
  EXPECT_TRUE(m_installation.temporary().empty());
}

TEST_F(SubmitCommandTest, NameThatCannotBePrintedIsInTheMessageOfATaskInDoubt) {
  const std::string command = std::string(TOOL_PROGRAM) +
                              " submit -p Normal -j J5 true >/dev/full 2>" +
                              m_installation.directory.path("errors");
  const int status = system(command.c_str());
  EXPECT_EQ(11, WEXITSTATUS(status));
  EXPECT_EQ("velmo: the task is queued as \"" + m_installation.queue().front() +
                "\", but cannot write the output: No space left on device\n",
            textOf(m_installation.directory.path("errors")));
}

TEST_F(SubmitCommandTest, ChildHasTheSubJobOfItsParentRaisedByOne) {
  queuedBy({"-p", "Normal", "-j", "J5", "--child-of", "3_x", "y", "--", "true"});
  EXPECT_EQ("4_x_y", parseName(m_installation.queue().front())->subJob);
}

TEST_F(SubmitCommandTest, ChildNeedsNoSuffix) {
  EXPECT_EQ("true\n", queuedBy({"-p", "Normal", "-j", "J5", "--child-of", "3_x", "--", "true"}));
  EXPECT_EQ("4_x", parseName(m_installation.queue().front())->subJob);
}

TEST_F(SubmitCommandTest, ChildNeedsTheMarkSoThatNoWordIsTakenAsTheSuffix) {
  EXPECT_EQ("velmo: put -- before the command if --child-of is given (see --help)\n",
            mistakeIn({"-p", "Normal", "--child-of", "3_x", "rm", "-r"}));
  EXPECT_EQ("velmo: put -- before the command if --child-of is given (see --help)\n",
            mistakeIn({"-p", "Normal", "--child-of=3_x", "rm", "-r"}));
}

TEST_F(SubmitCommandTest, ChildOfIsGivenOnce) {
  EXPECT_EQ("velmo: --child-of is given twice (see --help)\n",
            mistakeIn({"-p", "Normal", "--child-of", "3_x", "--child-of", "4_x", "--", "true"}));
  EXPECT_EQ("velmo: --child-of is given twice (see --help)\n",
            mistakeIn({"-p", "Normal", "--child-of=3_x", "--child-of=4_x", "--", "true"}));
}

TEST_F(SubmitCommandTest, ValueThatLooksLikeChildOfNeedsNoMark) {
  EXPECT_EQ("true\n--child-of\n",
            queuedBy({"-p", "Normal", "-j", "J5", "-i", "--child-of", "true"}));
}

TEST_F(SubmitCommandTest, ValueThatLooksLikeAnOptionDoesNotSpareTheMark) {
  for (const char* value : {"--stdin", "-h", "--help"}) {
    EXPECT_EQ("velmo: put -- before the command if --child-of is given (see --help)\n",
              mistakeIn({"-p", "Normal", "-i", value, "--child-of", "3_x", "rm", "-r"}));
  }
}

TEST_F(SubmitCommandTest, ChildOfNoParentIsRefused) {
  EXPECT_EQ("velmo: --child-of: parent is missing (see --help)\n",
            mistakeIn({"-p", "Normal", "--child-of=", "--", "true"}));
}

TEST_F(SubmitCommandTest, ChildOfAParentWithoutUnderscoreIsRefused) {
  EXPECT_EQ("velmo: --child-of: the parent's sub-job has no underscore: \"3\" (see --help)\n",
            mistakeIn({"-p", "Normal", "--child-of", "3", "--", "true"}));
}

TEST_F(SubmitCommandTest, MistakesAreReportedAndNothingIsQueued) {
  const std::string end = " (see --help)\n";
  EXPECT_EQ("velmo: COMMAND is missing" + end, mistakeIn({"-p", "Normal"}));
  EXPECT_EQ("velmo: COMMAND is missing" + end, mistakeIn({"-p", "Normal", "--"}));
  EXPECT_EQ("velmo: the priority class is missing: -p CLASS" + end, mistakeIn({"true"}));
  EXPECT_EQ("velmo: -r \"1x\": not an integer from -2147483648 to 2147483647" + end,
            mistakeIn({"-p", "Normal", "-r", "1x", "true"}));
  EXPECT_EQ("velmo: --durable is for submission by file: a message cannot ask for it" + end,
            mistakeIn({"-p", "Normal", "--service", "--durable", "true"}));
  EXPECT_EQ("velmo: --dry-run shows one task: it cannot be combined with --stdin" + end,
            mistakeIn({"--stdin", "--dry-run"}));
  EXPECT_EQ("velmo: --stdin reads the commands from standard input: no COMMAND is allowed" + end,
            mistakeIn({"--stdin", "true"}));
}

TEST_F(SubmitCommandTest, OptionsThatContradictEachOtherAreRefused) {
  for (const Words& options : {Words{"-s", "1", "--child-of", "3_x"},
                               Words{"--to", "h:1", "--service"}, Words{"--modules", "f"},
                               Words{"--failed", "f"}, Words{"-x"}, Words{"-j", "1", "-j", "2"}}) {
    Words arguments{"-p", "Normal"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), {"--", "true"});
    EXPECT_THAT(mistakeIn(arguments), StartsWith("velmo: ")) << options.front();
  }
}

TEST_F(SubmitCommandTest, TimeoutIsANumberOfSecondsInItsRange) {
  for (const char* text : {"-1", "2000000.1", "nan", "inf", "1e3", "0x1", "", "5s"}) {
    EXPECT_EQ("velmo: --timeout \"" + std::string(text) +
                  "\": not a number of seconds in 0 to 2000000 (see --help)\n",
              mistakeIn({"-p", "Normal", "--timeout", text, "true"}));
  }
  EXPECT_EQ("true\n", queuedBy({"-p", "Normal", "--timeout", "2000000", "true"}));
}

TEST_F(SubmitCommandTest, DryRunRefusesTheTimeoutsThatASubmissionRefuses) {
  EXPECT_EQ("velmo: --timeout \"banana\": not a number of seconds in 0 to 2000000 (see --help)\n",
            mistakeIn({"--dry-run", "-p", "Normal", "--timeout", "banana", "true"}));
}

TEST_F(SubmitCommandTest, FlagWithAValueSubmitsNothing) {
  EXPECT_EQ("velmo: --dry-run takes no value (see --help)\n",
            mistakeIn({"--dry-run=false", "-p", "Normal", "true"}));
}

TEST_F(SubmitCommandTest, PlaceOfAServiceThatIsEmptyIsRefused) {
  EXPECT_EQ("velmo: --to \"\": expected HOST:PORT (see --help)\n",
            mistakeIn({"-p", "Normal", "--to", "", "true"}));
}

TEST_F(SubmitCommandTest, DryRunShowsThePathAndTheContents) {
  const ToolResult result = submit({"--dry-run", "-p", "Normal", "-j", "J5", "a\tb"});
  const std::string time(14, '?');
  EXPECT_EQ(0, result.status) << result.output;
  EXPECT_EQ("path               " + m_installation.directory.path("var/taskqueue/0500.") + time +
                ".J5.S0.T" + time +
                "-?.R0000.sh\n"
                "priority           500\n"
                "job                J5\n"
                "sub job            0\n"
                "relative priority  0\n"
                "type               sh\n"
                "contents           a\\x09b\\n\n",
            result.output);
  EXPECT_TRUE(m_installation.queue().empty());
}

TEST_F(SubmitCommandTest, DryRunHasTheStatusOfItsFirstFinding) {
  m_installation.semaphore.remove();
  const ToolResult result = submit({"--dry-run", "-p", "Normal", "-j", "J5", "true"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.output, HasSubstr("\nfinding: the service is not running: "));
  EXPECT_EQ("", result.errors);
}

TEST_F(SubmitCommandTest, DryRunByMessageDoesNotConnect) {
  const ToolResult result =
      submit({"--dry-run", "--json", "-p", "Normal", "--to", "[::1]:1", "true"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output, StartsWith("{\"host\":\"::1\",\"port\":1,\"path\":\"/velmo\","));
}

TEST_F(SubmitCommandTest, DryRunWithoutModulesFilePrintsItsObject) {
  const ToolResult result = submit({"--dry-run", "--json", "-p", "Normal", "--service", "--modules",
                                    m_installation.directory.path("none.xml"), "true"});
  EXPECT_EQ(2, result.status);
  EXPECT_EQ("", result.errors);
  EXPECT_THAT(result.output, StartsWith("{\"host\":null,\"port\":null,"));
  EXPECT_THAT(result.output, HasSubstr("\"findings\":[{\"status\":\"not_configured\","));
}

TEST_F(SubmitCommandTest, ServiceThatIsNotThereIsUnreachable) {
  const ToolResult result = submit({"--json", "-p", "Normal", "--to", "127.0.0.1:1", "true"});
  EXPECT_EQ(8, result.status);
  EXPECT_EQ(
      "{\"name\":null,\"status\":\"unreachable\",\"message\":\"cannot connect to 127.0.0.1:1: "
      "Connection refused\"}\n",
      result.output);
}

TEST_F(SubmitCommandTest, HelpSaysHowWordsReachTheService) {
  const ToolResult result = submit({"--help"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output,
              StartsWith("Usage: velmo submit -p CLASS [OPTION...] [--] COMMAND..."));
  EXPECT_THAT(result.output, HasSubstr("One word is the command line itself"));
}

// The contents of the file of the task that the output names.
std::string queuedIn(const StandinProcess& standin, const ToolResult& result) {
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, EndsWith("\n"));
  return textOf(standin.home() / "var/taskqueue" /
                result.output.substr(0, result.output.size() - 1));
}

TEST(SubmitByMessageTest, ServiceOfModulesXmlQueuesTheTask) {
  StandinProcess standin({"--no-run", "--port", "0"});
  standin.applyEnvironment();
  const ToolResult result = runTool({"submit", "-p", "Normal", "--service", "echo", "a b"});
  EXPECT_EQ("echo 'a b'\n", queuedIn(standin, result));
}

TEST(SubmitByMessageTest, ServiceCanBeNamed) {
  const StandinProcess standin({"--no-run", "--port", "0"});
  const ToolResult result = runTool(
      {"submit", "-p", "Normal", "--to", "127.0.0.1:" + std::to_string(standin.port()), "true"});
  EXPECT_EQ("true\n", queuedIn(standin, result));
}

TEST(SubmitByMessageTest, ModulesFileCanBeNamed) {
  const StandinProcess standin({"--no-run", "--port", "0"});
  const ToolResult result = runTool({"submit", "-p", "Normal", "--service", "--modules",
                                     standin.environment().at("VELMO_MODULES_XML"), "true"});
  EXPECT_EQ("true\n", queuedIn(standin, result));
}

TEST(SubmitByMessageTest, TaskInDoubtIsSaidToBe) {
  const StandinProcess standin({"--no-run", "--port", "0", "--fault", "reset-after-request"});
  const ToolResult result = runTool({"submit", "--json", "-p", "Normal", "--to",
                                     "127.0.0.1:" + std::to_string(standin.port()), "true"});
  EXPECT_EQ(11, result.status);
  EXPECT_THAT(result.errors, StartsWith("velmo: the task may be queued: "));
  EXPECT_THAT(result.output,
              StartsWith("{\"name\":null,\"status\":\"in_doubt\",\"message\":\"the task may be"));
}

}  // namespace
}  // namespace velmo::test
