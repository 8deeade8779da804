#include "InputLines.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "Failure.h"
#include "SystemError.h"

namespace velmo::cli {

void InputLines::checkInterrupt() const {
  if (m_interrupt.isRequested()) {
    throw Failure(Status::stopped, "stopped by a signal");
  }
}

// Returns false at the end.
bool InputLines::readMore() {
  m_text.erase(0, m_start);
  m_start = 0;
  if (m_text.size() > kLongest) {
    throw Failure(Status::invalidArgument, "a line of the input is longer than 1 MiB");
  }
  std::array<char, 16384> buffer{};
  ssize_t count = -1;
  do {
    checkInterrupt();
    count = read(m_descriptor, buffer.data(), buffer.size());
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    throw Failure(Status::systemError, tools::systemError("cannot read the input").what());
  }
  m_text.append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

std::optional<std::string> InputLines::next() {
  checkInterrupt();
  std::size_t searched = m_start;
  std::size_t end = m_text.find('\n', searched);
  while (end == std::string::npos) {
    searched = m_text.size() - m_start;
    if (!readMore()) {
      return m_text.empty() ? std::nullopt : std::optional(std::exchange(m_text, {}));
    }
    end = m_text.find('\n', searched);
  }
  std::string line = m_text.substr(m_start, end - m_start);
  m_start = end + 1;
  return line;
}

}  // namespace velmo::cli
