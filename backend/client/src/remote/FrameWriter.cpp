#include "FrameWriter.h"

#include <wslay/wslay.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "RandomBytes.h"

namespace velmo::client {

namespace {

constexpr std::size_t kMaskSize = 4;
constexpr std::size_t kLongestHeader = 14;
constexpr std::uint8_t kContinuation = WSLAY_CONTINUATION_FRAME;

struct ContextDeleter {
  void operator()(wslay_frame_context* context) const {
    wslay_frame_context_free(context);
  }
};

// Encodes frames into memory that it reserves first: the functions that wslay calls must not throw.
class Encoder {
 public:
  Encoder(std::string& wire, const std::vector<unsigned char>& masks)
      : m_wire(wire), m_mask(masks.data()) {
    const wslay_frame_callbacks callbacks{append, nullptr, nextMask};
    wslay_frame_context_ptr context = nullptr;
    if (wslay_frame_context_init(&context, &callbacks, this) != 0) {
      throw std::bad_alloc();
    }
    m_context.reset(context);
  }

  void encode(std::uint8_t opcode, bool isFinal, std::string_view payload) {
    wslay_frame_iocb frame{};
    frame.fin = isFinal ? 1 : 0;
    frame.opcode = opcode;
    frame.mask = 1;
    frame.payload_length = payload.size();
    frame.data = reinterpret_cast<const std::uint8_t*>(payload.data());
    frame.data_length = payload.size();
    do {
      const ssize_t count = wslay_frame_send(m_context.get(), &frame);
      if (count <= 0) {
        return;  // all is encoded: the memory takes everything
      }
      frame.data += count;
      frame.data_length -= static_cast<std::size_t>(count);
    } while (frame.data_length > 0);
  }

 private:
  static ssize_t append(const std::uint8_t* data, std::size_t size, int /*flags*/, void* self) {
    auto* encoder = static_cast<Encoder*>(self);
    encoder->m_wire.append(reinterpret_cast<const char*>(data), size);
    return static_cast<ssize_t>(size);
  }

  static int nextMask(std::uint8_t* buffer, std::size_t size, void* self) {
    auto* encoder = static_cast<Encoder*>(self);
    std::memcpy(buffer, encoder->m_mask, size);
    encoder->m_mask += size;
    return 0;
  }

  std::string& m_wire;
  const unsigned char* m_mask;
  std::unique_ptr<wslay_frame_context, ContextDeleter> m_context;
};

Outcome appendFrames(std::string& wire, std::uint8_t opcode, std::string_view payload) {
  const std::size_t count =
      std::max<std::size_t>(1, (payload.size() + kFramePayload - 1) / kFramePayload);
  std::vector<unsigned char> masks(count * kMaskSize);
  if (Outcome outcome = fillRandom(masks.data(), masks.size())) {
    return outcome;
  }
  wire.reserve(wire.size() + payload.size() + count * kLongestHeader);
  Encoder encoder(wire, masks);
  for (std::size_t i = 0; i < count; ++i) {
    encoder.encode(i == 0 ? opcode : kContinuation, i + 1 == count,
                   payload.substr(i * kFramePayload, kFramePayload));
  }
  return std::nullopt;
}

}  // namespace

Outcome appendMessage(std::string& wire, std::string_view message) {
  return appendFrames(wire, WSLAY_BINARY_FRAME, message);
}

Outcome appendPong(std::string& wire, std::string_view payload) {
  return appendFrames(wire, WSLAY_PONG, payload);
}

Outcome appendClose(std::string& wire, std::uint16_t code) {
  const std::array<char, 2> bytes{static_cast<char>(code >> 8U), static_cast<char>(code & 0xFFU)};
  return appendFrames(wire, WSLAY_CONNECTION_CLOSE, {bytes.data(), code == 0 ? 0 : bytes.size()});
}

}  // namespace velmo::client
