#ifndef VELMO_QUEUEFILE_H
#define VELMO_QUEUEFILE_H

#include <optional>
#include <string>
#include <string_view>

#include "Failure.h"

namespace brix::velmo {

/// `contents` with each pair of percent signs folded into one, as printf would write it. Any other
/// percent sign stays.
std::string foldPercentSigns(std::string contents);

/// A task file on its way into the queue: written aside, then moved, so that the service never sees
/// a part of it.
class QueueFile {
 public:
  /// @param temporaryDirectory  TMP: on the same file system as the queue
  /// @param baseDirectory       VAR: the service watches its directory "taskqueue"
  /// @param name                name of the file in both
  QueueFile(std::string_view temporaryDirectory, std::string_view baseDirectory,
            std::string_view name);

  /// Writes the temporary file, with pairs of percent signs folded. A file that cannot be written
  /// whole is removed.
  Outcome write(std::string contents) const;

  /// The same for contents in two parts, with a call for each. Copies only a part that has a pair
  /// to fold. A pair that is in both parts is not folded.
  Outcome writeParts(std::string_view command, std::string_view rest) const;

  /// Moves the temporary file into the queue, unless the queue has a file of that name. After a
  /// failure the temporary file stays.
  Outcome move() const;

 private:
  Outcome outcomeOf(const std::optional<int>& error) const;

  std::string m_temporaryFile;
  std::string m_queueFile;
};

}  // namespace brix::velmo

#endif
