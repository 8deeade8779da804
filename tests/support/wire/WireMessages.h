#ifndef VELMO_TEST_WIREMESSAGES_H
#define VELMO_TEST_WIREMESSAGES_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace velmo::test {

/// The messages of the service as bytes, encoded here without generated code or library.

/// A field with a length: its key, the length, the bytes.
std::string textField(unsigned number, const std::string& bytes);

/// A field with a number; a negative one takes ten bytes.
std::string numberField(unsigned number, std::int64_t value);

/// The fields of a request, in their order.
struct WireRequest {
  std::string priorityType;
  std::string command;
  int taskType = 1;
  std::string deltaType;
  std::string jobId;
  std::string subJobId;
  std::string jobInfo;
  int relPriority = 0;
};

/// The request in its envelope.
std::string envelopeOf(const WireRequest& request);

/// A response with this name in its envelope.
std::string responseNaming(const std::string& taskName);

/// A response of exactly so many bytes, from 135 to 16000, in its envelope. Its name is all "n".
std::string replyOfSize(std::size_t size);

/// A response without a name in its envelope.
std::string responseWithoutName();

}  // namespace velmo::test

#endif
