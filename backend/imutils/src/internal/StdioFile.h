#ifndef VELMO_STDIOFILE_H
#define VELMO_STDIOFILE_H

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace brix::imutils {

struct StreamCloser {
  void operator()(FILE* stream) const noexcept {
    std::fclose(stream);
  }
};

/// A stream that is closed at the end of its scope. The result of the close is ignored. Use it
/// under a CancellationGuard.
using Stream = std::unique_ptr<FILE, StreamCloser>;

/// A file that is read from its start ("rb"), under a CancellationGuard of the caller. The buffer
/// in the object saves the fstat and the allocation that a stream makes at its first read.
class InputFile {
 public:
  /// Opens the file. If that fails, isOpen() returns false and errno gives the reason.
  explicit InputFile(const char* path);

  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  bool isOpen() const {
    return m_stream != nullptr;
  }

  /// The stream, which this object owns; null if the file could not be opened.
  FILE* stream() const {
    return m_stream.get();
  }

 private:
  std::array<char, BUFSIZ> m_buffer;  // declared first: destroyed after the stream is closed
  Stream m_stream;
};

/// Writes a whole file ("wb"), replacing what the file held.
///
/// If a write or the close fails, the incomplete file is removed again. A cancellation of the
/// thread is held back until the file is complete or removed.
///
/// @return nothing on success, otherwise the errno of the call that failed (0 if it set none)
std::optional<int> writeWholeFile(const std::string& path, const std::string& text);

}  // namespace brix::imutils

#endif
