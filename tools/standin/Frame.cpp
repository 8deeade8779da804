#include "Frame.h"

#include <fmt/format.h>

namespace velmo::standin {

std::string masked(std::string_view payload, std::string_view mask) {
  std::string text(payload);
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char>(text[i] ^ mask[i % mask.size()]);
  }
  return text;
}

Refusal unexpectedFlags(int flags) {
  return {CloseCode::kProtocolError, fmt::format("a frame with the flags {}", flags)};
}

Refusal tooLong() {
  return {CloseCode::kTooBig, fmt::format("longer than {} bytes", kLongestMessage)};
}

}  // namespace velmo::standin
