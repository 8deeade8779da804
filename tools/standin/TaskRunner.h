#ifndef VELMO_STANDIN_TASKRUNNER_H
#define VELMO_STANDIN_TASKRUNNER_H

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Child.h"
#include "Installation.h"
#include "TaskLog.h"
#include "TaskQueue.h"
#include "UnknownClasses.h"

namespace standin {

/// Runs the tasks of an installation's queue, one at a time in the order of their names, and
/// reports each.
///
/// A task file leaves the queue once its task has ended, or has been reported as not runnable here;
/// so the file of a task that was interrupted is still there for the next run. What is no task file
/// is reported once and left lying, until something else comes under its name.
class TaskRunner {
 public:
  /// @param environment  "NAME=value" texts for the tasks
  /// @param showOutput  print what a task has written, after its report
  /// @param unknownClasses  outlives this object
  /// @throws std::system_error  when the queue cannot be watched
  TaskRunner(const Installation& installation, std::vector<std::string> environment,
             bool showOutput, UnknownClasses& unknownClasses);

  /// A descriptor that is readable when proceed() may find something new in the queue. It is so
  /// until the next proceed().
  int watchDescriptor() const;

  /// Reports the task that has ended, if one has, and starts the next one if none is running.
  /// @return whether one is running now; if not, nothing in the queue is left to run
  /// @throws std::filesystem::filesystem_error  when the queue cannot be read
  bool proceed();

  /// Whether something has been in the queue.
  bool hasSeenFiles() const;

  /// Whether a task has ended otherwise than with the exit status 0, was malformed or could not be
  /// started. One that is not runnable here has not failed.
  bool hasFailed() const;

  /// Kills the task that is running, if one is. Its file stays in the queue.
  void abandon();

 private:
  struct RunningTask {
    std::string fileName;
    std::string description;
    TaskLog log;
    std::unique_ptr<Child> process;
  };

  void finish();
  bool startFirstOf(const std::vector<std::string>& names);
  void begin(const std::string& name, const FileIdentity& identity);
  void start(const std::string& name, const std::string& description, const std::string& command);
  std::string outcomeOf(const RunningTask& task, const ChildEnd& end) const;
  void reportOutputOf(const RunningTask& task);
  void takeOut(const std::string& name, const std::string& description);
  bool isSetAside(const std::string& name, const FileIdentity& identity) const;
  bool setAside(const std::string& name, const std::string& text);
  void forgetMissing(const std::vector<std::string>& names);

  std::filesystem::path m_directory;
  std::filesystem::path m_logDirectory;
  bool m_logsStay;
  std::vector<std::string> m_environment;
  bool m_showOutput;
  UnknownClasses& m_unknownClasses;
  TaskQueue m_queue;
  std::map<std::string, FileIdentity> m_setAside;
  std::optional<RunningTask> m_task;
  bool m_hasSeenFiles = false;
  bool m_hasFailed = false;
  bool m_hasToldOfLogs = false;
};

}  // namespace standin

#endif
