#ifndef VELMO_STANDIN_UNKNOWNCLASSES_H
#define VELMO_STANDIN_UNKNOWNCLASSES_H

#include <velmo/IMProperties.h>

#include <mutex>
#include <set>
#include <string>

#include "Installation.h"
#include "TaskName.h"

namespace standin {

/// Warns of tasks whose priority class is in none of an installation's "priorities.cfg", once for
/// each task. Several threads may use it at once.
///
/// A task file does not tell its class. Its priority does: that of an unknown class is 9999.
class UnknownClasses {
 public:
  /// Reads the two files, as the library does at its first submission.
  explicit UnknownClasses(const Installation& installation);

  /// Warns if the class that a request names is unknown. The task file is then not warned of.
  void checkRequest(const std::string& priorityClass, const std::string& taskFile);

  /// Warns if a task file has the priority of an unknown class.
  void checkFile(const TaskName& name, const std::string& taskFile);

 private:
  std::mutex m_mutex;
  brix::imutils::IMProperties m_priorities;
  std::set<std::string> m_checked;  ///< task files of requests
};

}  // namespace standin

#endif
