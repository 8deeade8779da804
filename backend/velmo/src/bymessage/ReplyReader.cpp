#include "ReplyReader.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <velmo/velmo.pb.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <utility>

namespace brix::velmo {

namespace {

using service::velmo::BaseMessage;

constexpr int kFinalFragment = 0x80;

// How much of a malformed reply is parsed depends on the size of the blocks.
constexpr int kBlockSize = 8192;

// Protocol buffers do not parse more than this of a message.
constexpr std::size_t kMostParsed = std::numeric_limits<int>::max();

}  // namespace

// Deliberate: every frame is part of the reply, even a control frame, and an empty frame ends it
// like the end of the connection. The service relies on it: it sends nothing but replies.
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
  auto reply = std::make_unique<BaseMessage>();
  // Deliberate: the result is ignored. Of a malformed reply, the part that was parsed counts:
  // callers get the name if it arrived. Required fields are not checked: that would change nothing,
  // and after a client of this process has shut protocol buffers down, the message about a missing
  // field would read released memory.
  try {
    static_cast<void>(reply->ParsePartialFromZeroCopyStream(&stream));
  } catch (...) {
    // Not destroyed: an envelope that runs out of memory while it creates its content would release
    // a pointer that it has not set.
    static_cast<void>(reply.release());
    throw;
  }
  if (reply->theMessage_case() != BaseMessage::kAddTaskResponse) {
    return std::nullopt;
  }
  if (!reply->addtaskresponse().has_taskname()) {
    return std::string();
  }
  return std::move(*reply->mutable_addtaskresponse()->mutable_taskname());
}

}  // namespace brix::velmo
