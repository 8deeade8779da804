#include "TaskRunner.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <system_error>
#include <utility>
#include <variant>

#include "FileDescriptor.h"
#include "Report.h"
#include "TaskContents.h"
#include "TaskName.h"

namespace standin {

namespace {

constexpr mode_t kPrivateFile = 0600;

FileDescriptor createLog(const std::filesystem::path& path) {
  FileDescriptor log(
      open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kPrivateFile));
  if (!log.isOpen() || fchmod(log.get(), kPrivateFile) != 0) {
    throw systemError("cannot write its log");
  }
  return log;
}

std::string logName(const std::string& taskFile) {
  return taskFile + ".log";
}

}  // namespace

TaskRunner::TaskRunner(const Installation& installation, std::vector<std::string> environment)
    : m_directory(installation.directory()),
      m_logDirectory(installation.logDirectory()),
      m_environment(std::move(environment)),
      m_queue(installation.queueDirectory()) {}

int TaskRunner::watchDescriptor() const {
  return m_queue.watchDescriptor();
}

bool TaskRunner::proceed() {
  m_queue.clearWatch();  // before the look at the queue: what comes after it wakes us again
  finish();
  if (m_task) {
    return true;
  }
  const std::vector<std::string> names = m_queue.names();
  forgetMissing(names);
  return startFirstOf(names);
}

void TaskRunner::abandon() {
  if (m_task) {
    m_task->process->kill();
    report(m_task->description + ": interrupted, left in the queue");
    m_task.reset();
  }
}

void TaskRunner::finish() {
  if (!m_task) {
    return;
  }
  const std::optional<ChildEnd> end = m_task->process->poll();
  if (!end) {
    return;
  }
  report(fmt::format("{}: {} {}, output in var/log/{}", m_task->description,
                     end->bySignal ? "signal" : "exit", end->number, logName(m_task->fileName)));
  takeOut(m_task->fileName, m_task->description);
  m_task.reset();
}

bool TaskRunner::startFirstOf(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const std::optional<FileIdentity> identity = m_queue.identify(name);
    if (identity && !isSetAside(name, *identity)) {
      begin(name, *identity);
    }
    if (m_task) {
      return true;
    }
  }
  return false;
}

void TaskRunner::begin(const std::string& name, const FileIdentity& identity) {
  const std::optional<TaskName> taskName = parseTaskName(name);
  if (!taskName || !identity.isRegular) {
    setAside(name, name + ": not a task file");
    return;
  }
  const std::string description = describe(*taskName);
  if (taskName->commandType != "sh") {
    report(description + ": not runnable here");
    takeOut(name, description);
    return;
  }
  try {
    const auto contents = parseTaskContents(m_queue.read(name));
    if (const auto* fault = std::get_if<Malformed>(&contents)) {
      setAside(name, description + ": malformed, " + *fault);
      return;
    }
    start(name, description, std::get<TaskContents>(contents).command);
  } catch (const std::system_error& failure) {
    setAside(name, fmt::format("{}: {}", description, failure.what()));
  }
}

void TaskRunner::start(const std::string& name, const std::string& description,
                       const std::string& command) {
  const FileDescriptor log = createLog(m_logDirectory / logName(name));
  const std::vector<std::string> arguments{"/bin/sh", "-c", command};
  m_task = RunningTask{
      name, description,
      std::make_unique<Child>(arguments, m_environment, Background{m_directory, log.get()})};
}

// A file that cannot be removed must not be run again and again.
void TaskRunner::takeOut(const std::string& name, const std::string& description) {
  try {
    m_queue.remove(name);
  } catch (const std::system_error& failure) {
    setAside(name, fmt::format("{}: {}", description, failure.what()));
  }
}

bool TaskRunner::isSetAside(const std::string& name, const FileIdentity& identity) const {
  const auto position = m_setAside.find(name);
  return position != m_setAside.end() && position->second == identity;
}

void TaskRunner::setAside(const std::string& name, const std::string& text) {
  if (const std::optional<FileIdentity> identity = m_queue.identify(name)) {
    m_setAside[name] = *identity;
    report(text + ", left in the queue");
  }
}

void TaskRunner::forgetMissing(const std::vector<std::string>& names) {
  for (auto position = m_setAside.begin(); position != m_setAside.end();) {
    const bool isThere = std::binary_search(names.begin(), names.end(), position->first);
    position = isThere ? std::next(position) : m_setAside.erase(position);
  }
}

}  // namespace standin
