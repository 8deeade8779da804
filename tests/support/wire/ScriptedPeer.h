#ifndef VELMO_TEST_SCRIPTEDPEER_H
#define VELMO_TEST_SCRIPTEDPEER_H

#include <functional>
#include <string>
#include <vector>

#include "Connection.h"
#include "WebSocketFrame.h"

namespace velmo::test {

/// The server's end of a connection to a client of the service.
class PeerConnection : public Connection {
 public:
  using Connection::Connection;

  /// Reads the client's handshake and upgrades the connection.
  /// @return the handshake
  std::string upgrade();

  /// Reads frames up to and with the first final one.
  std::vector<WebSocketFrame> readMessage();

  /// Reads the client's last message, answers with a close frame and reads to the end.
  void closeInOrder();
};

/// What the peer does on a connection. The connection is closed in order when it returns.
using PeerScript = std::function<void(PeerConnection&)>;

/// A peer that upgrades, answers each request with the next of these replies, and closes in order.
PeerScript answering(const std::vector<std::string>& replies);

/// A reply with this name of a task, in one frame.
std::string naming(const std::string& taskName);

/// Listens on 127.0.0.1, on a port that the system chose.
class PeerListener {
 public:
  PeerListener();
  PeerListener(const PeerListener&) = delete;
  PeerListener& operator=(const PeerListener&) = delete;
  ~PeerListener();

  unsigned short port() const;

  /// Takes the next connection and follows the script; waits up to 30 seconds for it.
  void serve(const PeerScript& script) const;

  /// Whether a connection waits to be taken.
  bool isReached() const;

 private:
  int m_descriptor;
};

}  // namespace velmo::test

#endif
