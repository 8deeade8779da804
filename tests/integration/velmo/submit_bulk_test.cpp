// velmo submit --stdin.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "NamedPipe.h"
#include "SizeLimit.h"
#include "StandinProcess.h"
#include "TaskInstallation.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using Words = std::vector<std::string>;

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string numberedLines(int count) {
  std::string text;
  for (int i = 1; i <= count; ++i) {
    text += "echo " + std::to_string(i) + "\n";
  }
  return text;
}

// The commands of the tasks in a queue, each with how often it is there.
std::map<std::string, int> commandsIn(const fs::path& queue) {
  std::map<std::string, int> commands;
  for (const auto& entry : fs::directory_iterator(queue)) {
    ++commands[textOf(entry.path())];
  }
  return commands;
}

class SubmitBulkTest : public testing::Test {
 protected:
  SubmitBulkTest() {
    m_installation.writeConfPriorities("Normal=500\n");
    m_installation.writeJobCounter("7");
  }

  static ToolResult submit(const std::string& input, Words options = {"-p", "Normal", "-j", "J5"}) {
    options.insert(options.begin(), {"submit", "--stdin"});
    return runTool(options, input);
  }

  std::string queue() const {
    return m_installation.directory.path("var/taskqueue");
  }

  TaskInstallation m_installation;
  TemporaryDirectory m_directory;
  std::string m_failed = m_directory.path("failed");
};

TEST_F(SubmitBulkTest, EveryLineIsQueuedAndReported) {
  const ToolResult result =
      submit("one 'a' %d\n\n{\"command\":\"two\",\"information\":\"i\"}\nlast");
  EXPECT_EQ(0, result.status);
  EXPECT_EQ((std::map<std::string, int>{{"one 'a' %d\n", 1}, {"two\ni\n", 1}, {"last\n", 1}}),
            commandsIn(queue()));
  const std::vector<std::string> results = linesOf(result.output);
  ASSERT_EQ(3U, results.size());
  const std::vector<std::string> names = m_installation.queue();
  EXPECT_EQ("1\tok\t" + names[0], results[0]);
  EXPECT_THAT(results[1], StartsWith("3\tok\t0500."));
  EXPECT_THAT(results[2], StartsWith("4\tok\t0500."));
  EXPECT_THAT(result.errors,
              MatchesRegex("velmo: 3 lines: 3 queued, 0 failed, 0 in doubt, [0-9]+\\.[0-9] s, "
                           "[0-9]+ tasks/s\n"));
}

TEST_F(SubmitBulkTest, EveryLineMayHaveItsOwnClass) {
  const ToolResult result =
      submit("{\"command\":\"one\",\"priority_class\":\"Normal\"}\ntwo\n", {"--json"});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.output, StartsWith("{\"line\":1,\"status\":\"ok\",\"name\":\"0500."));
  EXPECT_THAT(result.output, HasSubstr("{\"line\":2,\"status\":\"invalid_argument\","
                                       "\"message\":\"priority_class is missing\"}\n"));
}

TEST_F(SubmitBulkTest, NoiseFailsItsLines) {
  const std::string noise("a\0b\nc\n", 6);
  const ToolResult result = submit(noise, {"-p", "Normal", "-j", "J5", "--failed", m_failed});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.output, StartsWith("1\tinvalid_argument\tcommand contains a NUL byte\n2\tok"));
  EXPECT_EQ(std::string("a\0b\n", 4), textOf(m_failed));
  EXPECT_THAT(result.errors, HasSubstr("velmo: failed lines: \"" + m_failed + "\"\n"));
}

TEST_F(SubmitBulkTest, LineOf16MebibytesIsQueuedAndALongerOneIsKeptWhole) {
  const std::string longest(16UL * 1024 * 1024, 'x');
  const ToolResult result = submit(longest + "\n" + longest + "y\nnext\n",
                                   {"-p", "Normal", "-j", "J5", "--failed", m_failed});
  const std::vector<std::string> results = linesOf(result.output);
  ASSERT_EQ(3U, results.size());
  EXPECT_THAT(results[0], StartsWith("1\tok\t"));
  EXPECT_EQ("2\tinvalid_argument\tline too long", results[1]);
  EXPECT_THAT(results[2], StartsWith("3\tok\t"));
  EXPECT_TRUE(textOf(m_failed) == longest + "y\n");
}

TEST_F(SubmitBulkTest, ServiceThatIsNotRunningFailsEveryLineWithTheSameStatus) {
  m_installation.semaphore.remove();
  const std::string input = numberedLines(2000);
  const ToolResult result = submit(input, {"-p", "Normal", "--failed", m_failed});
  EXPECT_EQ(3, result.status);
  EXPECT_EQ(input, textOf(m_failed));
  const std::vector<std::string> results = linesOf(result.output);
  ASSERT_EQ(2000U, results.size());
  EXPECT_EQ(results[0].substr(1), results[1999].substr(4));
}

TEST_F(SubmitBulkTest, TimeoutIsWaitedForOnce) {
  m_installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  const ToolResult result = submit(numberedLines(1000), {"-p", "Normal", "--timeout", "1"});
  EXPECT_EQ(4, result.status);
  EXPECT_EQ(1000U, linesOf(result.output).size());
}

TEST_F(SubmitBulkTest, EmptyFilesOfARunThatWasKilledAreReplaced) {
  m_directory.writeFile("failed", "");
  m_directory.writeFile("failed.in-doubt", "");
  const ToolResult result =
      submit("true\n{\"x\n", {"-p", "Normal", "-j", "J5", "--failed", m_failed});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("{\"x\n", textOf(m_failed));
  EXPECT_FALSE(fs::exists(m_failed + ".in-doubt"));
}

TEST_F(SubmitBulkTest, FailedFileThatIsTheInputIsRefusedAndUnchanged) {
  const std::string input = m_directory.writeFile("input", "one\n");
  ToolProcess process({"submit", "--stdin", "-p", "Normal", "--failed", input}, input);
  const ToolResult result = process.wait();
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("velmo: \"" + input + "\" is the file that the lines come from\n", result.errors);
  EXPECT_EQ("one\n", textOf(input));
  EXPECT_TRUE(m_installation.queue().empty());
}

TEST_F(SubmitBulkTest, ReaderThatIsGoneEndsTheRunAndTheLinesAreKept) {
  const std::string input = m_directory.writeFile("input", numberedLines(1000));
  const std::string command = "{ { " + std::string(TOOL_PROGRAM) +
                              " submit --stdin -p Normal -j J5 --failed " + m_failed + " <" +
                              input + " 2>" + m_directory.path("errors") + "; echo $? >" +
                              m_directory.path("status") + "; } | :; }";
  EXPECT_EQ(0, system(command.c_str()));
  const std::size_t queued = m_installation.queue().size();
  EXPECT_LT(queued, 1000U);
  EXPECT_EQ(1000U - queued, linesOf(textOf(m_failed)).size());
  EXPECT_EQ(std::to_string(128 + SIGPIPE) + "\n", textOf(m_directory.path("status")));
  EXPECT_THAT(textOf(m_directory.path("errors")),
              HasSubstr("velmo: stopped at line " + std::to_string(queued + 1) + ";"));
}

TEST_F(SubmitBulkTest, FullDiskForFailedLinesStopsTheRun) {
  signal(SIGXFSZ, SIG_IGN);  // the program inherits it
  const std::string input =
      m_directory.writeFile("input", "{\"" + std::string(3000, 'x') + "\ntwo\n");
  const SizeLimit limit(2000);
  ToolProcess process({"submit", "--stdin", "-p", "Normal", "-j", "J5", "--failed", m_failed},
                      input);
  const ToolResult result = process.wait();
  EXPECT_EQ(6, result.status);
  EXPECT_THAT(result.errors, StartsWith("velmo: cannot write \"" + m_failed +
                                        "\": File too large; line 1 is in no file\n"
                                        "velmo: 1 line: 0 queued, 1 failed, 0 in doubt, "));
  EXPECT_THAT(result.errors,
              HasSubstr("velmo: stopped at line 2; the lines from 2 on are not queued\n"));
  EXPECT_FALSE(fs::exists(m_failed));
}

TEST_F(SubmitBulkTest, DeviceIsRefusedAsTheFileOfFailedLines) {
  const ToolResult result = submit("one\n", {"-p", "Normal", "--failed", "/dev/full"});
  EXPECT_EQ(1, result.status);
  EXPECT_TRUE(m_installation.queue().empty());
}

TEST_F(SubmitBulkTest, ProgressIsShownOnATerminal) {
  int master = -1;
  int slave = -1;
  ASSERT_EQ(0, openpty(&master, &slave, nullptr, nullptr, nullptr));
  std::array<char, 64> terminal{};
  ASSERT_EQ(0, ttyname_r(slave, terminal.data(), terminal.size()));
  fcntl(master, F_SETFL, O_NONBLOCK);
  NamedPipe input(m_directory.path("input"));
  std::thread submission([&] {
    const std::string command = std::string(TOOL_PROGRAM) + " submit --stdin -p Normal -j J5 <" +
                                input.path() + " >/dev/null 2>" + terminal.data();
    EXPECT_EQ(0, system(command.c_str()));
  });
  std::string shown;
  const auto shows = [&](const std::string& text) {
    std::array<char, 4096> buffer{};
    for (ssize_t size = 0; (size = read(master, buffer.data(), buffer.size())) > 0;) {
      shown.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return shown.find(text) != std::string::npos;
  };
  EXPECT_TRUE(waitUntil([&] {
    input.write("one\n");
    return shows(" tasks/s");
  }));
  input.closeWriter();
  submission.join();
  EXPECT_THAT(shown, StartsWith("\rvelmo: "));
  EXPECT_TRUE(shows(" \rvelmo: ")) << shown;  // the summary overwrites the progress
  close(slave);
  close(master);
}

class SubmitBulkByMessageTest : public testing::Test {
 protected:
  static ToolResult submit(const StandinProcess& standin, const std::string& input,
                           const Words& options = {}) {
    Words words{"submit", "--stdin", "-p",
                "Normal", "--to",    "127.0.0.1:" + std::to_string(standin.port())};
    words.insert(words.end(), options.begin(), options.end());
    return runTool(words, input);
  }

  TemporaryDirectory m_directory;
  std::string m_failed = m_directory.path("failed");
};

TEST_F(SubmitBulkByMessageTest, RefusedLinesDoNotEndTheRun) {
  const StandinProcess standin(
      {"--no-run", "--port", "0", "--fault", "close-1008", "--faults", "2"});
  const ToolResult result =
      submit(standin, "one\ntwo\nthree\n", {"-j", "J5", "--failed", m_failed});
  EXPECT_EQ(10, result.status) << result.errors;
  const std::vector<std::string> results = linesOf(result.output);
  ASSERT_EQ(3U, results.size());
  EXPECT_THAT(results[0], StartsWith("1\trefused\t"));
  EXPECT_THAT(results[1], StartsWith("2\trefused\t"));
  EXPECT_THAT(results[2], StartsWith("3\tok\t"));
  EXPECT_EQ("one\ntwo\n", textOf(m_failed));
}

TEST_F(SubmitBulkByMessageTest, LineInDoubtIsKeptApart) {
  const StandinProcess standin(
      {"--no-run", "--port", "0", "--fault", "reset-after-request", "--faults", "1"});
  const ToolResult result = submit(standin, "one\ntwo\n", {"--failed", m_failed});
  EXPECT_EQ(11, result.status) << result.errors;
  EXPECT_EQ("one\n", textOf(m_failed + ".in-doubt"));
  EXPECT_FALSE(fs::exists(m_failed));
  EXPECT_THAT(result.errors,
              HasSubstr("velmo: lines in doubt: \"" + m_failed +
                        ".in-doubt\"\n"
                        "velmo: look in the queue before you submit lines in doubt again\n"));
}

TEST_F(SubmitBulkByMessageTest, ServiceThatAnswersWronglyPutsTwoLinesInDoubt) {
  for (const std::string fault :
       {"wrong-reply", "masked", "too-large", "close-1000", "reset-after-request"}) {
    const StandinProcess standin({"--no-run", "--port", "0", "--fault", fault});
    const std::string file = m_failed + "." + fault;
    const ToolResult result = submit(standin, numberedLines(100), {"--failed", file});
    EXPECT_EQ(11, result.status) << fault << result.errors;
    EXPECT_EQ("echo 1\necho 2\n", textOf(file + ".in-doubt")) << fault;
    EXPECT_EQ(98U, linesOf(textOf(file)).size()) << fault;
    EXPECT_THAT(linesOf(result.output).back(),
                HasSubstr("\tnot sent: the last task is in doubt: "));
  }
}

TEST_F(SubmitBulkByMessageTest, StandardErrorThatFailsLosesNoLine) {
  const StandinProcess standin({"--no-run", "--port", "0", "--fault", "wrong-reply"});
  const std::string input = m_directory.writeFile("input", numberedLines(5));
  const std::string command =
      std::string(TOOL_PROGRAM) +
      " submit --stdin -p Normal --to 127.0.0.1:" + std::to_string(standin.port()) + " --failed " +
      m_failed + " <" + input + " >/dev/null 2>/dev/full";
  const int status = system(command.c_str());
  EXPECT_EQ("echo 1\necho 2\n", textOf(m_failed + ".in-doubt"));
  EXPECT_EQ("echo 3\necho 4\necho 5\n", textOf(m_failed));
  EXPECT_EQ(11, WEXITSTATUS(status));
}

TEST_F(SubmitBulkByMessageTest, ServiceThatIsNotThereFailsEveryLineWithTheSameStatus) {
  const ToolResult result =
      runTool({"submit", "--stdin", "-p", "Normal", "--to", "127.0.0.1:1", "--failed", m_failed},
              numberedLines(100));
  EXPECT_EQ(8, result.status);
  EXPECT_EQ(100U, linesOf(result.output).size());
  EXPECT_EQ(numberedLines(100), textOf(m_failed));
}

// Removes the System V objects of a stand-in, which cannot do it itself if it is killed.
class RemovedCounters {
 public:
  explicit RemovedCounters(const StandinProcess& standin)
      : m_semaphore(semget(standin.key("SEMAPHORE_VELMO_TASKID"), 0, 0)),
        m_segment(shmget(standin.key("SHARED_VELMO_TASKID"), 0, 0)) {}
  RemovedCounters(const RemovedCounters&) = delete;
  RemovedCounters& operator=(const RemovedCounters&) = delete;
  ~RemovedCounters() {
    semctl(m_semaphore, 0, IPC_RMID);
    shmctl(m_segment, IPC_RMID, nullptr);
  }

 private:
  int m_semaphore;
  int m_segment;
};

TEST_F(SubmitBulkByMessageTest, AfterAKillEveryLineIsQueuedOnceOrInDoubt) {
  constexpr int kLines = 2000;
  const fs::path home = m_directory.path("home");
  const std::string input = m_directory.writeFile("input", numberedLines(kLines));
  const std::string again = m_failed + ".again";
  {
    StandinProcess first(inHome(home, {"--no-run", "--port", "0"}));
    const RemovedCounters counters(first);
    ToolProcess process({"submit", "--stdin", "-p", "Normal", "-j", "J5", "--to",
                         "127.0.0.1:" + std::to_string(first.port()), "--failed", m_failed},
                        input);
    EXPECT_TRUE(waitUntil([&] { return process.output().size() > 10000; }));
    first.signal(SIGKILL);
    const ToolResult result = process.wait();
    EXPECT_EQ(static_cast<std::size_t>(kLines), linesOf(result.output).size());
    EXPECT_TRUE(result.status == 8 || result.status == 9 || result.status == 11) << result.errors;
  }
  const std::string left = textOf(m_failed);
  ASSERT_FALSE(left.empty());
  {
    StandinProcess second(inHome(home, {"--no-run", "--port", "0"}));
    // Another job: the second stand-in counts its tasks from 1 again.
    EXPECT_EQ(0, submit(second, left, {"-j", "J6", "--failed", again}).status);
  }
  std::map<std::string, int> queued = commandsIn(home / "var/taskqueue");
  const std::string inDoubt = textOf(m_failed + ".in-doubt");
  EXPECT_LE(std::count(inDoubt.begin(), inDoubt.end(), '\n'), 1);
  for (const std::string& line : linesOf(textOf(input))) {
    const int count = queued[line + "\n"];
    ASSERT_TRUE(count == 1 || (count == 0 && inDoubt == line + "\n")) << line << " " << count;
  }
  EXPECT_FALSE(fs::exists(again));
}

}  // namespace
}  // namespace velmo::test
