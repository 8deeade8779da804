#ifndef VELMO_STDIOFILE_H
#define VELMO_STDIOFILE_H

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "CancellationGuard.h"

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

/// A file that is written whole ("wb"). It replaces what the file held. After a failure, and if an
/// exception passes the object, the file is removed. A cancellation of the thread is held back
/// while the object lives.
///
/// Use it as a local variable.
class WholeFile {
 public:
  /// Opens the file. finish() returns the failure, if there is one.
  explicit WholeFile(const char* path);

  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  /// Removes the file, unless finish() was called.
  ~WholeFile();

  /// Appends a text with one call, and copies nothing. After a failed call it does nothing.
  void write(std::string_view text);

  /// Completes the file and closes it, or removes it after a failure. Called once.
  /// @return nothing on success, otherwise the errno of the first call that failed (0 if it set
  ///         none)
  std::optional<int> finish();

 private:
  CancellationGuard m_guard;
  const char* m_path;
  std::optional<int> m_error;
  Stream m_stream;
};

/// Writes one text as a WholeFile.
/// @return as WholeFile::finish()
std::optional<int> writeWholeFile(const std::string& path, std::string_view text);

}  // namespace brix::imutils

#endif
