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

[[noreturn]] void fail() {
  throw Failure(Status::systemError, tools::systemError("cannot read standard input").what());
}

}  // namespace

InputLines::InputLines(int descriptor, const std::atomic<int>& stop, std::size_t limit)
    : m_descriptor(descriptor), m_stop(stop), m_limit(limit) {}

// Returns whether a read would not block.
bool InputLines::awaitInput(Stop stop) const {
  pollfd entry{m_descriptor, POLLIN, 0};
  for (;;) {
    if (stop == Stop::Heed && m_stop != 0) {
      return false;
    }
    const int ready = poll(&entry, 1, kSliceMs);
    if (ready > 0) {
      return true;
    }
    if (ready < 0 && errno != EINTR) {
      fail();
    }
  }
}

// Reads more, or finds the end. Returns false if the flag ended the wait.
bool InputLines::fill(Stop stop) {
  m_buffer.erase(0, m_begin);
  m_searched -= m_begin;
  m_begin = 0;
  const std::size_t size = m_buffer.size();
  for (;;) {
    if (!awaitInput(stop)) {
      return false;
    }
    m_buffer.resize(size + kBlock);
    const ssize_t count = read(m_descriptor, m_buffer.data() + size, kBlock);
    const int error = errno;
    m_buffer.resize(size + static_cast<std::size_t>(count > 0 ? count : 0));
    if (count >= 0) {
      m_isEof = count == 0;
      return true;
    }
    if (error != EINTR && error != EAGAIN) {
      errno = error;
      fail();
    }
  }
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

std::optional<std::string_view> InputLines::rest() {
  m_isInLongLine = false;
  while (m_begin == m_buffer.size() && !m_isEof) {
    fill(Stop::Ignore);
  }
  return isAtEnd() ? std::nullopt : std::optional(take(m_buffer.size()));
}

}  // namespace velmo::cli
