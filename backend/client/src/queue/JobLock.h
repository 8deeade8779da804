#ifndef VELMO_JOBLOCK_H
#define VELMO_JOBLOCK_H

#include <optional>
#include <string>

#include "Descriptor.h"
#include "Fault.h"
#include "SignalBlock.h"
#include "Wait.h"

namespace velmo::client {

/// The lock of a machine's job counter: the file "semaphore_velmo_jobid", which exists while a
/// process holds the lock. The file holds the process id of its maker; older programs leave it
/// empty. A lock file is never removed but by its maker, however old it is.
///
/// While the lock is held, signals are blocked in the calling thread: one that ended the process
/// would leave the lock file behind. One thread takes, releases and destroys the object.
class JobLock {
 public:
  /// @param directory  of the lock file
  explicit JobLock(std::string directory);

  JobLock(const JobLock&) = delete;
  JobLock& operator=(const JobLock&) = delete;

  /// Releases the lock, if it is held, without a report.
  ~JobLock();

  /// Creates the lock file. While another one exists, tries again after short random pauses. The
  /// directory must exist.
  Outcome take(const Wait& wait);

  /// Fails if the lock file is no longer the one that take() created.
  Outcome check() const;

  /// Removes the lock file, unless it is no longer the one that take() created. The lock counts as
  /// released also after a failure.
  Outcome release();

 private:
  int attempt();
  Outcome notCreated(int error) const;
  void forget();

  std::string m_directory;
  std::string m_path;
  std::optional<SignalBlock> m_signals;
  Descriptor m_descriptor;
};

}  // namespace velmo::client

#endif
