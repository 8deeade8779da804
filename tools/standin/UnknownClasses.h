#ifndef VELMO_STANDIN_UNKNOWNCLASSES_H
#define VELMO_STANDIN_UNKNOWNCLASSES_H

#include <velmo/IMProperties.h>

#include <mutex>
#include <set>
#include <string>
#include <velmo/velmo.hpp>

#include "Installation.h"

namespace velmo::standin {

/// Warns about tasks whose priority class is in neither "priorities.cfg" of an installation, once
/// for each task. Several threads may use it at once.
///
/// A task file does not contain its class, but the priority of an unknown class is always 9999.
class UnknownClasses {
 public:
  /// Reads the two files, as the library does at its first submission.
  explicit UnknownClasses(const Installation& installation);

  /// Warns if the class that a request names is unknown. checkFile() then ignores the task file.
  void checkRequest(const std::string& priorityClass, const std::string& taskFile);

  /// Warns if a task file has the priority of an unknown class.
  void checkFile(const TaskName& name, const std::string& taskFile);

 private:
  std::mutex m_mutex;
  brix::imutils::IMProperties m_priorities;
  std::set<std::string> m_checked;  ///< task files of requests
};

}  // namespace velmo::standin

#endif
