#ifndef VELMO_QUEUEFILE_H
#define VELMO_QUEUEFILE_H

#include <string>
#include <string_view>

#include "Failure.h"

namespace brix::velmo {

/// `contents` with each pair of percent signs folded into one, as printf would write it. Any other
/// percent sign stays.
std::string foldPercentSigns(std::string contents);

/// The contents of a task file.
struct TaskContents {
  std::string_view command;  ///< belongs to the caller
  std::string rest;  ///< a line feed, then the job information and a line feed if there is any
};

/// A task file on its way into the queue: written aside, then moved, so that the service never sees
/// a part of it.
class QueueFile {
 public:
  /// @param temporaryDirectory  TMP: on the same file system as the queue
  /// @param baseDirectory       VAR: the service watches its directory "taskqueue"
  /// @param name                name of the file in both
  QueueFile(std::string_view temporaryDirectory, std::string_view baseDirectory,
            std::string_view name);

  /// Writes the temporary file, with pairs of percent signs folded. A large command without such a
  /// pair is not copied. A file that cannot be written whole is removed.
  Outcome write(const TaskContents& contents) const;

  /// Moves the temporary file into the queue, unless the queue has a file of that name. After a
  /// failure the temporary file stays.
  Outcome move() const;

 private:
  std::string m_temporaryFile;
  std::string m_queueFile;
};

}  // namespace brix::velmo

#endif
