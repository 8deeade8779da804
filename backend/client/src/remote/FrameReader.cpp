#include "FrameReader.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace velmo::client {

namespace {

constexpr std::uint8_t kOpcodeBits = 0x0F;
constexpr std::size_t kLeastHeader = 2;
constexpr std::size_t kCloseCodeSize = 2;

bool isControl(std::uint8_t opcode) {
  return wslay_is_ctrl_frame(opcode) != 0;
}

bool isKnown(std::uint8_t opcode) {
  return opcode <= WSLAY_BINARY_FRAME || (opcode >= WSLAY_CONNECTION_CLOSE && opcode <= WSLAY_PONG);
}

}  // namespace

FrameReader::FrameReader() {
  const wslay_frame_callbacks callbacks{nullptr, supply, nullptr};
  wslay_frame_context_ptr context = nullptr;
  if (wslay_frame_context_init(&context, &callbacks, this) != 0) {
    throw std::bad_alloc();
  }
  m_context.reset(context);
}

void FrameReader::feed(std::string_view bytes) {
  if (bytes.empty()) {
    return;
  }
  m_input.erase(0, m_consumed);
  m_consumed = 0;
  m_input += bytes;
}

FrameReader::Event FrameReader::next() {
  if (m_isMessageRead) {
    m_message.clear();
    m_isMessageRead = false;
  }
  // The codec holds back no event that needs no more bytes.
  while (m_consumed < m_input.size()) {
    const std::size_t before = m_consumed;
    wslay_frame_iocb part{};
    const ssize_t count = wslay_frame_recv(m_context.get(), &part);
    if (count >= 0) {
      const Event event = take(part);
      if (event != Event::None) {
        return event;
      }
    } else if (count != WSLAY_ERR_WANT_READ) {
      return wrong("a malformed frame");
    } else if (m_consumed == before) {
      return Event::None;
    }
  }
  return Event::None;
}

std::string_view FrameReader::content() const {
  return m_content;
}

int FrameReader::closeCode() const {
  return m_closeCode;
}

bool FrameReader::isInsideMessage() const {
  return m_isFragmented || (m_hasBegun && !isControl(m_firstByte & kOpcodeBits));
}

// Supplies no byte beyond the current frame, and its header byte by byte after the two bytes that
// every header has: so this object knows what the codec holds.
std::size_t FrameReader::mostSupplied(std::size_t size) const {
  const std::size_t ofHeader = m_hasBegun ? 1 : kLeastHeader;
  const std::size_t wanted = m_isHeaderTaken ? m_payloadLeft : ofHeader;
  return std::min({size, wanted, m_input.size() - m_consumed});
}

ssize_t FrameReader::supply(std::uint8_t* buffer, std::size_t size, int /*flags*/, void* reader) {
  auto* self = static_cast<FrameReader*>(reader);
  const std::size_t count = self->mostSupplied(size);
  if (count == 0) {
    return -1;
  }
  const char* bytes = self->m_input.data() + self->m_consumed;
  std::memcpy(buffer, bytes, count);
  self->m_consumed += count;
  if (!self->m_hasBegun) {
    self->m_hasBegun = true;
    self->m_firstByte = static_cast<std::uint8_t>(*bytes);
  }
  return static_cast<ssize_t>(count);
}

FrameReader::Event FrameReader::wrong(std::string_view what) {
  m_content = what;
  return Event::Wrong;
}

FrameReader::Event FrameReader::take(const wslay_frame_iocb& part) {
  if (!m_isHeaderTaken) {
    const Event event = takeHeader(part);
    if (event != Event::None) {
      return event;
    }
  }
  std::string& target = isControl(part.opcode) ? m_control : m_message;
  target.append(reinterpret_cast<const char*>(part.data), part.data_length);
  m_payloadLeft -= part.data_length;
  return m_payloadLeft == 0 ? endFrame(part) : Event::None;
}

FrameReader::Event FrameReader::takeHeader(const wslay_frame_iocb& part) {
  if (part.mask != 0) {
    return wrong("a masked frame");
  }
  if (part.rsv != 0) {
    return wrong("a frame with reserved bits");
  }
  if (!isKnown(part.opcode)) {
    return wrong("a frame with an unknown opcode");
  }
  if (isControl(part.opcode)) {
    m_control.clear();
  } else if (m_isFragmented != (part.opcode == WSLAY_CONTINUATION_FRAME)) {
    return wrong(m_isFragmented ? "a message inside another" : "a continuation of nothing");
  } else if (part.payload_length > kLargestReply - m_message.size()) {
    return Event::TooLarge;
  } else {
    m_isFragmented = true;
  }
  m_isHeaderTaken = true;
  m_payloadLeft = part.payload_length;
  return Event::None;
}

FrameReader::Event FrameReader::endFrame(const wslay_frame_iocb& part) {
  m_hasBegun = false;
  m_isHeaderTaken = false;
  if (isControl(part.opcode)) {
    return endControl(part.opcode);
  }
  if (part.fin == 0) {
    return Event::None;
  }
  m_isFragmented = false;
  m_isMessageRead = true;
  m_content = m_message;
  return Event::Message;
}

FrameReader::Event FrameReader::endControl(std::uint8_t opcode) {
  m_content = m_control;
  if (opcode != WSLAY_CONNECTION_CLOSE) {
    return opcode == WSLAY_PING ? Event::Ping : Event::Pong;
  }
  m_closeCode = 0;
  if (m_control.size() == 1) {
    return wrong("a close frame with half a code");
  }
  if (m_control.size() >= kCloseCodeSize) {
    const auto high = static_cast<unsigned char>(m_control[0]);
    const auto low = static_cast<unsigned char>(m_control[1]);
    m_closeCode = high << 8 | low;
    m_content.remove_prefix(kCloseCodeSize);
  }
  return Event::Close;
}

}  // namespace velmo::client
