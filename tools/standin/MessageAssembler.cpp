#include "MessageAssembler.h"

#include <utility>

namespace velmo::standin {

std::optional<std::string> MessageAssembler::add(const Frame& frame) {
  const int opcode = opcodeOf(frame.flags);
  if (opcode == kText) {
    throw Refusal(CloseCode::kUnsupported, "text, where binary frames belong");
  }
  if ((frame.flags & kReservedBits) != 0 || (opcode != kContinuation && opcode != kBinary)) {
    throw unexpectedFlags(frame.flags);
  }
  if ((opcode == kContinuation) != m_begun) {
    throw Refusal(CloseCode::kProtocolError,
                  m_begun ? "a message within a message" : "a continuation that continues nothing");
  }
  if (frame.payload.size() > kLongestMessage - m_message.size()) {
    throw tooLong();
  }
  m_message += frame.payload;
  m_begun = (frame.flags & kFinalFrame) == 0;
  if (m_begun) {
    return std::nullopt;
  }
  return std::exchange(m_message, {});
}

bool MessageAssembler::isBegun() const {
  return m_begun;
}

}  // namespace velmo::standin
