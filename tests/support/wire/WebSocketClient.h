#ifndef VELMO_TEST_WEBSOCKETCLIENT_H
#define VELMO_TEST_WEBSOCKETCLIENT_H

#include <cstdint>
#include <optional>
#include <string>

#include "Connection.h"
#include "WebSocketFrame.h"

namespace velmo::test {

/// A client of 127.0.0.1 that sends and reads bytes, right ones and wrong ones.
class WebSocketClient : public Connection {
 public:
  /// Connects.
  /// @throws std::system_error  with the error of connect()
  explicit WebSocketClient(std::uint16_t port);

  /// Asks for a WebSocket at "/velmo", and reads the head of the answer.
  /// @return the first line of the answer
  std::string shakeHands();

  /// Sends a masked frame.
  void sendFrame(int flags, const std::string& payload);

  /// @return nothing at the end of the connection
  /// @throws std::runtime_error  if the frame is masked: a server masks nothing
  std::optional<WebSocketFrame> receiveFrame();

  /// Sends a message in one frame and returns the payload of the frame that answers.
  std::string ask(const std::string& message);
};

}  // namespace velmo::test

#endif
