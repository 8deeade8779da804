#include "FrameWriter.h"

#include <algorithm>
#include <array>
#include <new>

namespace velmo::client {

namespace {

constexpr std::size_t kLongestHeader = 14;
constexpr std::uint8_t kContinuation = WSLAY_CONTINUATION_FRAME;

}  // namespace

FrameWriter::FrameWriter() {
  const wslay_frame_callbacks callbacks{append, nullptr, nextMask};
  wslay_frame_context_ptr context = nullptr;
  if (wslay_frame_context_init(&context, &callbacks, this) != 0) {
    throw std::bad_alloc();
  }
  m_context.reset(context);
}

Outcome FrameWriter::appendMessage(std::string& wire, std::string_view message) {
  return appendFrames(wire, WSLAY_BINARY_FRAME, message);
}

Outcome FrameWriter::appendPong(std::string& wire, std::string_view payload) {
  return appendFrames(wire, WSLAY_PONG, payload);
}

Outcome FrameWriter::appendClose(std::string& wire, std::uint16_t code) {
  const std::array<char, 2> bytes{static_cast<char>(code >> 8U), static_cast<char>(code & 0xFFU)};
  return appendFrames(wire, WSLAY_CONNECTION_CLOSE, {bytes.data(), code == 0 ? 0 : bytes.size()});
}

// Reserves the memory first: the functions that wslay calls must not throw.
Outcome FrameWriter::appendFrames(std::string& wire, std::uint8_t opcode,
                                  std::string_view payload) {
  if (Outcome outcome = m_masks.prepare()) {
    return outcome;
  }
  const std::size_t count =
      std::max<std::size_t>(1, (payload.size() + kFramePayload - 1) / kFramePayload);
  wire.reserve(wire.size() + payload.size() + count * kLongestHeader);
  m_wire = &wire;
  for (std::size_t i = 0; i < count; ++i) {
    encode(i == 0 ? opcode : kContinuation, i + 1 == count,
           payload.substr(i * kFramePayload, kFramePayload));
  }
  return std::nullopt;
}

void FrameWriter::encode(std::uint8_t opcode, bool isFinal, std::string_view payload) {
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

ssize_t FrameWriter::append(const std::uint8_t* data, std::size_t size, int /*flags*/,
                            void* writer) {
  static_cast<FrameWriter*>(writer)->m_wire->append(reinterpret_cast<const char*>(data), size);
  return static_cast<ssize_t>(size);
}

int FrameWriter::nextMask(std::uint8_t* buffer, std::size_t size, void* writer) {
  if (size != FrameMasks::kSize) {
    return -1;
  }
  static_cast<FrameWriter*>(writer)->m_masks.next(buffer);
  return 0;
}

}  // namespace velmo::client
