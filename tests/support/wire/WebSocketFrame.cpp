#include "WebSocketFrame.h"

namespace velmo::test {

namespace {

constexpr unsigned kMaskBit = 0x80;
constexpr unsigned kTwoByteLength = 126;
constexpr unsigned kEightByteLength = 127;

std::string bigEndian(std::uint64_t number, int bytes) {
  std::string text;
  for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
    text += static_cast<char>(number >> static_cast<unsigned>(shift) & 0xFFU);
  }
  return text;
}

std::uint64_t fromBigEndian(const std::string& bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) {
    number = number << 8U | static_cast<unsigned char>(byte);
  }
  return number;
}

// Everything in front of the mask.
std::string header(int flags, std::size_t length, unsigned maskBit) {
  const std::string start(1, static_cast<char>(flags));
  if (length < kTwoByteLength) {
    return start + bigEndian(length | maskBit, 1);
  }
  if (length < 65536) {
    return start + bigEndian(kTwoByteLength | maskBit, 1) + bigEndian(length, 2);
  }
  return start + bigEndian(kEightByteLength | maskBit, 1) + bigEndian(length, 8);
}

std::string masked(std::string payload, const std::string& mask) {
  for (std::size_t i = 0; i < payload.size(); ++i) {
    payload[i] = static_cast<char>(payload[i] ^ mask[i % mask.size()]);
  }
  return payload;
}

}  // namespace

std::string frame(int flags, const std::string& payload) {
  return header(flags, payload.size(), 0) + payload;
}

std::string frames(const std::string& message, std::size_t frameSize) {
  std::string bytes;
  for (std::size_t offset = 0; offset < message.size(); offset += frameSize) {
    const int final = offset + frameSize >= message.size() ? kFinal : 0;
    const int opcode = offset == 0 ? kBinary : kContinuation;
    bytes += frame(final | opcode, message.substr(offset, frameSize));
  }
  return bytes;
}

std::string clientFrame(int flags, const std::string& payload, const std::string& mask) {
  return header(flags, payload.size(), kMaskBit) + mask + masked(payload, mask);
}

std::string longFrameHeader(int flags, std::uint64_t length) {
  return std::string(1, static_cast<char>(flags)) + bigEndian(kEightByteLength, 1) +
         bigEndian(length, 8);
}

std::string closePayload(std::uint16_t code, const std::string& text) {
  return bigEndian(code, 2) + text;
}

WebSocketFrame readFrame(const std::function<std::string(std::size_t count)>& read) {
  const std::uint64_t start = fromBigEndian(read(2));
  WebSocketFrame result;
  result.flags = static_cast<int>(start >> 8U);
  result.isMasked = (start & kMaskBit) != 0;
  std::uint64_t length = start & 0x7FU;
  if (length >= kTwoByteLength) {
    length = fromBigEndian(read(length == kTwoByteLength ? 2 : 8));
  }
  const std::string mask = result.isMasked ? read(4) : std::string(4, '\0');
  result.payload = masked(read(length), mask);
  return result;
}

}  // namespace velmo::test
