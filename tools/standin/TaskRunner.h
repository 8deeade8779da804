#ifndef VELMO_STANDIN_TASKRUNNER_H
#define VELMO_STANDIN_TASKRUNNER_H

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Child.h"
#include "DirectoryWatch.h"
#include "Installation.h"
#include "QueueDirectory.h"
#include "TaskLog.h"
#include "UnknownClasses.h"

namespace velmo::standin {

/// Runs the tasks in an installation's queue, one at a time in the order of their names, and
/// reports each.
///
/// A task file is removed from the queue when its task has ended, or was reported as not runnable
/// here. The file of a task that was interrupted stays for the next run. A file that is not a task
/// file is reported once and stays; if another file replaces it, that one is reported too.
class TaskRunner {
 public:
  /// @param environment  "NAME=value" texts for the tasks
  /// @param showOutput  print the output of a task after its report
  /// @param unknownClasses  outlives this object
  /// @throws std::system_error  if the queue cannot be watched
  TaskRunner(const Installation& installation, std::vector<std::string> environment,
             bool showOutput, UnknownClasses& unknownClasses);

  /// A descriptor that is readable if something new may be in the queue, until the next proceed().
  int watchDescriptor() const;

  /// If the running task has ended, reports it. If no task is running, starts the next.
  /// @return whether a task is running now; if not, nothing in the queue is left to run
  /// @throws std::filesystem::filesystem_error  if the queue cannot be read
  bool proceed();

  /// Whether proceed() has ever found a file in the queue.
  bool hasSeenFiles() const;

  /// Whether a task has ended with another exit status than 0 or by a signal, was malformed, or
  /// could not be started. A task that is not runnable here has not failed.
  bool hasFailed() const;

  /// Kills the running task, if there is one. Its file stays in the queue.
  void abandon();

 private:
  struct RunningTask {
    std::string fileName;
    std::string description;
    TaskLog log;
    std::unique_ptr<tools::Child> process;
  };

  void finish();
  bool startFirstOf(const std::vector<std::string>& names);
  void begin(const std::string& name, const tools::FileIdentity& identity);
  void start(const std::string& name, const std::string& description, const std::string& command);
  std::string outcomeOf(const RunningTask& task, const tools::ChildEnd& end) const;
  void reportOutputOf(const RunningTask& task);
  void removeFromQueue(const std::string& name, const std::string& description);
  bool isSetAside(const std::string& name, const tools::FileIdentity& identity) const;
  bool setAside(const std::string& name, const std::string& text);
  void forgetMissing(const std::vector<std::string>& names);

  std::filesystem::path m_directory;
  std::filesystem::path m_logDirectory;
  bool m_logsStay;
  std::vector<std::string> m_environment;
  bool m_showOutput;
  UnknownClasses& m_unknownClasses;
  tools::QueueDirectory m_queue;
  tools::DirectoryWatch m_watch;
  std::map<std::string, tools::FileIdentity> m_setAside;
  std::optional<RunningTask> m_task;
  bool m_hasSeenFiles = false;
  bool m_hasFailed = false;
  bool m_hasMentionedLogs = false;
};

}  // namespace velmo::standin

#endif
