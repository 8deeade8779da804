#include "FrameReader.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>

#include "MessageAssembler.h"
#include "TaskRequest.h"

namespace standin {

namespace {

constexpr std::size_t kShortHeader = 2;
constexpr std::size_t kMaskSize = 4;
constexpr int kFinal = 0x80;
constexpr int kReserved = 0x70;
constexpr int kControl = 0x08;
constexpr int kMasked = 0x80;
constexpr int kLength = 0x7f;

// Up to this length the second byte is the length; the two values above it announce longer fields.
constexpr int kLongestShort = 125;
constexpr int kTwoByteLength = 126;

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
  if ((flags & kReserved) != 0) {
    throw Refusal(CloseCode::kProtocolError, fmt::format("a frame with the flags {}", flags));
  }
  if ((flags & kFinal) == 0) {
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
  if ((flags & kControl) != 0) {
    checkControlFrame(flags, second & kLength);
  }
}

std::string unmasked(std::string_view payload, std::string_view mask) {
  std::string text(payload);
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char>(byteAt(text, i) ^ byteAt(mask, i % kMaskSize));
  }
  return text;
}

}  // namespace

void FrameReader::add(std::string_view bytes) {
  m_bytes += bytes;
}

std::optional<Frame> FrameReader::next() {
  const std::string_view bytes = m_bytes;
  if (bytes.size() < kShortHeader) {
    return std::nullopt;
  }
  const int flags = byteAt(bytes, 0);
  checkStart(flags, byteAt(bytes, 1));
  const int shortLength = byteAt(bytes, 1) & kLength;
  const std::size_t maskAt = kShortHeader + lengthFieldSize(shortLength);
  if (bytes.size() < maskAt) {
    return std::nullopt;
  }
  const std::uint64_t length = maskAt == kShortHeader
                                   ? static_cast<std::uint64_t>(shortLength)
                                   : bigEndian(bytes.substr(kShortHeader, maskAt - kShortHeader));
  if (length > MessageAssembler::kLimit) {
    throw Refusal(CloseCode::kTooBig,
                  fmt::format("longer than {} bytes", MessageAssembler::kLimit));
  }
  const std::size_t payloadAt = maskAt + kMaskSize;
  const std::size_t end = payloadAt + static_cast<std::size_t>(length);
  if (bytes.size() < end) {
    return std::nullopt;
  }
  Frame frame{flags,
              unmasked(bytes.substr(payloadAt, end - payloadAt), bytes.substr(maskAt, kMaskSize))};
  m_bytes.erase(0, end);
  return frame;
}

bool FrameReader::isEmpty() const {
  return m_bytes.empty();
}

}  // namespace standin
