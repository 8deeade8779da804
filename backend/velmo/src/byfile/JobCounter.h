#ifndef VELMO_JOBCOUNTER_H
#define VELMO_JOBCOUNTER_H

#include <optional>
#include <string>
#include <string_view>

#include "Failure.h"
#include "StdioFile.h"

namespace brix::velmo {

/// The job counter of a machine: the file DATA/velmo/jobid, which holds the last number issued. The
/// caller holds the lock of the counter (the lock file "semaphore_velmo_jobid") around its calls.
class JobCounter {
 public:
  /// The number to issue. It is valid even if there is a failure, which the caller reports.
  struct Next {
    int number;
    Outcome failure;
  };

  /// The counter file, open for reading while the object lives.
  class Reader {
   public:
    explicit Reader(const JobCounter& counter);

    /// The number after the one in the file. A machine without a counter file begins with 0, and so
    /// does a file that does not begin with a number, which is a failure.
    Next next() const;

   private:
    imutils::InputFile m_file;
  };

  /// Forms both paths at once: the new copy never replaces the counter of another directory.
  explicit JobCounter(std::string_view dataDirectory);

  /// The counter file.
  const std::string& file() const {
    return m_file;
  }

  /// Makes `number` the last one issued: writes it aside and moves the copy into place, so that a
  /// reader never sees half a number. A failed move is not reported, and the next caller gets the
  /// same number.
  Outcome save(int number) const;

 private:
  std::string m_file;
  std::string m_newCopy;
};

/// The identity of the server, as CONF gives it.
struct ServerIdentity {
  std::optional<std::string> name;  ///< nothing if none is configured
  Outcome failure;
};

/// Reads SELF_SERVER_ID from the file "serverid.cfg" in a directory. A missing file is not a
/// failure.
ServerIdentity readServerIdentity(std::string_view confDirectory);

}  // namespace brix::velmo

#endif
