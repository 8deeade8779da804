#ifndef VELMO_FILECALLS_H
#define VELMO_FILECALLS_H

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "Descriptor.h"

namespace velmo::client {

/// A descriptor, or the errno of the failure.
struct Opened {
  Descriptor descriptor;
  int error = 0;
};

/// Opens a file, close-on-exec. Resumed after signals.
Opened openFile(const std::string& path, int flags, mode_t mode = 0);

/// Opens a directory for syncFile().
Opened openDirectory(const std::string& path);

/// The first bytes of a file, or the errno of the failure.
struct FileStart {
  std::array<char, 256> bytes{};
  std::size_t size = 0;
  int error = 0;

  std::string_view text() const {
    return {bytes.data(), size};
  }

  /// Whether the file may be longer.
  bool isCut() const {
    return size == bytes.size();
  }
};

/// Reads the start of a file. A pipe does not block.
/// @param flags  for open(), as well
FileStart readStart(const std::string& path, int flags = 0);

/// Writes all bytes. A file size limit that is exceeded is the failure EFBIG; the SIGXFSZ of the
/// kernel, which would end the process, is taken back.
/// @return 0, or the errno of the failure
int writeAll(int descriptor, std::string_view bytes);

/// Waits until a file or a directory is on the disk. Resumed after signals.
/// @return 0, or the errno of the failure
int syncFile(int descriptor);

/// Whether the path names the file that is open as `descriptor`; symbolic links are not followed.
bool isFileAt(const std::string& path, int descriptor);

}  // namespace velmo::client

#endif
