#ifndef VELMO_STANDIN_TASKSUBMITTER_H
#define VELMO_STANDIN_TASKSUBMITTER_H

#include <velmo/velmo.pb.h>

#include <filesystem>
#include <mutex>
#include <string>

#include "Installation.h"
#include "UnknownClasses.h"

namespace standin {

/// Turns requests into task files of an installation's queue. Several threads may submit at once.
///
/// The library names the files and says what is in them; it finds the installation in the
/// environment of this process.
class TaskSubmitter {
 public:
  /// Sets this process's environment and loads the library's priority map, both of which need a
  /// process that has no second thread yet.
  /// @param variables  all that lead to the installation, its task counter included
  /// @param unknownClasses  outlives this object
  TaskSubmitter(const Installation& installation, const Variables& variables,
                UnknownClasses& unknownClasses);

  /// Queues the task of a request that parseRequest() made.
  ///
  /// An empty text stands for one that is not given: no adjustment, a new job, the sub-job "0", no
  /// job information. The command is queued as it was sent. (The library's createFile, which is not
  /// used here because it keeps the name to itself, writes two percent signs in a row as one.)
  /// @return the name of the task file
  /// @throws Refusal  when the file cannot be named or written
  std::string submit(const service::velmo::AddTaskRequest& request);

 private:
  UnknownClasses& m_unknownClasses;
  std::mutex m_mutex;
  std::filesystem::path m_temporaryDirectory;
  std::filesystem::path m_queueDirectory;
};

}  // namespace standin

#endif
