#include "OutputLines.h"

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

void OutputLines::flush() {
  if (m_session.interrupt.isRequested()) {
    throw Failure(Status::stopped, "stopped by a signal");
  }
  m_session.out.write(m_text);
  m_text.clear();
}

}  // namespace velmo::cli
