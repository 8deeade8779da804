#include "TerminalProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <array>
#include <chrono>
#include <stdexcept>

#include "ChildProgram.h"

namespace velmo::test {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLimit{30};
constexpr int kPauseMilliseconds = 5;

// Runs in the child, between fork and exec.
[[noreturn]] void run(int terminal, const std::vector<char*>& arguments,
                      std::vector<std::string>& variables) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  login_tty(terminal);
  unsetenv("NO_COLOR");
  unsetenv("COLUMNS");
  setenv("TERM", "xterm", 1);
  for (std::string& variable : variables) {
    putenv(variable.data());
  }
  execv(arguments[0], arguments.data());
  _exit(99);
}

}  // namespace

TerminalProcess::TerminalProcess(const std::vector<std::string>& arguments, unsigned short columns,
                                 unsigned short rows, const std::vector<std::string>& variables) {
  const winsize size{rows, columns, 0, 0};
  if (openpty(&m_master, &m_slave, nullptr, nullptr, &size) != 0) {
    throw std::runtime_error("no pseudo terminal");
  }
  fcntl(m_master, F_SETFD, FD_CLOEXEC);
  fcntl(m_master, F_SETFL, O_NONBLOCK);
  std::vector<std::string> texts{TOOL_PROGRAM};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<std::string> given = variables;
  const std::vector<char*> pointers = pointersTo(texts);
  m_pid = fork();
  if (m_pid == 0) {
    run(m_slave, pointers, given);
  }
  fcntl(m_slave, F_SETFD, FD_CLOEXEC);
}

TerminalProcess::~TerminalProcess() {
  if (m_pid > 0) {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  close(m_slave);
  close(m_master);
}

// Returns whether there was more.
bool TerminalProcess::readMore() {
  std::array<char, 4096> buffer{};
  const ssize_t count = read(m_master, buffer.data(), buffer.size());
  if (count <= 0) {
    return false;
  }
  m_output.append(buffer.data(), static_cast<std::size_t>(count));
  return true;
}

const std::string& TerminalProcess::output() {
  while (readMore()) {
  }
  return m_output;
}

bool TerminalProcess::shows(const std::string& text) {
  const auto deadline = Clock::now() + kLimit;
  while (Clock::now() < deadline) {
    const std::size_t place = output().find(text);
    if (place != std::string::npos) {
      m_output.erase(0, place + text.size());
      return true;
    }
    pollfd file{m_master, POLLIN, 0};
    poll(&file, 1, kPauseMilliseconds);
  }
  return false;
}

void TerminalProcess::type(const std::string& keys) const {
  if (write(m_master, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
    throw std::runtime_error("cannot type");
  }
}

void TerminalProcess::signal(int number) const {
  kill(m_pid, number);
}

void TerminalProcess::resize(unsigned short columns, unsigned short rows) const {
  const winsize size{rows, columns, 0, 0};
  ioctl(m_master, TIOCSWINSZ, &size);
}

termios TerminalProcess::modes() const {
  termios modes{};
  tcgetattr(m_slave, &modes);
  return modes;
}

int TerminalProcess::wait() {
  const auto deadline = Clock::now() + kLimit;
  int status = 0;
  while (waitpid(m_pid, &status, WNOHANG) != m_pid) {
    if (Clock::now() > deadline) {
      throw std::runtime_error("velmo does not end: " + output());
    }
    output();
    poll(nullptr, 0, kPauseMilliseconds);
  }
  m_pid = -1;
  output();
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace velmo::test
