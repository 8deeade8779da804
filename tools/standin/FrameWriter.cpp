#include "FrameWriter.h"

#include <cstddef>

#include "Frame.h"

namespace velmo::standin {

namespace {

constexpr std::size_t kLongestTwoByte = 0xffff;

std::string bigEndian(std::size_t number, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) {
    text += static_cast<char>(number >> static_cast<unsigned>(8 * i) & 0xffU);
  }
  return text;
}

// The second byte and, where it does not hold the length, the bytes that do.
std::string lengthBytes(std::size_t length, int maskBit) {
  if (length <= kLongestShort) {
    return {static_cast<char>(static_cast<int>(length) | maskBit)};
  }
  if (length <= kLongestTwoByte) {
    return static_cast<char>(kTwoByteLength | maskBit) + bigEndian(length, 2);
  }
  return static_cast<char>(kEightByteLength | maskBit) + bigEndian(length, 8);
}

std::string startOf(int opcode) {
  return {static_cast<char>(kFinalFrame | opcode)};
}

}  // namespace

std::string serverFrame(int opcode, std::string_view payload) {
  return startOf(opcode) + lengthBytes(payload.size(), 0).append(payload);
}

std::string maskedFrame(int opcode, std::string_view payload, std::string_view mask) {
  return startOf(opcode) +
         lengthBytes(payload.size(), kMasked).append(mask).append(masked(payload, mask));
}

}  // namespace velmo::standin
