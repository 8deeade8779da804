#include "Child.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace velmo::tools {

namespace {

constexpr int kShellSignalBase = 128;

void check(int error) {
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "cannot prepare a process");
  }
}

class SpawnAttributes {
 public:
  SpawnAttributes() {
    check(posix_spawnattr_init(&m_attributes));
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() {
    posix_spawnattr_destroy(&m_attributes);
  }

  // This process may block the signals it waits for and ignore SIGPIPE; its children must not.
  void resetSignals(bool ownGroup) {
    sigset_t none;
    sigemptyset(&none);
    check(posix_spawnattr_setsigmask(&m_attributes, &none));
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    check(posix_spawnattr_setsigdefault(&m_attributes, &pipe));
    const int group = ownGroup ? POSIX_SPAWN_SETPGROUP : 0;
    check(posix_spawnattr_setflags(
        &m_attributes, static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | group)));
  }

  const posix_spawnattr_t* get() const {
    return &m_attributes;
  }

 private:
  posix_spawnattr_t m_attributes{};
};

class SpawnActions {
 public:
  SpawnActions() {
    check(posix_spawn_file_actions_init(&m_actions));
  }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  ~SpawnActions() {
    posix_spawn_file_actions_destroy(&m_actions);
  }

  void runIn(const Background& background) {
    if (background.input < 0) {
      check(posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    } else {
      check(posix_spawn_file_actions_adddup2(&m_actions, background.input, STDIN_FILENO));
    }
    check(posix_spawn_file_actions_adddup2(&m_actions, background.output, STDOUT_FILENO));
    check(posix_spawn_file_actions_adddup2(&m_actions, background.output, STDERR_FILENO));
    // A connection of this process must not stay open as long as a child runs.
    check(posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
    check(posix_spawn_file_actions_addchdir_np(&m_actions, background.directory.c_str()));
  }

  const posix_spawn_file_actions_t* get() const {
    return &m_actions;
  }

 private:
  posix_spawn_file_actions_t m_actions{};
};

// A list for exec, valid as long as the texts exist.
std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    result.push_back(text.data());
  }
  result.push_back(nullptr);
  return result;
}

ChildEnd endFrom(int waitStatus) {
  if (WIFSIGNALED(waitStatus)) {
    return {true, WTERMSIG(waitStatus)};
  }
  return {false, WEXITSTATUS(waitStatus)};
}

}  // namespace

int ChildEnd::shellStatus() const {
  return bySignal ? kShellSignalBase + number : number;
}

Child::Child(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
             const std::optional<Background>& background)
    : m_ownGroup(background.has_value()) {
  SpawnAttributes attributes;
  attributes.resetSignals(m_ownGroup);
  SpawnActions actions;
  if (background) {
    actions.runIn(*background);
  }
  std::vector<std::string> argumentTexts = arguments;
  std::vector<std::string> environmentTexts = environment;
  const int error = posix_spawnp(&m_pid, arguments.front().c_str(), actions.get(), attributes.get(),
                                 pointers(argumentTexts).data(), pointers(environmentTexts).data());
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), arguments.front());
  }
}

Child::~Child() {
  kill();
}

std::optional<ChildEnd> Child::poll() {
  int status = 0;
  if (!m_end && waitpid(m_pid, &status, WNOHANG) == m_pid) {
    m_end = endFrom(status);
  }
  return m_end;
}

void Child::signal(int number) {
  if (!m_end) {
    ::kill(m_pid, number);
  }
}

void Child::kill() {
  if (m_end) {
    return;
  }
  ::kill(m_ownGroup ? -m_pid : m_pid, SIGKILL);
  int status = 0;
  while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
  }
  m_end = endFrom(status);
}

}  // namespace velmo::tools
