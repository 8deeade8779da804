#include "StandinProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace velmo::test {

namespace {

constexpr std::chrono::seconds kDeadline{30};
constexpr int kPauseMilliseconds = 2;
constexpr const char* kLastVariable = "export SEMAPHORE_VELMO_TASKID='";

// Runs in the child, between fork and exec. The child dies with the test program, which a time
// limit may stop.
[[noreturn]] void become(const std::vector<char*>& arguments, const fs::path& directory,
                         mode_t mask) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  setenv("TMPDIR", directory.c_str(), 1);
  const int output = open((directory / "stdout").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  const int errors = open((directory / "stderr").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  close(output);
  close(errors);
  umask(mask);
  execv(arguments[0], arguments.data());
  _exit(99);
}

// Undoes single quotes; a quote in the text is written '\''.
std::string unquoted(const std::string& text) {
  std::string value = text.substr(1, text.size() - 2);
  for (std::size_t at = 0; (at = value.find("'\\''", at)) != std::string::npos; ++at) {
    value.replace(at, 4, "'");
  }
  return value;
}

}  // namespace

bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    poll(nullptr, 0, kPauseMilliseconds);
  }
  return true;
}

std::string textOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string TestTask::fileName() const {
  std::array<char, 16> digits{};
  std::snprintf(digits.data(), digits.size(), "%04d", priority);
  return std::string(digits.data()) + ".20250303140509.J12.S0.T20250303140509-" +
         std::to_string(taskId) + ".R0002." + type;
}

std::string TestTask::description() const {
  const std::string name = fileName();
  return "velmo-standin: priority " + name.substr(0, name.find('.')) +
         ", created 2025-03-03 14:05:09, job J12, sub-job 0, task " + std::to_string(taskId) +
         ", relative 2, type " + type;
}

std::string TestTask::ranLine(const std::string& outcome, const fs::path& home) const {
  const fs::path log = home / "var/log" / (fileName() + ".log");
  return description() + ": " + outcome + ", output in " + log.string() + "\n";
}

void queueFile(const fs::path& home, const std::string& name, const std::string& contents) {
  const fs::path aside = home / "tmp" / name;
  std::ofstream(aside, std::ios::binary) << contents;
  fs::rename(aside, home / "var/taskqueue" / name);
}

std::string waitForFile(const fs::path& file) {
  return "while [ ! -e '" + file.string() + "' ]; do sleep 0.01; done";
}

std::vector<std::string> inHome(const fs::path& home, std::vector<std::string> others) {
  others.insert(others.begin(), {"--home", home.string()});
  return others;
}

std::vector<std::string> shell(const std::string& script) {
  return {"--", "/bin/sh", "-c", script};
}

std::uint16_t portIn(const fs::path& modulesFile) {
  const std::string text = textOf(modulesFile);
  const std::string mark = "websocket-port=\"";
  return static_cast<std::uint16_t>(std::stoi(text.substr(text.find(mark) + mark.size())));
}

StandinProcess::StandinProcess(const std::vector<std::string>& arguments, mode_t umask) {
  start(arguments, umask);
  for (const std::string& argument : arguments) {
    if (argument == "--") {
      return;
    }
  }
  readEnvironment();
}

StandinProcess::~StandinProcess() {
  if (!isRunning()) {
    return;
  }
  signal(SIGTERM);
  waitUntil([this] { return !isRunning(); });
}

void StandinProcess::start(const std::vector<std::string>& arguments, mode_t umask) {
  std::vector<std::string> texts{STANDIN_PROGRAM};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  const std::vector<char*> pointers = pointersTo(texts);
  const pid_t child = fork();
  if (child == 0) {
    become(pointers, m_directory.path(), umask);
  }
  m_program.adopt(child);
}

void StandinProcess::readEnvironment() {
  waitUntil([this] {
    const std::size_t last = output().find(kLastVariable);
    return (last != std::string::npos && output().back() == '\n') || !isRunning();
  });
  const std::string text = output();
  std::size_t at = 0;
  for (std::size_t quote = 0; (quote = text.find("'\n", at)) != std::string::npos; at = quote + 2) {
    const std::string line = text.substr(at, quote + 1 - at);
    const std::size_t equals = line.find('=');
    m_environment[line.substr(7, equals - 7)] = unquoted(line.substr(equals + 1));
  }
  if (m_environment.empty()) {
    throw std::runtime_error("velmo-standin does not serve: " + errors());
  }
}

void StandinProcess::applyEnvironment() {
  for (const auto& [name, value] : m_environment) {
    m_applied.set(name, value);
  }
}

pid_t StandinProcess::pid() const {
  return m_program.pid();
}

const fs::path& StandinProcess::temporaryDirectory() const {
  return m_directory.path();
}

const std::map<std::string, std::string>& StandinProcess::environment() const {
  return m_environment;
}

int StandinProcess::key(const std::string& variable) const {
  return std::stoi(m_environment.at(variable));
}

fs::path StandinProcess::home() const {
  return fs::path(m_environment.at("VAR")).parent_path();
}

std::uint16_t StandinProcess::port() const {
  return portIn(m_environment.at("VELMO_MODULES_XML"));
}

std::string StandinProcess::output() const {
  return textOf(m_directory.path() / "stdout");
}

std::string StandinProcess::errors() const {
  return textOf(m_directory.path() / "stderr");
}

void StandinProcess::signal(int number) const {
  m_program.signal(number);
}

bool StandinProcess::isRunning() {
  return m_program.isRunning();
}

int StandinProcess::wait() {
  if (!waitUntil([this] { return !isRunning(); })) {
    throw std::runtime_error("velmo-standin does not end: " + errors());
  }
  return m_program.status();
}

int StandinProcess::end() {
  signal(SIGTERM);
  return wait();
}

}  // namespace velmo::test
