#ifndef VELMO_FAILEDLINES_H
#define VELMO_FAILEDLINES_H

#include <cstdint>
#include <string>

#include "InputLines.h"
#include "LineFile.h"

namespace velmo::cli {

/// Keeps lines that were not submitted, byte for byte as read, so that they can be submitted again.
/// Lines in doubt go to another file, "FILE.in-doubt": submitting them again may run them twice.
///
/// Only whole lines are written, so that a process that is killed leaves no truncated command. A
/// line that is too long is the exception: it is written in pieces, the first of which is longer
/// than the limit. If it is left unfinished, it is still too long to be submitted.
class FailedLines {
 public:
  /// Creates both files. Replaces an empty "FILE.in-doubt" that a run which was killed has left.
  /// @param input  the descriptor that the lines come from
  /// @throws Failure  one of the files exists, or cannot be created
  FailedLines(const std::string& path, int input);

  /// Keeps a line that is certainly not queued.
  /// @param lines  where the line comes from
  /// @throws Failure, std::bad_alloc  the file cannot be written, or the input cannot be read. The
  ///                                  file does not have the line then
  void keepFailed(const InputLine& line, InputLines& lines);

  /// Keeps a line that may be queued.
  /// @throws Failure, std::bad_alloc  as keepFailed() does, for the other file
  void keepInDoubt(const InputLine& line, InputLines& lines);

  /// Keeps everything that has not been read, to the end of the input. If keepFailed() threw within
  /// a line, the rest of that line is skipped.
  /// @return whether there was anything
  /// @throws Failure, std::bad_alloc  as keepFailed(). The file then has the whole lines that were
  ///                                  read and could be written
  bool keepRest(InputLines& lines);

  /// The lines in the file that are certainly not queued.
  std::uint64_t failed() const {
    return m_failed.lines();
  }

  /// Whether that file could not be written.
  bool isBroken() const {
    return m_failed.isBroken();
  }

  /// The path of the file if it has lines, otherwise empty.
  std::string failedPath() const;

  /// The same for lines in doubt.
  std::string inDoubtPath() const;

 private:
  LineFile m_failed;
  LineFile m_inDoubt;
};

}  // namespace velmo::cli

#endif
