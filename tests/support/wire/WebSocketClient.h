#ifndef VELMO_TEST_WEBSOCKETCLIENT_H
#define VELMO_TEST_WEBSOCKETCLIENT_H

#include <cstdint>
#include <optional>
#include <string>

namespace velmo::test {

/// First byte of a frame: the final bit, the opcode.
constexpr int kFinal = 0x80;
constexpr int kContinuation = 0x0;
constexpr int kLastContinuation = kFinal;
constexpr int kText = 0x1;
constexpr int kBinary = 0x2;
constexpr int kClose = 0x8;
constexpr int kPing = 0x9;
constexpr int kPong = 0xa;

/// A frame that came in.
struct WebSocketFrame {
  int flags = 0;
  std::string payload;
};

/// The bytes of a frame as a client sends it, with a mask of four bytes.
std::string clientFrame(int flags, const std::string& payload, const std::string& mask);

/// The payload of a close frame: the code in two bytes, and the text.
std::string closePayload(std::uint16_t code, const std::string& text);

/// A client of 127.0.0.1 that sends and reads bytes, right ones and wrong ones.
class WebSocketClient {
 public:
  /// Connects.
  /// @throws std::system_error  with the error of connect()
  explicit WebSocketClient(std::uint16_t port);

  WebSocketClient(const WebSocketClient&) = delete;
  WebSocketClient& operator=(const WebSocketClient&) = delete;
  ~WebSocketClient();

  /// Asks for a WebSocket at "/velmo", and reads the answer's head.
  /// @return the first line of the answer
  std::string shakeHands();

  void send(const std::string& bytes) const;
  void sendFrame(int flags, const std::string& payload) const;

  /// @return nothing at the end of the connection
  /// @throws std::runtime_error  when nothing comes for 30 seconds
  std::optional<WebSocketFrame> receiveFrame();

  /// Reads to the end of the connection.
  std::string receiveAll();

  /// Sends a message in one frame and returns the payload of the frame that answers.
  std::string ask(const std::string& message);

 private:
  bool readMore();
  bool ensure(std::size_t count);
  std::string take(std::size_t count);

  int m_descriptor;
  std::string m_input;
};

/// The request for a WebSocket at a path, with further header lines.
std::string handshakeRequest(const std::string& path, const std::string& headers);

}  // namespace velmo::test

#endif
