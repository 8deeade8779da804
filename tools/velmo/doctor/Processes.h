#ifndef VELMO_PROCESSES_H
#define VELMO_PROCESSES_H

#include <string>
#include <vector>

#include "LockProof.h"

namespace velmo::cli {

/// The processes of this machine, or of this container, as the kernel shows them.
class Processes {
 public:
  /// @param root  where the proc file system is mounted
  explicit Processes(std::string root = "/proc");

  /// Every process except this one.
  std::vector<RunningProcess> all() const;

  /// Whether no process of this process namespace is hidden, and the file system belongs to this
  /// namespace.
  bool isComplete() const;

  /// Whether this is the first process namespace of the machine, in which all processes are.
  bool isWholeMachine() const;

 private:
  std::string m_root;
};

}  // namespace velmo::cli

#endif
