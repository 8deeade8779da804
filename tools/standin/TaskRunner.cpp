#include "TaskRunner.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>
#include <variant>
#include <velmo/velmo.hpp>

#include "Report.h"
#include "ShellCommand.h"
#include "TaskContents.h"
#include "TaskDescription.h"

namespace velmo::standin {

using tools::Child;
using tools::ChildEnd;
using tools::FileIdentity;
using tools::Malformed;
using tools::TaskContents;

namespace {

std::string logName(const std::string& taskFile) {
  return taskFile + ".log";
}

}  // namespace

TaskRunner::TaskRunner(const Installation& installation, std::vector<std::string> environment,
                       bool showOutput, UnknownClasses& unknownClasses)
    : m_directory(installation.directory()),
      m_logDirectory(installation.logDirectory()),
      m_logsStay(installation.isKept()),
      m_environment(std::move(environment)),
      m_showOutput(showOutput),
      m_unknownClasses(unknownClasses),
      m_queue(installation.queueDirectory()),
      m_watch(installation.queueDirectory()) {}

int TaskRunner::watchDescriptor() const {
  return m_watch.descriptor();
}

bool TaskRunner::proceed() {
  m_watch.clear();  // before the queue is read: a file that arrives later wakes us again
  finish();
  if (m_task) {
    return true;
  }
  const std::vector<std::string> names = m_queue.names();
  m_hasSeenFiles = m_hasSeenFiles || !names.empty();
  forgetMissing(names);
  return startFirstOf(names);
}

bool TaskRunner::hasSeenFiles() const {
  return m_hasSeenFiles;
}

bool TaskRunner::hasFailed() const {
  return m_hasFailed;
}

void TaskRunner::abandon() {
  if (m_task) {
    m_task->process->kill();
    report(m_task->description + ": interrupted, left in the queue");
    reportOutputOf(*m_task);
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
  m_hasFailed = m_hasFailed || end->shellStatus() != 0;
  report(outcomeOf(*m_task, *end));
  reportOutputOf(*m_task);
  removeFromQueue(m_task->fileName, m_task->description);
  m_task.reset();
}

// Names the log only if it stays: people look for it after the end.
std::string TaskRunner::outcomeOf(const RunningTask& task, const ChildEnd& end) const {
  const std::string outcome =
      fmt::format("{}: {} {}", task.description, end.bySignal ? "signal" : "exit", end.number);
  const std::filesystem::path log = m_logDirectory / logName(task.fileName);
  return m_logsStay ? outcome + ", output in " + log.string() : outcome;
}

void TaskRunner::reportOutputOf(const RunningTask& task) {
  if (m_showOutput) {
    task.log.show();
  } else if (!m_logsStay && !m_hasMentionedLogs && !task.log.isEmpty()) {
    report("the output of tasks is removed at the end; --show-output prints it, --keep keeps it");
    m_hasMentionedLogs = true;
  }
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
  const std::optional<TaskName> taskName = parseName(name);
  if (!taskName || !identity.isRegular) {
    setAside(name, name + ": not a task file");
    return;
  }
  m_unknownClasses.checkFile(*taskName, name);
  const std::string description = tools::describe(*taskName);
  if (taskName->type != "sh") {
    report(description + ": not runnable here");
    removeFromQueue(name, description);
    return;
  }
  try {
    const auto contents = tools::parseTaskContents(m_queue.read(name));
    if (const auto* fault = std::get_if<Malformed>(&contents)) {
      m_hasFailed |= setAside(name, description + ": malformed, " + *fault);
      return;
    }
    start(name, description, std::get<TaskContents>(contents).command);
  } catch (const std::system_error& failure) {
    m_hasFailed |= setAside(name, fmt::format("{}: {}", description, failure.what()));
  }
}

void TaskRunner::start(const std::string& name, const std::string& description,
                       const std::string& command) {
  TaskLog log(m_logDirectory / logName(name));
  const ShellCommand shell = shellCommand(command);
  const tools::Background background{m_directory, log.descriptor(), shell.input.get()};
  m_task.emplace(RunningTask{name, description, std::move(log),
                             std::make_unique<Child>(shell.arguments, m_environment, background)});
}

// A file that cannot be removed must not be run again.
void TaskRunner::removeFromQueue(const std::string& name, const std::string& description) {
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

// @return false if the file is gone: there is nothing to report
bool TaskRunner::setAside(const std::string& name, const std::string& text) {
  const std::optional<FileIdentity> identity = m_queue.identify(name);
  if (identity) {
    m_setAside[name] = *identity;
    report(text + ", left in the queue");
  }
  return identity.has_value();
}

void TaskRunner::forgetMissing(const std::vector<std::string>& names) {
  for (auto position = m_setAside.begin(); position != m_setAside.end();) {
    const bool isThere = std::binary_search(names.begin(), names.end(), position->first);
    position = isThere ? std::next(position) : m_setAside.erase(position);
  }
}

}  // namespace velmo::standin
