#include "CloseFrame.h"

#include <fmt/format.h>

#include <cstddef>

#include "Utf8.h"

namespace velmo::standin {

namespace {

constexpr std::size_t kCodeSize = 2;

// A control frame carries at most 125 bytes, and two of them are the code.
constexpr std::size_t kReasonLimit = 123;

int codeFrom(const std::string& payload) {
  return static_cast<unsigned char>(payload[0]) << 8 | static_cast<unsigned char>(payload[1]);
}

}  // namespace

// 1004 has no meaning. Programs use 1005, 1006 and 1015 to report an end without a close frame; no
// frame carries them. Libraries and applications define the codes from 3000 on.
bool isCloseCode(int code) {
  const bool isDefined = code >= 1000 && code <= 1014 && (code < 1004 || code > 1006);
  return isDefined || (code >= 3000 && code <= 4999);
}

std::string closePayload(CloseCode code, std::string_view reason) {
  const auto number = static_cast<unsigned>(code);
  std::string payload{static_cast<char>(number >> 8U), static_cast<char>(number & 0xffU)};
  return payload + utf8Prefix(reason, kReasonLimit);
}

std::string closeAnswer(const std::string& payload) {
  if (payload.empty()) {
    return closePayload(CloseCode::kNormal, {});
  }
  if (payload.size() < kCodeSize) {
    throw Refusal(CloseCode::kProtocolError, "a close frame of one byte");
  }
  if (!isCloseCode(codeFrom(payload))) {
    throw Refusal(CloseCode::kProtocolError,
                  fmt::format("a close frame with the code {}", codeFrom(payload)));
  }
  if (!isUtf8(std::string_view(payload).substr(kCodeSize))) {
    throw Refusal(CloseCode::kProtocolError, "a close frame whose reason is not UTF-8");
  }
  return payload;
}

}  // namespace velmo::standin
