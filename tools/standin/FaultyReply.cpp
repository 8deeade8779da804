#include "FaultyReply.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <string_view>

#include "Frame.h"
#include "FrameWriter.h"
#include "SocketCalls.h"
#include "TaskRequest.h"

namespace velmo::standin {

namespace {

constexpr int kDripMilliseconds = 50;
constexpr std::string_view kMask = "\x12\x34\x56\x78";
constexpr std::string_view kPingPayload = "velmo-standin";

std::string replyFor(const std::string& taskName) {
  return serverFrame(kBinary, responseMessage(taskName));
}

// The system would otherwise join dripped bytes, and hold back a reply that a reset then discards.
void sendWithoutDelay(int descriptor) {
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void drip(int descriptor, std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0) {
      ::poll(nullptr, 0, kDripMilliseconds);
    }
    sendBytes(descriptor, bytes.substr(i, 1));
  }
}

// The close that follows sends a reset instead of an end.
void resetAtClose(int descriptor) {
  const linger atOnce{1, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

std::string tooLong(std::string taskName) {
  taskName.resize(kLongestMessage + 1, 'x');
  return taskName;
}

// The bytes with which a fault replies, where it is the bytes that are wrong.
std::string bytesFor(FaultKind kind, const QueuedRequest& request) {
  switch (kind) {
    case FaultKind::kWrongReply:
      return serverFrame(kBinary, request.message);
    case FaultKind::kTooLarge:
      return replyFor(tooLong(request.taskName));
    case FaultKind::kPingFirst:
      return serverFrame(kPing, kPingPayload) + replyFor(request.taskName);
    case FaultKind::kMasked:
      return maskedFrame(kBinary, responseMessage(request.taskName), kMask);
    default:
      return replyFor(request.taskName);
  }
}

}  // namespace

bool replyFaultily(FaultKind kind, const QueuedRequest& request, int descriptor,
                   int stopDescriptor) {
  sendWithoutDelay(descriptor);
  switch (kind) {
    case FaultKind::kSilent:
      discardBytes(descriptor, stopDescriptor, std::nullopt);
      return false;
    case FaultKind::kResetAfterRequest:
      resetAtClose(descriptor);
      return false;
    case FaultKind::kResetAfterReply:
      sendBytes(descriptor, bytesFor(kind, request));
      resetAtClose(descriptor);
      return false;
    case FaultKind::kDrip:
      drip(descriptor, bytesFor(kind, request));
      return true;
    default:
      sendBytes(descriptor, bytesFor(kind, request));
      return true;
  }
}

}  // namespace velmo::standin
