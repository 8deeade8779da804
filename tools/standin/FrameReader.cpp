#include "FrameReader.h"

#include <cstddef>
#include <cstdint>

namespace velmo::standin {

namespace {

constexpr std::size_t kShortHeader = 2;
constexpr std::size_t kMaskSize = 4;

int byteAt(std::string_view bytes, std::size_t position) {
  return static_cast<unsigned char>(bytes[position]);
}

std::size_t lengthFieldSize(int length) {
  if (length <= kLongestShort) {
    return 0;
  }
  return length == kTwoByteLength ? 2 : 8;
}

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    number = (number << 8U) | static_cast<std::uint64_t>(byteAt(bytes, i));
  }
  return number;
}

void checkControlFrame(int flags, int length) {
  if ((flags & kReservedBits) != 0) {
    throw unexpectedFlags(flags);
  }
  if ((flags & kFinalFrame) == 0) {
    throw Refusal(CloseCode::kProtocolError, "a fragmented control frame");
  }
  if (length > kLongestShort) {
    throw Refusal(CloseCode::kProtocolError, "a control frame of more than 125 bytes");
  }
}

void checkStart(int flags, int second) {
  if ((second & kMasked) == 0) {
    throw Refusal(CloseCode::kProtocolError, "a frame without a mask");
  }
  if (opcodeOf(flags) >= kClose) {
    checkControlFrame(flags, second & kLength);
  }
}

struct Header {
  int flags = 0;
  std::size_t size = 0;  ///< where the payload begins
  std::size_t payloadSize = 0;
  std::string_view mask;  // cppcheck-suppress unusedStructMember
};

// @return nothing until the header is complete
std::optional<Header> headerOf(std::string_view bytes) {
  if (bytes.size() < kShortHeader) {
    return std::nullopt;
  }
  const int flags = byteAt(bytes, 0);
  const int second = byteAt(bytes, 1);
  checkStart(flags, second);
  const std::size_t fieldSize = lengthFieldSize(second & kLength);
  const std::size_t maskAt = kShortHeader + fieldSize;
  if (bytes.size() < maskAt) {
    return std::nullopt;
  }
  const std::uint64_t length = fieldSize == 0 ? static_cast<std::uint64_t>(second & kLength)
                                              : bigEndian(bytes.substr(kShortHeader, fieldSize));
  if (length > kLongestMessage) {
    throw tooLong();
  }
  if (bytes.size() < maskAt + kMaskSize) {
    return std::nullopt;
  }
  return Header{flags, maskAt + kMaskSize, static_cast<std::size_t>(length),
                bytes.substr(maskAt, kMaskSize)};
}

}  // namespace

void FrameReader::add(std::string_view bytes) {
  m_bytes += bytes;
}

std::optional<Frame> FrameReader::next() {
  const std::string_view bytes = m_bytes;
  const std::optional<Header> header = headerOf(bytes);
  if (!header || bytes.size() - header->size < header->payloadSize) {
    return std::nullopt;
  }
  Frame frame{header->flags, masked(bytes.substr(header->size, header->payloadSize), header->mask)};
  m_bytes.erase(0, header->size + header->payloadSize);
  return frame;
}

bool FrameReader::isEmpty() const {
  return m_bytes.empty();
}

}  // namespace velmo::standin
