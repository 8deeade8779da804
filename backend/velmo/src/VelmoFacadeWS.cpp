#include "VelmoFacadeWS.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/WebSocket.h>

#include <array>
#include <mutex>
#include <optional>
#include <utility>

#include <velmo/velmo.pb.h>
#include "CancellationGuard.h"
#include "GivenText.h"
#include "ReceivedFrame.h"
#include "ReplyReader.h"
#include "RequestFrames.h"
#include "ServiceSession.h"
#include "SigPipeGuard.h"

using brix::imutils::CancellationGuard;
using brix::imutils::givenText;
using brix::velmo::ReceivedFrame;
using brix::velmo::receiveFrame;
using brix::velmo::ReplyReader;
using brix::velmo::RequestFrame;
using brix::velmo::requestFrameAt;
using brix::velmo::ServiceSession;
using brix::velmo::SigPipeGuard;
using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;
using Poco::Net::WebSocket;
using service::velmo::AddTaskRequest;
using service::velmo::BaseMessage;

namespace {

// The session may end here: the WebSocket takes over its socket. The networking library does not
// survive a cancellation of the thread while it sends the handshake.
std::unique_ptr<WebSocket> openWebSocket(const std::string& host, unsigned short port) {
  const CancellationGuard uncancelled;  // first: the session may close its socket at its end
  ServiceSession session(host, port);
  HTTPRequest request(HTTPRequest::HTTP_GET, givenText(VelmoFacadeWS::s_serviceUrl),
                      HTTPRequest::HTTP_1_1);
  // Deliberate: the same origin from every machine, whatever its name.
  request.set("origin", "localhost");
  try {
    HTTPResponse response;
    const SigPipeGuard guard(SigPipeGuard::FailedSend::MayBeRepeated);
    return std::make_unique<WebSocket>(session, request, response);
  } catch (const Poco::Exception& exception) {
    throw VelmoException(exception.displayText());
  }
}

// Receives frames and passes each to `take`, until `take` returns true.
template <typename Take>
void receiveFrames(WebSocket& ws, Take take) {
  std::array<char, VelmoFacadeWS::s_frameSize> buffer;  // not cleared: only received bytes are read
  for (bool isComplete = false; !isComplete;) {
    const ReceivedFrame frame = receiveFrame(ws, buffer.data(), static_cast<int>(buffer.size()));
    isComplete = take(buffer.data(), frame.size, frame.flags);
  }
}

void sendRequest(WebSocket& ws, const BaseMessage& request) {
  std::string text;
  // Deliberate: the result is ignored. A request that fails to serialise is not sent, and the call
  // still waits for a reply: callers rely on the reply alone to learn the outcome.
  static_cast<void>(request.SerializeToString(&text));
  // Deliberate: the result is ignored for the same reason. After a send that stopped early, the
  // call still waits for a reply.
  static_cast<void>(sendBytes(ws, text.data(), text.size(), VelmoFacadeWS::s_frameSize));
}

std::optional<std::string> receiveTaskName(WebSocket& ws) {
  ReplyReader reply;
  receiveFrames(ws, [&reply](const char* payload, int size, int flags) {
    return reply.take(payload, size, flags);
  });
  return reply.taskName();
}

// Called once: a second call does nothing, but would race with the first call of another thread.
void shutDownProtocolBuffers() {
  static std::once_flag isDone;
  std::call_once(isDone, google::protobuf::ShutdownProtobufLibrary);
}

}  // namespace

const std::size_t VelmoFacadeWS::s_frameSize;

const char* VelmoFacadeWS::s_serviceUrl = "/velmo";

VelmoException::VelmoException(const std::string& message) : std::runtime_error(message) {}

VelmoException::~VelmoException() = default;

VelmoFacadeWS::VelmoFacadeWS(const std::string& host, unsigned short port) : m_ws(nullptr) {
  GOOGLE_PROTOBUF_VERIFY_VERSION;
  m_ws = openWebSocket(host, port);
}

// Deliberate: an exception in here ends the process, because destructors are noexcept. Do not catch
// it: programs rely on learning in this way that the service has broken the connection.
//
// Deliberate: the first client that is destroyed shuts protocol buffers down for the whole process.
// Programs that check for memory leaks at their end rely on it.
VelmoFacadeWS::~VelmoFacadeWS() {  // NOLINT(bugprone-exception-escape): the reason is above
  const CancellationGuard uncancelled;
  {
    const SigPipeGuard guard;
    m_ws->shutdown();
  }
  receiveFrames(*m_ws, [](const char* /*payload*/, int size, int flags) {
    return brix::velmo::endsMessage(size, flags);
  });
  m_ws->close();
  m_ws.reset();
  shutDownProtocolBuffers();
}

std::string VelmoFacadeWS::addTask(const std::string& priorityType, const std::string& command,
                                   TaskType taskType, const std::string& deltaType,
                                   const std::string& jobId, const std::string& subJobId,
                                   const std::string& jobInfo, int relPriority) {
  // Owned until it is complete: an envelope that runs out of memory while it creates its content
  // releases a pointer that it has not set.
  auto task = std::make_unique<AddTaskRequest>();
  task->set_prioritytype(priorityType);
  task->set_command(command);
  task->set_tasktype(convertTaskType(taskType));
  task->set_deltatype(deltaType);
  task->set_jobid(jobId);
  task->set_subjobid(subJobId);
  task->set_jobinfo(jobInfo);
  task->set_relpriority(relPriority);
  BaseMessage request;
  request.set_allocated_addtaskrequest(task.release());

  std::optional<std::string> taskName;
  try {
    sendRequest(*m_ws, request);
    taskName = receiveTaskName(*m_ws);
  } catch (const Poco::Exception& exception) {
    throw VelmoException(exception.displayText());
  }
  if (!taskName) {
    throw VelmoException("Wrong type of message is returned!");
  }
  return *std::move(taskName);
}

service::velmo::TaskType convertTaskType(TaskType type) {
  return type == TASK_SHELL_SCRIPT ? service::velmo::ShellScript : service::velmo::JavaClass;
}

bool sendBytes(WebSocket& ws, const char* data, std::size_t length, std::size_t frameSize) {
  if (length == 0) {
    return true;
  }
  if (data == nullptr) {
    return false;
  }
  const SigPipeGuard guard;
  for (std::size_t offset = 0; offset < length;) {
    const RequestFrame frame = requestFrameAt(length, offset, frameSize);
    const int sent = ws.sendFrame(data + offset, static_cast<int>(frame.size), frame.flags);
    if (sent < 1) {
      return false;
    }
    offset += static_cast<std::size_t>(sent);
  }
  return true;
}
