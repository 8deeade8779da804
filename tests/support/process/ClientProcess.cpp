#include "ClientProcess.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <system_error>

namespace velmo::test {

namespace {

constexpr int kLimitMs = 20000;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
      fail("pipe");
    }
    out = ends[0];
    in = ends[1];
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    close(out);
    closeIn();
  }
  void closeIn() {
    if (in >= 0) {
      close(in);
      in = -1;
    }
  }
  int out = -1;
  int in = -1;
};

[[noreturn]] void beClient(const Client& client, unsigned short port, int report, int errors) {
  dup2(errors, STDERR_FILENO);
  client(port, [report](const std::string& step) {
    const std::string text = step + "; ";
    if (write(report, text.data(), text.size()) < 0) {
      std::abort();
    }
  });
  std::exit(0);  // the leak check of the sanitizer runs here
}

// Appends what comes from the pipe until every write end, all the child's, is closed.
// @return false if a wait for more exceeds the limit
bool readInTime(int descriptor, std::string& text) {
  std::array<char, 4096> buffer{};
  for (;;) {
    pollfd entry{descriptor, POLLIN, 0};
    if (poll(&entry, 1, kLimitMs) <= 0) {
      return false;
    }
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count <= 0) {
      return true;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

std::string endOf(pid_t child, bool inTime) {
  if (!inTime) {
    kill(child, SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!inTime) {
    return "hang";
  }
  return WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                           : "signal " + std::to_string(WTERMSIG(status));
}

}  // namespace

ClientOutcome runAgainst(const std::vector<PeerScript>& scripts, const Client& client) {
  const PeerListener listener;
  Pipe report;
  Pipe errors;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    fail("fork");
  }
  if (child == 0) {
    beClient(client, listener.port(), report.in, errors.in);
  }
  report.closeIn();
  errors.closeIn();
  ClientOutcome outcome;
  try {
    for (const PeerScript& script : scripts) {
      listener.serve(script);
    }
  } catch (const std::exception& exception) {
    outcome.peer = exception.what();
  }
  const bool inTime = readInTime(report.out, outcome.report);
  outcome.end = endOf(child, inTime);
  readInTime(errors.out, outcome.errors);
  return outcome;
}

}  // namespace velmo::test
