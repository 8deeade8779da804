#ifndef VELMO_JOBSTORE_H
#define VELMO_JOBSTORE_H

#include <functional>
#include <optional>
#include <string>

#include "Fault.h"
#include "JobFileScanner.h"
#include "Wait.h"

namespace velmo::client {

/// A job of a key.
struct FoundJob {
  brix::velmo::JobFileFields fields;
  bool isNew = false;
};

/// The job files of one directory, each named for a key. `JobManager` reads and writes the same
/// files.
class JobStore {
 public:
  /// Takes the identifier of a new job.
  using DrawJob = std::function<Result<std::string>()>;

  /// @param directory  an absolute path
  /// @param key        the name of the job file
  JobStore(std::string directory, std::string key);

  /// Refuses a directory or a key that is unusable.
  Outcome check() const;

  /// Reads the job of the key, and sets the times of its file to now; or makes the job, if the key
  /// has none. A new file is written aside and linked into place: readers see it whole, and of
  /// several processes the first wins. A file without an identifier is waited for until it is 2 s
  /// old, because another process may be writing it.
  /// @param wanted     user, name and priority of a new job
  /// @param isDurable  whether a new file must survive a power cut
  Result<FoundJob> find(const brix::velmo::JobFileFields& wanted, bool isDurable, const Wait& wait,
                        const DrawJob& draw) const;

 private:
  struct Look;

  Look look() const;
  Look lookWhenFinished(const Wait& wait) const;
  Outcome waitForWriter(const Wait& wait) const;
  Outcome checkDirectory() const;
  Outcome create(const brix::velmo::JobFileFields& job, bool isDurable, bool& isFirst) const;
  Fault notWritten(const std::string& path, int error) const;

  std::string m_directory;
  std::string m_key;
  std::string m_path;
};

}  // namespace velmo::client

#endif
