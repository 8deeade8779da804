#ifndef VELMO_LINEFILE_H
#define VELMO_LINEFILE_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "FileDescriptor.h"

namespace velmo::cli {

/// A new regular file that receives lines. Nothing is buffered. Only its owner can read it, since
/// commands may hold secrets. It is locked (flock) while the object lives.
class LineFile {
 public:
  /// Creates the file.
  /// @throws Failure  it exists, or cannot be created
  explicit LineFile(const std::string& path);

  /// Removes the file if it is empty. Otherwise cuts it back to whole lines.
  ~LineFile();
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;

  /// Writes lines, or a piece of one. Signals are held until it is written, so that none of those
  /// that can be caught ends the process within a line.
  /// @throws Failure  not everything can be written. The file is cut back to its last whole line,
  ///                  if that is possible, and is broken
  void append(std::string_view bytes);

  /// Treats the last line as whole although it has no line feed.
  void endLine() {
    m_wholeLines = m_size;
  }

  /// Cuts the file back to its last whole line.
  void dropUnfinishedLine();

  /// The line feeds in it.
  std::uint64_t lines() const {
    return m_lines;
  }

  bool isEmpty() const {
    return m_size == 0;
  }

  /// Whether a write failed.
  bool isBroken() const {
    return m_isBroken;
  }

  const std::string& path() const {
    return m_path;
  }

 private:
  void noteWritten(std::string_view bytes);

  std::string m_path;
  tools::FileDescriptor m_file;
  off_t m_size = 0;
  off_t m_wholeLines = 0;
  std::uint64_t m_lines = 0;
  bool m_isBroken = false;
};

}  // namespace velmo::cli

#endif
