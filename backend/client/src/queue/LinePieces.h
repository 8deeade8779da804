#ifndef VELMO_LINEPIECES_H
#define VELMO_LINEPIECES_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "Descriptor.h"
#include "FileCalls.h"

namespace velmo::client {

/// Opens a regular file for reading. Anything else, such as a named pipe, is not waited for.
/// @return a failure with the error 0 if it is not a regular file
Opened openRegularFile(const std::string& path);

/// Reads an open file as fgets() does: by lines, a longer line in pieces.
class LinePieces {
 public:
  /// @param size  of a piece with its terminating NUL
  LinePieces(const Descriptor& file, std::size_t size);

  /// The next piece, with its line feed. As a C string it ends at the first NUL of the file, if it
  /// holds one. Null at the end of the file and after a failure.
  char* next();

  /// The errno of the read that failed, or 0.
  int error() const {
    return m_error;
  }

 private:
  std::optional<std::size_t> lineLength() const;
  void fill();

  const Descriptor& m_file;
  std::size_t m_most;  // bytes in a piece
  // Deliberate: arrays that are not set to zero. A small file then touches a page of each, not 16.
  std::unique_ptr<char[]> m_bytes;  // read, but not yet returned
  std::size_t m_begin = 0;          // of them
  std::size_t m_end = 0;            // of them
  std::unique_ptr<char[]> m_piece;  // returned
  bool m_isAtEnd = false;
  int m_error = 0;
};

}  // namespace velmo::client

#endif
