#ifndef VELMO_REPLYREADER_H
#define VELMO_REPLYREADER_H

#include <cstddef>
#include <optional>
#include <string>

namespace brix::velmo {

/// Whether a message ends with this frame: it does if the frame is final or empty. The opcode does
/// not matter: a ping, a pong or a close frame is part of the message like any other.
/// @param size   bytes of payload; 0 also at the end of the connection
/// @param flags  first byte on the wire
bool endsMessage(int size, int flags);

/// Assembles the reply to one request from the frames that the service sends, and parses it. Needs
/// no socket.
class ReplyReader {
 public:
  /// Takes the next frame.
  /// @return whether the reply is complete
  bool take(const char* payload, int size, int flags);

  /// The name of the task that the reply gives; empty if the reply gives none. Of a malformed
  /// reply, the part before the fault counts; a name that is cut there has its full length, and its
  /// missing bytes are unspecified.
  /// @return nothing if the reply is not an AddTaskResponse
  std::optional<std::string> taskName() const;

 private:
  std::string m_bytes;
};

}  // namespace brix::velmo

#endif
