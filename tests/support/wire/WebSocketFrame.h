#ifndef VELMO_TEST_WEBSOCKETFRAME_H
#define VELMO_TEST_WEBSOCKETFRAME_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace velmo::test {

/// The first byte of a frame: the final bit, and the opcode.
constexpr int kFinal = 0x80;
constexpr int kContinuation = 0x0;
constexpr int kLastContinuation = kFinal;
constexpr int kText = 0x1;
constexpr int kBinary = 0x2;
constexpr int kClose = 0x8;
constexpr int kPing = 0x9;
constexpr int kPong = 0xa;

/// A frame that was received, unmasked.
struct WebSocketFrame {
  int flags = 0;  ///< the first byte
  bool isMasked = false;
  std::string payload;
};

/// A frame as a server sends it: unmasked, with the shortest form of its length.
std::string frame(int flags, const std::string& payload);

/// A binary message in frames as a server sends them, each with at most so many bytes.
std::string frames(const std::string& message, std::size_t frameSize);

/// A frame as a client sends it: masked with these four bytes.
std::string clientFrame(int flags, const std::string& payload, const std::string& mask);

/// The first bytes of a frame that claims a payload of any length, in the eight-byte form.
std::string longFrameHeader(int flags, std::uint64_t length);

/// The payload of a close frame: the code in two bytes, and the text.
std::string closePayload(std::uint16_t code, const std::string& text = "");

/// Reads one frame with a function that returns exactly so many bytes.
WebSocketFrame readFrame(const std::function<std::string(std::size_t count)>& read);

}  // namespace velmo::test

#endif
