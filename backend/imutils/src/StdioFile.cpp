#include "StdioFile.h"

#include <unistd.h>

#include <cerrno>

namespace brix::imutils {

namespace {

// Short writes of streams always come with an error number; this only guards the promise that a
// failure is never reported as 0.
int lastError() {
  return errno != 0 ? errno : EIO;
}

}  // namespace

InputFile::InputFile(const char* path) : m_stream(std::fopen(path, "rb")) {
  if (m_stream != nullptr) {
    std::setvbuf(m_stream.get(), m_buffer.data(), _IOFBF, m_buffer.size());
  }
}

int writeWholeFile(const std::string& path, const std::string& text) {
  errno = 0;
  Stream stream(std::fopen(path.c_str(), "wb"));
  if (stream == nullptr) {
    return lastError();
  }

  // Unbuffered, the text goes out in one call, and a failure shows at that call.
  std::setvbuf(stream.get(), nullptr, _IONBF, 0);
  int error = 0;
  if (std::fwrite(text.data(), 1, text.size(), stream.get()) != text.size()) {
    error = lastError();
  }
  if (std::fclose(stream.release()) != 0 && error == 0) {
    error = lastError();
  }
  if (error != 0) {
    unlink(path.c_str());
  }
  return error;
}

}  // namespace brix::imutils
