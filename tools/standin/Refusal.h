#ifndef VELMO_STANDIN_REFUSAL_H
#define VELMO_STANDIN_REFUSAL_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace velmo::standin {

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

/// Thrown when a client's message is refused. `what()` gives the reason for people.
class Refusal : public std::runtime_error {
 public:
  Refusal(CloseCode code, const std::string& why) : std::runtime_error(why), m_code(code) {}

  /// The code that is sent to the client.
  CloseCode code() const {
    return m_code;
  }

 private:
  CloseCode m_code;
};

}  // namespace velmo::standin

#endif
