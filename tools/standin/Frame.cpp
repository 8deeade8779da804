#include "Frame.h"

#include <fmt/format.h>

namespace velmo::standin {

Refusal unexpectedFlags(int flags) {
  return {CloseCode::kProtocolError, fmt::format("a frame with the flags {}", flags)};
}

Refusal tooLong() {
  return {CloseCode::kTooBig, fmt::format("longer than {} bytes", kLongestMessage)};
}

}  // namespace velmo::standin
