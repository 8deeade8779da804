#ifndef VELMO_STANDIN_FRAME_H
#define VELMO_STANDIN_FRAME_H

#include <cstddef>
#include <string>
#include <string_view>

#include "Refusal.h"

namespace velmo::standin {

/// The most bytes that a message, and so a frame, may have. No valid request comes near it.
constexpr std::size_t kLongestMessage = 1048576;

// The first byte of a frame.
constexpr int kFinalFrame = 0x80;
constexpr int kReservedBits = 0x70;
constexpr int kOpcodeBits = 0x0f;

// The second byte: whether there is a mask, and the length. The two lengths above kLongestShort say
// that the length is in the next two or eight bytes.
constexpr int kMasked = 0x80;
constexpr int kLength = 0x7f;
constexpr int kLongestShort = 125;
constexpr int kTwoByteLength = 126;
constexpr int kEightByteLength = 127;

// Opcodes. Those from kClose on are of control frames.
constexpr int kContinuation = 0x0;
constexpr int kText = 0x1;
constexpr int kBinary = 0x2;
constexpr int kClose = 0x8;
constexpr int kPing = 0x9;
constexpr int kPong = 0xa;

/// A frame as a client sent it, without the mask.
struct Frame {
  int flags = 0;  ///< first byte: the final bit, the reserved bits, the opcode
  std::string payload;
};

inline int opcodeOf(int flags) {
  return flags & kOpcodeBits;
}

/// A payload under a mask of four bytes, or without it: a mask that is applied twice is gone.
std::string masked(std::string_view payload, std::string_view mask);

/// The refusal of a frame whose opcode or reserved bits are not allowed.
Refusal unexpectedFlags(int flags);

/// The refusal of a message that is longer than kLongestMessage.
Refusal tooLong();

}  // namespace velmo::standin

#endif
