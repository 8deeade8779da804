#ifndef VELMO_STANDIN_TASKREQUEST_H
#define VELMO_STANDIN_TASKREQUEST_H

#include <velmo/velmo.pb.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace standin {

/// The codes with which a WebSocket is closed.
enum class CloseCode : std::uint16_t {
  kNormal = 1000,
  kGoingAway = 1001,
  kProtocolError = 1002,
  kUnsupported = 1003,
  kMalformed = 1007,
  kPolicy = 1008,
  kTooBig = 1009,
  kInternal = 1011,
};

/// What a client sent is not taken. `what()` says why, for people.
class Refusal : public std::runtime_error {
 public:
  Refusal(CloseCode code, const std::string& why) : std::runtime_error(why), m_code(code) {}

  /// The code that tells the client.
  CloseCode code() const {
    return m_code;
  }

 private:
  CloseCode m_code;
};

/// Takes the request out of the bytes of a message, a BaseMessage that holds a complete
/// AddTaskRequest whose texts a task file can hold: its name and its contents are lines, and a
/// slash would lead the file elsewhere.
/// @throws Refusal
service::velmo::AddTaskRequest parseRequest(const std::string& message);

/// The message that answers a request with the name of its task.
std::string responseMessage(const std::string& taskName);

}  // namespace standin

#endif
