#include "PeerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <system_error>

namespace velmo::test {

namespace {

constexpr int kLimitMs = 30000;

int g_told = -1;  // in the child

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

[[noreturn]] void bePeer(const PeerListener& listener, const std::vector<PeerScript>& scripts) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    for (const PeerScript& script : scripts) {
      listener.serve(script);
    }
  } catch (const std::exception& exception) {
    tellTest("FAILED: " + std::string(exception.what()));
  }
  _exit(0);
}

}  // namespace

void tellTest(const std::string& text) {
  if (write(g_told, text.data(), text.size()) < 0) {
    _exit(1);
  }
}

PeerProcess::PeerProcess(const std::vector<PeerScript>& scripts) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    fail("pipe2");
  }
  m_told = ends[0];
  m_process = fork();
  if (m_process == 0) {
    g_told = ends[1];
    bePeer(m_listener, scripts);
  }
  close(ends[1]);
  if (m_process < 0) {
    fail("fork");
  }
}

PeerProcess::~PeerProcess() {
  if (m_process > 0) {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
  }
  close(m_told);
}

unsigned short PeerProcess::port() const {
  return m_listener.port();
}

int PeerProcess::told() const {
  return m_told;
}

std::string PeerProcess::end() {
  std::string text;
  std::array<char, 4096> buffer{};
  for (;;) {
    pollfd entry{m_told, POLLIN, 0};
    const int ready = poll(&entry, 1, kLimitMs);
    if (ready < 0 && errno == EINTR) {
      continue;
    }
    if (ready <= 0) {
      return text + "FAILED: the peer does not end";
    }
    const ssize_t count = read(m_told, buffer.data(), buffer.size());
    if (count <= 0) {
      break;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
  }
  m_process = -1;
  return text;
}

}  // namespace velmo::test
