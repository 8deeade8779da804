#ifndef VELMO_STANDIN_TASKSUBMITTER_H
#define VELMO_STANDIN_TASKSUBMITTER_H

#include <velmo/velmo.pb.h>

#include <filesystem>
#include <mutex>
#include <string>

#include "Installation.h"
#include "UnknownClasses.h"

namespace velmo::standin {

/// Turns requests into task files in an installation's queue. Several threads may submit at once.
///
/// The library provides the names and the contents of the files. It finds the installation through
/// the environment of this process.
class TaskSubmitter {
 public:
  /// Sets this process's environment and loads the library's priority map. Neither is safe once the
  /// process has a second thread.
  /// @param variables  all those of the installation and its task counter
  /// @param unknownClasses  outlives this object
  TaskSubmitter(const Installation& installation, const tools::Variables& variables,
                UnknownClasses& unknownClasses);

  /// Queues the task of a request that parseRequest() made.
  ///
  /// An empty text counts as absent: no adjustment, a new job, the sub-job "0", no job information.
  /// The command is queued as it was sent. (The library's createFile is not used here, because it
  /// does not return the name. It writes two percent signs in a row as one.)
  /// @return the name of the task file
  /// @throws Refusal  if the file cannot be named or written
  std::string submit(const service::velmo::AddTaskRequest& request);

 private:
  UnknownClasses& m_unknownClasses;
  std::mutex m_mutex;
  std::filesystem::path m_temporaryDirectory;
  std::filesystem::path m_queueDirectory;
};

}  // namespace velmo::standin

#endif
