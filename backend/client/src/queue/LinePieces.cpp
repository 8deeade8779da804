#include "LinePieces.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace velmo::client {

namespace {

bool isRegular(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

Opened openRegularFile(const std::string& path) {
  Opened file = openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (file.descriptor.isOpen() && !isRegular(file.descriptor.get())) {
    return {};
  }
  return file;
}

LinePieces::LinePieces(const Descriptor& file, std::size_t size)
    : m_file(file), m_most(size - 1), m_bytes(new char[m_most]), m_piece(new char[size]) {}

char* LinePieces::next() {
  fill();
  const std::size_t length = std::min(lineLength().value_or(m_most), m_end - m_begin);
  if (length == 0 || m_error != 0) {
    return nullptr;
  }
  std::memcpy(m_piece.get(), m_bytes.get() + m_begin, length);
  m_piece[length] = '\0';
  m_begin += length;
  return m_piece.get();
}

// Of the line that begins here, if all of it has been read.
std::optional<std::size_t> LinePieces::lineLength() const {
  const char* const start = m_bytes.get() + m_begin;
  const void* const lineFeed = std::memchr(start, '\n', m_end - m_begin);
  if (lineFeed == nullptr) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(static_cast<const char*>(lineFeed) - start) + 1;
}

// Reads until a line is complete, the buffer is full, or the file ends.
void LinePieces::fill() {
  while (m_error == 0 && !m_isAtEnd && !lineLength()) {
    std::memmove(m_bytes.get(), m_bytes.get() + m_begin, m_end - m_begin);
    m_end -= std::exchange(m_begin, 0);
    if (m_end == m_most) {
      return;
    }
    const ssize_t count = read(m_file.get(), m_bytes.get() + m_end, m_most - m_end);
    if (count > 0) {
      m_end += static_cast<std::size_t>(count);
    } else if (count == 0) {
      m_isAtEnd = true;
    } else if (errno != EINTR) {
      m_error = errno;
    }
  }
}

}  // namespace velmo::client
