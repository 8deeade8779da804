// velmo queue --watch.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

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

// The program velmo on a terminal that another process group has now.
class Background {
 public:
  explicit Background(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TOOL_PROGRAM);
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const winsize size{24, 80, 0, 0};
    m_pid = forkpty(&m_terminal, nullptr, nullptr, &size);
    if (m_pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      giveTerminalAway();
      setenv("TERM", "xterm", 1);
      execv(pointers[0], pointers.data());
      _exit(99);
    }
  }
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;
  ~Background() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
    close(m_terminal);
  }

  // What it writes up to the first line feed.
  std::string start() const {
    std::string output;
    std::array<char, 4096> buffer{};
    pollfd file{m_terminal, POLLIN, 0};
    constexpr int kLimit = 30000;
    while (output.find('\n') == std::string::npos && poll(&file, 1, kLimit) > 0) {
      const ssize_t count = read(m_terminal, buffer.data(), buffer.size());
      if (count <= 0) {
        break;
      }
      output.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return output;
  }

 private:
  // To a process that does not outlive this one.
  static void giveTerminalAway() {
    const pid_t self = getpid();
    const pid_t user = fork();
    if (user == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      while (getppid() == self) {
        pause();
      }
      _exit(0);
    }
    setpgid(user, user);
    tcsetpgrp(STDIN_FILENO, user);
  }

  int m_terminal = -1;
  pid_t m_pid = -1;
};

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

TEST_F(QueueWatchTest, QueueInWhichNothingMatchesIsNotCalledEmpty) {
  put(1);
  TerminalProcess process({"queue", "--watch", "--job", "x"}, 80, 24);
  EXPECT_TRUE(process.shows(": 0 matching tasks, last change "));
  EXPECT_TRUE(process.shows("\r\nno task in the queue matches\x1b[K"));
}

TEST_F(QueueWatchTest, TerminalOfAnotherProgramGetsLines) {
  put(1);
  const Background process({"queue", "--watch"});
  EXPECT_THAT(process.start(), testing::EndsWith("  present  " + name(1) + "\r\n"));
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
