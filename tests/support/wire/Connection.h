#ifndef VELMO_TEST_CONNECTION_H
#define VELMO_TEST_CONNECTION_H

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "WebSocketFrame.h"

namespace velmo::test {

/// The address of a port of 127.0.0.1; 0 is any free port.
sockaddr_in loopback(std::uint16_t port);

/// The port that a socket is bound to.
std::uint16_t portOf(int descriptor);

/// Waits up to 30 seconds for bytes, a connection or an end.
/// @throws std::runtime_error  if nothing comes
void waitUntilReadable(int descriptor);

/// One end of a TCP connection: raw bytes on a socket. No call waits longer than 30 seconds. Every
/// failure throws std::runtime_error.
class Connection {
 public:
  /// Takes a connected socket over.
  explicit Connection(int descriptor);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Closes in order, if nothing has closed before.
  ~Connection();

  /// Exactly so many bytes.
  std::string read(std::size_t count);

  /// The head of an HTTP message, up to and with the empty line.
  std::string readHead();

  /// The next frame.
  WebSocketFrame readFrame();

  /// All bytes until the other end closes or resets.
  std::string readToTheEnd();

  /// Waits for the next byte.
  /// @return whether the other end has closed or reset instead
  bool hasEnded() const;

  /// Reads and discards until the other end closes or resets.
  /// @return whether it has reset
  bool endsWithReset();

  void send(const std::string& bytes);

  /// Sends one byte a packet.
  void sendByteByByte(const std::string& bytes);

  /// Sends nothing more; still receives.
  void finish();

  /// Reads and discards until the other end closes or resets.
  void drain();

  void close();

  /// Closes with a reset (RST).
  void reset();

 private:
  int m_descriptor;
};

}  // namespace velmo::test

#endif
