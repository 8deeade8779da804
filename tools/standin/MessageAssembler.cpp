#include "MessageAssembler.h"

#include <fmt/format.h>

#include <utility>

#include "TaskRequest.h"

namespace standin {

namespace {

constexpr int kFinal = 0x80;
constexpr int kReserved = 0x70;
constexpr int kOpcode = 0x0f;
constexpr int kContinuation = 0;
constexpr int kText = 1;
constexpr int kBinary = 2;

}  // namespace

std::optional<std::string> MessageAssembler::add(int flags, std::string_view payload) {
  const int opcode = flags & kOpcode;
  if (opcode == kText) {
    throw Refusal(CloseCode::kUnsupported, "text, where binary frames belong");
  }
  if ((flags & kReserved) != 0 || (opcode != kContinuation && opcode != kBinary)) {
    throw Refusal(CloseCode::kProtocolError, fmt::format("a frame with the flags {}", flags));
  }
  if ((opcode == kContinuation) != m_begun) {
    throw Refusal(CloseCode::kProtocolError,
                  m_begun ? "a message within a message" : "a continuation that continues nothing");
  }
  if (payload.size() > kLimit - m_message.size()) {
    throw Refusal(CloseCode::kTooBig, fmt::format("longer than {} bytes", kLimit));
  }
  m_message += payload;
  m_begun = (flags & kFinal) == 0;
  if (m_begun) {
    return std::nullopt;
  }
  return std::exchange(m_message, {});
}

bool MessageAssembler::isBegun() const {
  return m_begun;
}

}  // namespace standin
