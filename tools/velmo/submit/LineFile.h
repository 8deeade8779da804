#ifndef VELMO_LINEFILE_H
#define VELMO_LINEFILE_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include "FileDescriptor.h"

namespace velmo::cli {

/// A new file that receives lines. Nothing is buffered. Only its owner can read it, since commands
/// may hold secrets.
class LineFile {
 public:
  /// Creates the file, or opens a device or a pipe.
  /// @throws Failure  it exists, or cannot be created
  explicit LineFile(const std::string& path);

  /// Writes a line or a piece of one.
  /// @throws Failure  it cannot be written. The file then ends with the last whole line
  void append(std::string_view bytes);

  /// Marks the end of a line.
  void endLine() {
    m_wholeLines = m_size;
  }

  bool isEmpty() const {
    return m_size == 0;
  }

  const std::string& path() const {
    return m_path;
  }

  /// Removes the file, unless it is a device or a pipe.
  void remove();

 private:
  std::string m_path;
  tools::FileDescriptor m_file;
  bool m_isRegular;
  off_t m_size = 0;
  off_t m_wholeLines = 0;
};

}  // namespace velmo::cli

#endif
