#include "StdioFile.h"

#include <unistd.h>

#include <cerrno>

namespace brix::imutils {

InputFile::InputFile(const char* path) : m_stream(std::fopen(path, "rb")) {
  if (m_stream != nullptr) {
    std::setvbuf(m_stream.get(), m_buffer.data(), _IOFBF, m_buffer.size());
  }
}

WholeFile::WholeFile(const char* path) : m_path(path) {
  errno = 0;
  m_stream.reset(std::fopen(path, "wb"));
  if (m_stream == nullptr) {
    m_error = errno;
    return;
  }
  // Unbuffered: one call writes a text, and a failure is reported by that call.
  std::setvbuf(m_stream.get(), nullptr, _IONBF, 0);
}

WholeFile::~WholeFile() {
  if (m_stream != nullptr) {
    m_stream.reset();
    unlink(m_path);
  }
}

void WholeFile::write(std::string_view text) {
  const bool hasToWrite = !m_error && !text.empty();
  if (hasToWrite && std::fwrite(text.data(), 1, text.size(), m_stream.get()) != text.size()) {
    m_error = errno;
  }
}

std::optional<int> WholeFile::finish() {
  if (m_stream == nullptr) {
    return m_error;
  }
  if (std::fclose(m_stream.release()) != 0 && !m_error) {
    m_error = errno;
  }
  if (m_error) {
    unlink(m_path);
  }
  return m_error;
}

std::optional<int> writeWholeFile(const std::string& path, std::string_view text) {
  WholeFile file(path.c_str());
  file.write(text);
  return file.finish();
}

}  // namespace brix::imutils
