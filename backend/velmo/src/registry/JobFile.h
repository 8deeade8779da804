#ifndef VELMO_JOBFILE_H
#define VELMO_JOBFILE_H

#include <ctime>
#include <optional>
#include <string>

#include "JobFileScanner.h"

namespace brix::velmo {

/// Creates a job file, readable and writable for all less the umask, with a line for each text and
/// the priority:
///
///     id="J17"
///     user="u"         (only if `user` is not empty)
///     name="n"         (only if `name` is not empty)
///     priority="50"
///
/// Nothing is escaped, and a NUL ends a text. A file that exists already stays as it is; a file
/// that cannot be written whole is removed again. Failures are not reported. A cancellation of the
/// thread is held back during the call. Only the stream allocates memory.
void createJobFile(const std::string& path, const std::string& id, const std::string& user,
                   const std::string& name, int priority);

/// Reads a job file to its end, and closes it.
///
/// A line longer than 255 bytes arrives in pieces of 255, and each piece counts as a line. A NUL
/// ends its piece.
/// @return nothing if the file cannot be opened
std::optional<JobFileFields> readJobFile(const std::string& path);

/// Sets the times of a job file to now. Failures are not reported.
void touchJobFile(const std::string& path);

/// Removes a job file. Failures are not reported.
void removeJobFile(const std::string& path);

}  // namespace brix::velmo

#endif
