#include "WireMessages.h"

namespace velmo::test {

namespace {

std::string varint(std::uint64_t number) {
  std::string bytes;
  while (number > 0x7FU) {
    bytes += static_cast<char>((number & 0x7FU) | 0x80U);
    number >>= 7U;
  }
  return bytes + static_cast<char>(number);
}

}  // namespace

std::string textField(unsigned number, const std::string& bytes) {
  return varint(number << 3U | 2U) + varint(bytes.size()) + bytes;
}

std::string numberField(unsigned number, std::int64_t value) {
  return varint(number << 3U) + varint(static_cast<std::uint64_t>(value));
}

std::string envelopeOf(const WireRequest& request) {
  return textField(1, textField(1, request.priorityType) + textField(2, request.command) +
                          numberField(3, request.taskType) + textField(4, request.deltaType) +
                          textField(5, request.jobId) + textField(6, request.subJobId) +
                          textField(7, request.jobInfo) + numberField(8, request.relPriority));
}

std::string responseNaming(const std::string& taskName) {
  return textField(2, textField(1, taskName));
}

std::string replyOfSize(std::size_t size) {
  const std::size_t around = responseNaming(std::string(size, 'n')).size() - size;
  return responseNaming(std::string(size - around, 'n'));
}

std::string responseWithoutName() {
  return textField(2, "");
}

}  // namespace velmo::test
