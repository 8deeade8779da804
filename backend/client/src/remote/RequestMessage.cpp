#include "RequestMessage.h"

#include <algorithm>
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

// Writes fields into memory that is large enough.
class FieldWriter {
 public:
  explicit FieldWriter(char* start) : m_end(start) {}

  void key(unsigned field, unsigned wireType) {
    varint(field << 3U | wireType);
  }

  void varint(std::uint64_t number) {
    for (; number > 0x7F; number >>= 7U) {
      *m_end++ = static_cast<char>((number & 0x7FU) | 0x80U);
    }
    *m_end++ = static_cast<char>(number);
  }

  void text(unsigned field, std::string_view text) {
    key(field, kWithLength);
    varint(text.size());
    m_end = std::copy(text.begin(), text.end(), m_end);
  }

  void number(unsigned field, std::uint64_t number) {
    key(field, kNumber);
    varint(number);
  }

 private:
  char* m_end;
};

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
  std::string bytes(1 + varintSize(size) + size, '\0');
  FieldWriter writer(bytes.data());
  writer.key(kAddTaskRequest, kWithLength);
  writer.varint(size);
  writer.text(1, fields.priorityType);
  writer.text(2, fields.command);
  writer.number(3, static_cast<std::uint64_t>(fields.taskType));
  writer.text(4, fields.deltaType);
  writer.text(5, fields.jobId);
  writer.text(6, fields.subJobId);
  writer.text(7, fields.jobInfo);
  writer.number(8, wireNumber(fields.relPriority));
  return bytes;
}

}  // namespace velmo::client
