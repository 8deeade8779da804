// Signals: the first lets velmo-standin finish, the second ends it at once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "StandinProcess.h"

namespace fs = std::filesystem;

namespace velmo::test {
namespace {

class StandinSignalsTest : public testing::Test {
 protected:
  // Arguments that run a script as COMMAND in this directory.
  std::vector<std::string> running(const std::string& script) const {
    return inHome(home(), shell(script));
  }

  bool waitFor(const char* file) const {
    return waitUntil([&] { return fs::exists(home() / file); });
  }

  // Queues a task that runs until the file "go" exists, and waits for its start.
  void startTask(const TestTask& task) const {
    queueFile(home(), task.fileName(),
              "echo >started; " + waitForFile(home() / "go") + "; echo done\n");
    ASSERT_TRUE(waitFor("started"));
  }

  void letGo() const {
    std::ofstream(home() / "go").put('x');
  }

  const fs::path& home() const {
    return m_directory.path();
  }

  TemporaryDirectory m_directory;
};

// A program that runs in the foreground of a separate terminal.
class TerminalProcess {
 public:
  explicit TerminalProcess(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    m_pid = forkpty(&m_terminal, nullptr, nullptr, nullptr);
    if (m_pid == 0) {
      execv(pointers[0], pointers.data());
      _exit(99);
    }
  }

  TerminalProcess(const TerminalProcess&) = delete;
  TerminalProcess& operator=(const TerminalProcess&) = delete;

  ~TerminalProcess() {
    close(m_terminal);
    if (!m_ended) {
      kill(m_pid, SIGKILL);
      waitpid(m_pid, nullptr, 0);
    }
  }

  pid_t pid() const {
    return m_pid;
  }

  // Sends the interrupt character and waits until SIGINT is pending in the stopped process.
  void pressInterrupt() const {
    EXPECT_EQ(1, write(m_terminal, "\x03", 1));
    EXPECT_TRUE(waitUntil([&] {
      const std::string status = textOf("/proc/" + std::to_string(m_pid) + "/status");
      const std::string pending = status.substr(status.find("ShdPnd:") + 7, 17);
      return (std::stoull(pending, nullptr, 16) & (1ULL << (SIGINT - 1))) != 0;
    }));
  }

  int wait() {
    int status = 0;
    EXPECT_TRUE(waitUntil([&] { return waitpid(m_pid, &status, WNOHANG) == m_pid; }));
    m_ended = true;
    return WEXITSTATUS(status);
  }

 private:
  int m_terminal = -1;
  pid_t m_pid = -1;
  bool m_ended = false;
};

// Repeats the signal until it counts as a second request and not as part of the first.
int insist(StandinProcess& standin, int number) {
  EXPECT_TRUE(waitUntil([&] {
    if (!standin.isRunning()) {
      return true;
    }
    standin.signal(number);
    return false;
  }));
  return standin.wait();
}

TEST_F(StandinSignalsTest, WithoutCommandEverySignalToEndIsTheOrdinaryEnd) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    StandinProcess standin;
    const fs::path directory = standin.home();
    const int segment = std::stoi(standin.environment().at("SHARED_VELMO_TASKID"));
    const int semaphore = std::stoi(standin.environment().at("SEMAPHORE_VELMO_TASKID"));
    standin.signal(number);
    EXPECT_EQ(0, standin.wait()) << number;
    EXPECT_FALSE(fs::exists(directory)) << number;
    EXPECT_EQ(-1, shmget(segment, 0, 0)) << number;
    EXPECT_EQ(-1, semget(semaphore, 1, 0)) << number;
  }
}

TEST_F(StandinSignalsTest, FirstSignalDrainsTheQueue) {
  const TestTask running{50, 1};
  const TestTask waiting{60, 2};
  StandinProcess standin(inHome(home()));
  startTask(running);
  queueFile(home(), waiting.fileName(), "true\n");
  standin.signal(SIGINT);
  letGo();
  EXPECT_EQ(0, standin.wait());
  EXPECT_EQ(running.ranLine("exit 0", home()) + waiting.ranLine("exit 0", home()),
            standin.errors());
}

TEST_F(StandinSignalsTest, FirstSignalIsPassedToCommandWhoseStatusCounts) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    StandinProcess standin(shell("trap 'exit 9' " + std::to_string(number) +
                                 "; echo ready; while :; do sleep 0.01; done"));
    ASSERT_TRUE(waitUntil([&] { return standin.output() == "ready\n"; }));
    standin.signal(number);
    EXPECT_EQ(9, standin.wait()) << number;
  }
}

TEST_F(StandinSignalsTest, CommandEndedByThePassedSignalGives128AndTheSignal) {
  StandinProcess standin(running("echo >\"$VAR/../ready\"; exec sleep 600"));
  ASSERT_TRUE(waitFor("ready"));
  standin.signal(SIGTERM);
  EXPECT_EQ(128 + SIGTERM, standin.wait());
}

TEST_F(StandinSignalsTest, SignalBeforeTheEndOfCommandLeavesTimeForWhatItStillSubmits) {
  const TestTask task{50, 1};
  StandinProcess standin(running("trap 'echo true >\"$TMP/x\"; mv \"$TMP/x\" \"$VAR/taskqueue/" +
                                 task.fileName() +
                                 "\"; exit 0' TERM; echo >\"$VAR/../ready\"; "
                                 "while :; do sleep 0.01; done"));
  ASSERT_TRUE(waitFor("ready"));
  standin.signal(SIGTERM);
  EXPECT_EQ(0, standin.wait());
  EXPECT_EQ(task.ranLine("exit 0", home()), standin.errors());
}

// The terminal signals the whole foreground group, COMMAND included. This COMMAND has left the
// group, so a signal can reach it only if velmo-standin passes it on.
TEST_F(StandinSignalsTest, SignalFromTheTerminalIsNotPassedToCommandASecondTime) {
  const TestTask task{50, 1};
  const std::string script =
      "trap 'echo >\"$VAR/../passed\"' INT; echo >\"$VAR/../ready\"; until [ -e "
      "\"$VAR/../go\" ]; do sleep 0.01; done; exit 5";
  TerminalProcess standin(
      {STANDIN_PROGRAM, "--home", home().string(), "--", "setsid", "/bin/sh", "-c", script});
  ASSERT_TRUE(waitFor("ready"));
  kill(standin.pid(), SIGSTOP);  // the interrupt must come before the task
  standin.pressInterrupt();
  queueFile(home(), task.fileName(), "echo >ran\n");
  kill(standin.pid(), SIGCONT);
  ASSERT_TRUE(waitFor("ran"));
  letGo();
  EXPECT_EQ(5, standin.wait());
  EXPECT_FALSE(fs::exists(home() / "passed"));
}

TEST_F(StandinSignalsTest, SecondSignalKillsTheTaskAndLeavesItsFileInTheQueue) {
  const TestTask running{50, 1};
  const TestTask waiting{60, 2};
  StandinProcess standin(inHome(home()));
  startTask(running);
  queueFile(home(), waiting.fileName(), "true\n");
  standin.signal(SIGTERM);
  EXPECT_EQ(128 + SIGINT, insist(standin, SIGINT));
  EXPECT_EQ(running.description() + ": interrupted, left in the queue\n", standin.errors());
  EXPECT_TRUE(fs::exists(home() / "var/taskqueue" / running.fileName()));
  EXPECT_TRUE(fs::exists(home() / "var/taskqueue" / waiting.fileName()));

  letGo();
  StandinProcess next(inHome(home(), {"--", "true"}));
  EXPECT_EQ(0, next.wait());
  EXPECT_EQ(running.ranLine("exit 0", home()) + waiting.ranLine("exit 0", home()), next.errors());
}

TEST_F(StandinSignalsTest, SecondSignalKillsTheWholeProcessGroupOfTheTask) {
  const TestTask task{50, 1};
  StandinProcess standin(inHome(home()));
  queueFile(home(), task.fileName(), "sleep 600 & echo $! >pid; mv pid started; wait\n");
  ASSERT_TRUE(waitFor("started"));
  const pid_t grandchild = std::stoi(textOf(home() / "started"));
  EXPECT_EQ(128 + SIGTERM, insist(standin, SIGTERM));
  // A killed process remains visible until its new parent collects it.
  EXPECT_TRUE(waitUntil([&] {
    const std::string status = textOf("/proc/" + std::to_string(grandchild) + "/stat");
    return status.empty() || status.find(") Z ") != std::string::npos;
  }));
}

TEST_F(StandinSignalsTest, SecondSignalKillsCommandAndRemovesEverything) {
  StandinProcess standin(shell("trap '' TERM; echo \"$VAR\"; exec sleep 600"));
  ASSERT_TRUE(waitUntil([&] { return !standin.output().empty(); }));
  const fs::path directory = fs::path(standin.output()).parent_path();
  EXPECT_TRUE(fs::exists(directory));
  EXPECT_EQ(128 + SIGTERM, insist(standin, SIGTERM));
  EXPECT_FALSE(fs::exists(directory));
}

// timeout(1) signals its child and then the group; a session that ends does the same.
TEST_F(StandinSignalsTest, SignalsInOneBreathAreOneRequest) {
  const TestTask task{50, 1};
  StandinProcess standin(inHome(home()));
  startTask(task);
  standin.signal(SIGSTOP);
  standin.signal(SIGTERM);
  standin.signal(SIGHUP);
  standin.signal(SIGCONT);
  letGo();
  EXPECT_EQ(0, standin.wait());
  EXPECT_EQ(task.ranLine("exit 0", home()), standin.errors());
}

TEST_F(StandinSignalsTest, HangUpThatIsIgnoredFromTheStartStaysIgnored) {
  const auto before = signal(SIGHUP, SIG_IGN);
  StandinProcess standin(inHome(home()));
  signal(SIGHUP, before);
  standin.signal(SIGHUP);
  std::string reports;
  for (int id = 1; id <= 3; ++id) {
    const TestTask task{50, id};
    queueFile(home(), task.fileName(), "true\n");
    reports += task.ranLine("exit 0", home());
    ASSERT_TRUE(waitUntil([&] { return standin.errors() == reports; }));
  }
  EXPECT_EQ(0, standin.end());
}

TEST_F(StandinSignalsTest, InterruptIsHeardEvenIfAScriptStartedItInTheBackground) {
  const auto before = signal(SIGINT, SIG_IGN);
  StandinProcess standin(inHome(home()));
  signal(SIGINT, before);
  standin.signal(SIGINT);
  EXPECT_EQ(0, standin.wait());
}

}  // namespace
}  // namespace velmo::test
