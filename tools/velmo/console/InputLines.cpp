#include "InputLines.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "Failure.h"
#include "SystemError.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kBlock = 64UL * 1024;

// A signal that arrives just before the wait does not end it, so the flag is looked at again.
constexpr int kSliceMs = 200;

}  // namespace

InputLines::InputLines(int descriptor, const std::atomic<int>& stop, std::size_t limit)
    : m_descriptor(descriptor), m_stop(stop), m_limit(limit) {}

void InputLines::fail(int error) {
  m_error = error;
  errno = error;
  throw Failure(Status::systemError, tools::systemError("cannot read standard input").what());
}

// Returns whether a read would not block.
bool InputLines::awaitInput(Stop stop) {
  if (m_error != 0) {
    fail(m_error);
  }
  pollfd entry{m_descriptor, POLLIN, 0};
  for (;;) {
    if (stop == Stop::Heed && m_stop != 0) {
      return false;
    }
    if (m_stop != 0 && m_whenIgnored) {
      m_whenIgnored();
    }
    const int ready = poll(&entry, 1, kSliceMs);
    if (ready > 0) {
      return true;
    }
    if (ready < 0 && errno != EINTR) {
      fail(errno);
    }
  }
}

// Reads more, or finds the end. Returns false if the flag ended the wait.
bool InputLines::fill(Stop stop) {
  do {
    if (!awaitInput(stop)) {
      return false;
    }
  } while (!readMore());
  return true;
}

// Returns false if a read would block.
bool InputLines::readMore() {
  m_buffer.erase(0, m_begin);
  m_searched -= m_begin;
  m_begin = 0;
  const std::size_t size = m_buffer.size();
  m_buffer.resize(size + kBlock);
  const ssize_t count = read(m_descriptor, m_buffer.data() + size, kBlock);
  const int error = errno;
  m_buffer.resize(size + static_cast<std::size_t>(count > 0 ? count : 0));
  if (count < 0 && error != EINTR && error != EAGAIN) {
    fail(error);
  }
  m_isEof = count == 0;
  return count >= 0;
}

std::string_view InputLines::take(std::size_t end) {
  const std::string_view bytes = std::string_view(m_buffer).substr(m_begin, end - m_begin);
  m_begin = end;
  m_searched = end;
  return bytes;
}

InputLine InputLines::lineTo(std::size_t end) {
  const std::string_view bytes = take(end);
  const bool isEnded = bytes.back() == '\n';
  return {++m_number, bytes.substr(0, bytes.size() - (isEnded ? 1 : 0)), bytes};
}

InputLine InputLines::longLine() {
  m_isInLongLine = true;
  m_searched = m_begin;
  return {++m_number, {}, {}, true};
}

std::optional<std::string_view> InputLines::takePiece(Stop stop) {
  if (!m_isInLongLine) {
    return std::nullopt;
  }
  while (m_begin == m_buffer.size() && !m_isEof) {
    if (!fill(stop)) {
      return std::nullopt;
    }
  }
  const std::size_t lineFeed = m_buffer.find('\n', m_begin);
  m_isInLongLine = lineFeed == std::string::npos && !isAtEnd();
  if (isAtEnd()) {
    return std::nullopt;
  }
  return take(lineFeed == std::string::npos ? m_buffer.size() : lineFeed + 1);
}

// Returns false if the flag ended the wait.
bool InputLines::endLongLine() {
  while (takePiece(Stop::Heed)) {
  }
  return !m_isInLongLine;
}

std::optional<InputLine> InputLines::next() {
  if (!endLongLine()) {
    return std::nullopt;
  }
  for (;;) {
    const std::size_t lineFeed = m_buffer.find('\n', m_searched);
    const bool isFound = lineFeed != std::string::npos;
    m_searched = isFound ? lineFeed : m_buffer.size();
    if (m_searched - m_begin > m_limit) {
      return longLine();
    }
    if (isFound) {
      return lineTo(lineFeed + 1);
    }
    if (m_isEof) {
      return isAtEnd() ? std::nullopt : std::optional(lineTo(m_buffer.size()));
    }
    if (!fill(Stop::Heed)) {
      return std::nullopt;
    }
  }
}

std::optional<std::string_view> InputLines::piece() {
  return takePiece(Stop::Ignore);
}

// The whole lines that the buffer holds.
std::optional<std::string_view> InputLines::wholeLines() {
  const std::size_t lineFeed = std::string_view(m_buffer).substr(m_searched).rfind('\n');
  if (lineFeed == std::string_view::npos) {
    m_searched = m_buffer.size();
    return std::nullopt;
  }
  return take(m_searched + lineFeed + 1);
}

std::optional<std::string_view> InputLines::rest() {
  while (takePiece(Stop::Ignore)) {
  }
  for (;;) {
    if (const auto lines = wholeLines()) {
      return lines;
    }
    if (m_isEof || m_buffer.size() - m_begin > m_limit) {
      return isAtEnd() ? std::nullopt : std::optional(take(m_buffer.size()));
    }
    fill(Stop::Ignore);
  }
}

bool InputLines::findsEnd() {
  pollfd entry{m_descriptor, POLLIN, 0};
  if (m_begin == m_buffer.size() && !m_isEof && m_error == 0 && poll(&entry, 1, 0) > 0) {
    readMore();
  }
  return isAtEnd();
}

}  // namespace velmo::cli
