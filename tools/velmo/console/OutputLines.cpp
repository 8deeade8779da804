#include "OutputLines.h"

#include <limits.h>

#include <algorithm>
#include <atomic>
#include <cstddef>

#include "Failure.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kPiece = std::size_t{64} * 1024;

}  // namespace

void OutputLines::add(std::string_view text) {
  m_text += text;
  if (m_text.size() >= kPiece) {
    flush();
  }
}

// In pieces that a ready output accepts without blocking, so that a signal is noticed.
void OutputLines::flush() {
  const std::atomic<int>& stop = m_session.interrupt.flag();
  std::string_view rest = m_text;
  while (!rest.empty()) {
    if (stop != 0 || !m_session.out.waitUntilWritable(stop)) {
      throw Failure(Status::stopped, "stopped by a signal");
    }
    m_session.out.write(rest.substr(0, PIPE_BUF));
    rest.remove_prefix(std::min<std::size_t>(rest.size(), PIPE_BUF));
  }
  m_text.clear();
}

}  // namespace velmo::cli
