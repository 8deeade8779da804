#ifndef VELMO_FAILEDLINES_H
#define VELMO_FAILEDLINES_H

#include <optional>
#include <string>

#include "InputLines.h"
#include "LineFile.h"

namespace velmo::cli {

/// Keeps lines that were not submitted, byte for byte as read, so that they can be submitted again.
/// Lines in doubt go to another file, "FILE.in-doubt": submitting them again may run them twice.
class FailedLines {
 public:
  /// Creates the file. That of lines in doubt is created with the first of them.
  /// @param input  the descriptor that the lines come from
  /// @throws Failure  one of the files exists, or the file cannot be created
  FailedLines(const std::string& path, int input);

  /// Removes the file if it is empty.
  ~FailedLines();
  FailedLines(const FailedLines&) = delete;
  FailedLines& operator=(const FailedLines&) = delete;

  /// Keeps a line that is certainly not queued.
  /// @param lines  where the line comes from
  /// @throws Failure  the file cannot be written
  void keepFailed(const InputLine& line, InputLines& lines);

  /// Keeps a line that may be queued.
  /// @throws Failure  the other file cannot be created or written
  void keepInDoubt(const InputLine& line, InputLines& lines);

  /// Keeps everything that has not been read.
  /// @throws Failure
  void keepRest(InputLines& lines);

  /// The path of the file if it has lines, otherwise empty.
  std::string failedPath() const;

  /// The same for lines in doubt.
  std::string inDoubtPath() const;

 private:
  LineFile m_failed;
  std::optional<LineFile> m_inDoubt;
};

}  // namespace velmo::cli

#endif
