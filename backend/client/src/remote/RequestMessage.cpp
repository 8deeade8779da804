#include "RequestMessage.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace velmo::client {

namespace {

constexpr unsigned kNumber = 0;      // wire type: a varint
constexpr unsigned kWithLength = 2;  // wire type: a length, and so many bytes
constexpr unsigned kAddTaskRequest = 1;

std::size_t varintSize(std::uint64_t number) {
  std::size_t size = 1;
  for (; number > 0x7F; number >>= 7U) {
    ++size;
  }
  return size;
}

void appendVarint(std::string& bytes, std::uint64_t number) {
  for (; number > 0x7F; number >>= 7U) {
    bytes += static_cast<char>((number & 0x7FU) | 0x80U);
  }
  bytes += static_cast<char>(number);
}

void appendKey(std::string& bytes, unsigned field, unsigned wireType) {
  appendVarint(bytes, field << 3U | wireType);
}

void appendText(std::string& bytes, unsigned field, std::string_view text) {
  appendKey(bytes, field, kWithLength);
  appendVarint(bytes, text.size());
  bytes += text;
}

void appendNumber(std::string& bytes, unsigned field, std::uint64_t number) {
  appendKey(bytes, field, kNumber);
  appendVarint(bytes, number);
}

// A negative int32 goes out as a 64-bit number, in ten bytes.
std::uint64_t wireNumber(int number) {
  return static_cast<std::uint64_t>(std::int64_t{number});
}

std::size_t sizeOf(const RequestFields& fields) {
  const std::array<std::string_view, 6> texts{fields.priorityType, fields.command,
                                              fields.deltaType,    fields.jobId,
                                              fields.subJobId,     fields.jobInfo};
  std::size_t size = 2 + 1 + varintSize(wireNumber(fields.relPriority));
  for (const std::string_view text : texts) {
    size += 1 + varintSize(text.size()) + text.size();
  }
  return size;
}

}  // namespace

std::string requestMessage(const RequestFields& fields) {
  const std::size_t size = sizeOf(fields);
  std::string bytes;
  bytes.reserve(1 + varintSize(size) + size);
  appendKey(bytes, kAddTaskRequest, kWithLength);
  appendVarint(bytes, size);
  appendText(bytes, 1, fields.priorityType);
  appendText(bytes, 2, fields.command);
  appendNumber(bytes, 3, static_cast<std::uint64_t>(fields.taskType));
  appendText(bytes, 4, fields.deltaType);
  appendText(bytes, 5, fields.jobId);
  appendText(bytes, 6, fields.subJobId);
  appendText(bytes, 7, fields.jobInfo);
  appendNumber(bytes, 8, wireNumber(fields.relPriority));
  return bytes;
}

}  // namespace velmo::client
