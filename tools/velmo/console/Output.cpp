#include "Output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "Failure.h"
#include "FileDescriptor.h"
#include "SystemError.h"

namespace velmo::cli {

namespace {

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool permitsColour() {
  const char* terminal = std::getenv("TERM");
  return !isSet("NO_COLOR") && terminal != nullptr && std::string_view(terminal) != "dumb";
}

winsize sizeOf(int descriptor) {
  winsize size{};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size : winsize{};
}

const char* codeOf(Style style) {
  switch (style) {
    case Style::Plain:
      return "";
    case Style::Heading:
      return "\x1b[1m";
    case Style::Good:
      return "\x1b[32m";
    case Style::Warning:
      return "\x1b[33m";
    case Style::Bad:
      return "\x1b[1;31m";
  }
  return "";
}

}  // namespace

Output::Output(int descriptor)
    : m_descriptor(descriptor),
      m_isTerminal(isatty(descriptor) == 1),
      m_isColoured(m_isTerminal && permitsColour()) {}

void Output::write(std::string_view text) {
  if (tools::writeWhole(m_descriptor, text)) {
    return;
  }
  if (errno == EPIPE) {
    throw OutputClosed();
  }
  throw Failure(Status::systemError, tools::systemError("cannot write the output").what());
}

void Output::writeLine(std::string_view text) {
  write(std::string(text) + "\n");
}

void Output::tell(std::string_view text) noexcept {
  static_cast<void>(tools::writeWhole(m_descriptor, text));
}

bool Output::waitUntilWritable(const std::atomic<int>& stop) const {
  constexpr int kSliceMs = 200;  // a signal that arrives just before the wait does not end it
  pollfd entry{m_descriptor, POLLOUT, 0};
  for (;;) {
    const int ready = poll(&entry, 1, stop != 0 ? 0 : kSliceMs);
    if (ready > 0 || (ready < 0 && errno != EINTR)) {
      return true;
    }
    if (ready == 0 && stop != 0) {
      return false;
    }
  }
}

std::size_t Output::width() const {
  constexpr std::size_t kUsual = 80;
  const std::size_t columns = m_isTerminal ? sizeOf(m_descriptor).ws_col : 0;
  return m_isTerminal && columns == 0 ? kUsual : columns;
}

std::size_t Output::height() const {
  constexpr std::size_t kUsual = 24;
  const std::size_t rows = m_isTerminal ? sizeOf(m_descriptor).ws_row : 0;
  return m_isTerminal && rows == 0 ? kUsual : rows;
}

std::string Output::styled(std::string_view text, Style style) const {
  if (!m_isColoured || style == Style::Plain || text.empty()) {
    return std::string(text);
  }
  return codeOf(style) + std::string(text) + "\x1b[0m";
}

}  // namespace velmo::cli
