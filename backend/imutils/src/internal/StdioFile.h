#ifndef VELMO_STDIOFILE_H
#define VELMO_STDIOFILE_H

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "CancellationGuard.h"

namespace brix::imutils {

struct StreamCloser {
  void operator()(FILE* stream) const noexcept {
    const CancellationGuard guard;  // closing writes what is left, and nothing may leave here
    std::fclose(stream);
  }
};

/// A stream that is closed when it goes out of scope, its outcome not examined.
using Stream = std::unique_ptr<FILE, StreamCloser>;

/// A file read from its start ("rb") through a buffer of its own, which spares the look at the file
/// and the allocation that a stream otherwise makes at its first read.
class InputFile {
 public:
  /// Opens the file; isOpen() tells whether that worked, and errno why not.
  explicit InputFile(const char* path);

  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  bool isOpen() const {
    return m_stream != nullptr;
  }

  /// The stream, null when the file could not be opened. It stays this object's.
  FILE* stream() const {
    return m_stream.get();
  }

 private:
  std::array<char, BUFSIZ> m_buffer;  // declared first: the stream is closed before it goes
  Stream m_stream;
};

/// Writes a whole file ("wb"), replacing what stood there.
///
/// If a write or the close fails, the incomplete file is removed again. A cancellation of the
/// thread is held back until the file is whole or gone.
///
/// @return nothing on success; on failure the errno of the call that failed, which is 0 if that
/// call
///         did not set it
std::optional<int> writeWholeFile(const std::string& path, const std::string& text);

}  // namespace brix::imutils

#endif
