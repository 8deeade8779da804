#include "ToolProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace velmo::test {

namespace {

constexpr std::chrono::seconds kLimit{60};
constexpr int kPauseMilliseconds = 1;

std::string contentsOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void become(int descriptor, int standard) {
  dup2(descriptor, standard);
  close(descriptor);
}

// Runs in the child, between fork and exec.
[[noreturn]] void run(const std::vector<char*>& arguments, const fs::path& directory,
                      const fs::path& input) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  unsetenv("NO_COLOR");
  unsetenv("COLUMNS");
  become(open(input.empty() ? "/dev/null" : input.c_str(), O_RDONLY), STDIN_FILENO);
  become(open((directory / "out").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDOUT_FILENO);
  become(open((directory / "err").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
  execv(arguments[0], arguments.data());
  _exit(99);
}

}  // namespace

ToolProcess::ToolProcess(const std::vector<std::string>& arguments, const fs::path& input) {
  std::vector<std::string> texts{TOOL_PROGRAM};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  const std::vector<char*> pointers = pointersTo(texts);
  const pid_t child = fork();
  if (child == 0) {
    run(pointers, m_directory.path(), input);
  }
  m_program.adopt(child);
}

std::string ToolProcess::output() const {
  return contentsOf(m_directory.path() / "out");
}

std::string ToolProcess::errors() const {
  return contentsOf(m_directory.path() / "err");
}

ToolResult ToolProcess::wait() {
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  while (isRunning()) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("velmo does not end: " + errors());
    }
    poll(nullptr, 0, kPauseMilliseconds);
  }
  return {m_program.status(), output(), errors()};
}

ToolResult runTool(const std::vector<std::string>& arguments, const std::string& input) {
  const TemporaryDirectory directory;
  const fs::path file = directory.path() / "input";
  std::ofstream(file, std::ios::binary) << input;
  return ToolProcess(arguments, file).wait();
}

}  // namespace velmo::test
