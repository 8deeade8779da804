#ifndef VELMO_TEST_SCRIPTEDPEER_H
#define VELMO_TEST_SCRIPTEDPEER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmo::test {

/// A frame as it came from the client, unmasked.
struct ReceivedFrame {
  int flags = 0;  ///< the first byte
  bool isMasked = false;
  std::string payload;
};

/// A frame as a server sends it: unmasked, with the shortest form of its length.
std::string frame(int flags, const std::string& payload);

/// The first bytes of a frame that claims a payload of any length, in the eight-byte form.
std::string longFrameHeader(int flags, std::uint64_t length);

/// The peer's end of one connection. All it does are raw bytes on a socket; nothing waits longer
/// than 20 seconds. What fails throws std::runtime_error.
class PeerConnection {
 public:
  explicit PeerConnection(int descriptor);
  PeerConnection(const PeerConnection&) = delete;
  PeerConnection& operator=(const PeerConnection&) = delete;

  /// Closes in order, if nothing has closed before.
  ~PeerConnection();

  /// Exactly so many bytes.
  std::string read(std::size_t count);

  /// The client's handshake, up to and with the empty line.
  std::string readHandshake();

  /// The answer that upgrades the connection, for this handshake.
  static std::string upgradeFor(const std::string& handshake);

  /// Reads the handshake and upgrades. Returns the handshake.
  std::string upgrade();

  /// The next frame of the client.
  ReceivedFrame readFrame();

  /// Frames up to and with the first final one.
  std::vector<ReceivedFrame> readMessage();

  void send(const std::string& bytes);

  /// Sends one byte a packet.
  void sendByteByByte(const std::string& bytes);

  /// Says that nothing more will be sent; still receives.
  void finish();

  /// Reads and discards until the client closes or resets.
  void drain();

  void close();

  /// Closes with a reset (RST).
  void reset();

 private:
  int m_descriptor;
};

/// What the peer does on a connection. The connection is closed in order when it returns.
using PeerScript = std::function<void(PeerConnection&)>;

/// Listens on 127.0.0.1, on a port that the system chose.
class PeerListener {
 public:
  PeerListener();
  PeerListener(const PeerListener&) = delete;
  PeerListener& operator=(const PeerListener&) = delete;
  ~PeerListener();

  unsigned short port() const;

  /// Takes the next connection and follows the script; waits up to 20 seconds for it.
  void serve(const PeerScript& script) const;

 private:
  int m_descriptor;
};

/// How a client that ran as a process of its own has ended.
struct ClientOutcome {
  std::string report;  ///< what the client told, its steps one after the other
  std::string end;     ///< "exit 0", "exit N", "signal N", or "hang"
  std::string errors;  ///< what it wrote to standard error
  std::string peer;    ///< why the peer's script could not be followed; empty when it could
};

/// Tells a step to the parent process; a step told is not lost when the process ends.
using Tell = std::function<void(const std::string& step)>;

using Client = std::function<void(unsigned short port, const Tell& tell)>;

/// Runs `client` in a child process, against peers that follow the scripts on one connection after
/// the other. This process is the peer. A child that has not ended 20 seconds after the scripts is
/// killed and counts as a hang.
ClientOutcome runAgainst(const std::vector<PeerScript>& scripts, const Client& client);

}  // namespace velmo::test

#endif
