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
#include "TaskQueue.h"

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
  /// @throws std::system_error  when the queue cannot be watched
  TaskRunner(const Installation& installation, std::vector<std::string> environment);

  /// A descriptor that is readable when proceed() may find something new in the queue. It is so
  /// until the next proceed().
  int watchDescriptor() const;

  /// Reports the task that has ended, if one has, and starts the next one if none is running.
  /// @return whether one is running now; if not, nothing in the queue is left to run
  /// @throws std::filesystem::filesystem_error  when the queue cannot be read
  bool proceed();

  /// Kills the task that is running, if one is. Its file stays in the queue.
  void abandon();

 private:
  struct RunningTask {
    std::string fileName;
    std::string description;
    std::unique_ptr<Child> process;
  };

  void finish();
  bool startFirstOf(const std::vector<std::string>& names);
  void begin(const std::string& name, const FileIdentity& identity);
  void start(const std::string& name, const std::string& description, const std::string& command);
  void takeOut(const std::string& name, const std::string& description);
  bool isSetAside(const std::string& name, const FileIdentity& identity) const;
  void setAside(const std::string& name, const std::string& text);
  void forgetMissing(const std::vector<std::string>& names);

  std::filesystem::path m_directory;
  std::filesystem::path m_logDirectory;
  std::vector<std::string> m_environment;
  TaskQueue m_queue;
  std::map<std::string, FileIdentity> m_setAside;
  std::optional<RunningTask> m_task;
};

}  // namespace standin

#endif
