#include "ReplyReader.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <velmo/velmo.pb.h>

#include <algorithm>
#include <limits>

namespace brix::velmo {

namespace {

constexpr int kFinalFragment = 0x80;

// What is left of a malformed reply depends on the size of the pieces in which it is parsed.
constexpr int kBlockSize = 8192;

// Protocol buffers parse no more of a message.
constexpr std::size_t kMostParsed = std::numeric_limits<int>::max();

}  // namespace

// Deliberate: the service sends replies alone, so every frame counts, a control frame too, and an
// empty frame ends the message like the end of the connection.
bool endsMessage(int size, int flags) {
  return size <= 0 || (flags & kFinalFragment) != 0;
}

bool ReplyReader::take(const char* payload, int size, int flags) {
  if (size > 0) {
    m_bytes.append(payload, static_cast<std::size_t>(size));
  }
  return endsMessage(size, flags);
}

std::optional<std::string> ReplyReader::taskName() const {
  const int size = static_cast<int>(std::min(m_bytes.size(), kMostParsed));
  google::protobuf::io::ArrayInputStream stream(m_bytes.data(), size, kBlockSize);
  service::velmo::BaseMessage reply;
  // Deliberate: the result is not examined; of a malformed reply, the part that was parsed counts.
  // Required fields are not looked at: it changes nothing here, and once a client of this process
  // has shut protocol buffers down, naming a missing field reads memory that was released.
  static_cast<void>(reply.ParsePartialFromZeroCopyStream(&stream));
  if (reply.theMessage_case() != service::velmo::BaseMessage::kAddTaskResponse) {
    return std::nullopt;
  }
  return reply.addtaskresponse().taskname();
}

}  // namespace brix::velmo
