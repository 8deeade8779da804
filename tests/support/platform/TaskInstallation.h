#ifndef VELMO_TEST_TASKINSTALLATION_H
#define VELMO_TEST_TASKINSTALLATION_H

#include <string>
#include <vector>

#include "Environment.h"
#include "SystemVKeys.h"
#include "TemporaryDirectory.h"

namespace velmo::test {

/// An installation for submission by file: directories, a free semaphore, a task counter at 0, and
/// the environment variables that name them. The configuration is empty.
class TaskInstallation {
 public:
  TaskInstallation();

  /// The names in the queue and in the temporary directory.
  std::vector<std::string> queue() const;
  std::vector<std::string> temporary() const;

  /// The contents of the only file in the queue.
  std::string onlyTask() const;

  void writeHomePriorities(const std::string& contents) const;
  void writeConfPriorities(const std::string& contents) const;
  void writeServerIdentity(const std::string& contents) const;
  void writeJobCounter(const std::string& contents) const;
  std::string jobCounter() const;

  TemporaryDirectory directory;
  TestSemaphore semaphore{1};
  TestSegment counter{4};
  Environment environment;
};

}  // namespace velmo::test

#endif
