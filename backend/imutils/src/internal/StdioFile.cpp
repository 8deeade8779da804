#include "StdioFile.h"

#include <unistd.h>

#include <cerrno>

#include "CancellationGuard.h"

namespace brix::imutils {

InputFile::InputFile(const char* path) : m_stream(std::fopen(path, "rb")) {
  if (m_stream != nullptr) {
    std::setvbuf(m_stream.get(), m_buffer.data(), _IOFBF, m_buffer.size());
  }
}

std::optional<int> writeWholeFile(const std::string& path, const std::string& text) {
  const CancellationGuard guard;
  errno = 0;
  Stream stream(std::fopen(path.c_str(), "wb"));
  if (stream == nullptr) {
    return errno;
  }

  // Unbuffered: one call writes the text, and a failure is reported by that call.
  std::setvbuf(stream.get(), nullptr, _IONBF, 0);
  std::optional<int> error;
  if (std::fwrite(text.data(), 1, text.size(), stream.get()) != text.size()) {
    error = errno;
  }
  if (std::fclose(stream.release()) != 0 && !error) {
    error = errno;
  }
  if (error) {
    unlink(path.c_str());
  }
  return error;
}

}  // namespace brix::imutils
