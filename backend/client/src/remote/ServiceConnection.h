#ifndef VELMO_SERVICECONNECTION_H
#define VELMO_SERVICECONNECTION_H

#include <cstddef>
#include <string>
#include <string_view>

#include "Fault.h"
#include "FrameReader.h"
#include "FrameWriter.h"
#include "ProcessMark.h"
#include "Socket.h"
#include "Wait.h"

namespace velmo::client {

/// A WebSocket connection to the service, of one process and used by one thread at a time.
///
/// The first failure closes the socket, and the connection stays unusable.
class ServiceConnection {
 public:
  /// @param socket   after the handshake
  /// @param address  "host:port", for the texts of failures
  /// @param rest     what has arrived behind the handshake
  /// @param stop     of the program, or null
  ServiceConnection(Socket socket, std::string address, std::string_view rest,
                    const volatile int* stop);

  /// Whether no exchange has failed, and this process made the connection.
  bool isUsable() const;

  /// Whether an exchange has failed.
  bool hasFailed() const;

  /// Whether this process made the connection. In a forked child it did not.
  bool isOfThisProcess() const;

  /// The flag that ends its waits, or null.
  const volatile int* stop() const;

  /// Sends a request and receives the name of the task. Fails without sending anything if the
  /// connection has ended, or data has arrived without a request.
  ///
  /// From the moment the kernel has the last byte of the request, every failure is in doubt, except
  /// a refusal. Throws std::bad_alloc only before that moment.
  /// @param name  receives the reply's name, if it is usable; VELMO_NAME_SIZE bytes, or null
  Outcome exchange(std::string_view request, const Wait& wait, char* name);

  /// Makes the connection unusable, as a failed exchange does.
  void abandon() noexcept;

  /// Sends a close frame and waits until the peer closes as well. In a forked child, only closes
  /// the descriptor.
  void close(const Wait& wait) noexcept;

 private:
  // How far the request has gone to the kernel.
  enum class Phase { Idle, Sending, Sent };

  Outcome tryExchange(std::string_view request, const Wait& wait, char* name);
  Outcome sendRequest(std::string_view request, const Wait& wait);
  Outcome awaitRoom(const Wait& wait);
  Outcome failedSend(int error);
  Outcome receiveReply(const Wait& wait, char* name);
  Outcome receiveMore(const Wait& wait);
  Outcome awaitReply(const Wait& wait);
  Outcome readArrivals();
  Outcome takeUnaskedFrames();
  Outcome takeReply(std::string_view message, char* name) const;

  Fault faultOf(FrameReader::Event event);
  Fault closedByPeer();
  Fault failed(int error) const;

  void notePing();
  void answerPing();
  void sendPong();
  void answerClose();
  Socket::Attempt receiveSome();
  Socket::Attempt receiveWaiting();
  Socket::Attempt sendSome();
  bool sendClose(const Wait& wait);
  void awaitClose(const Wait& wait);

  Socket m_socket;
  std::string m_address;
  const volatile int* m_stop;
  ProcessMark m_process;
  bool m_canReceiveWaiting;
  bool m_isUsable = true;
  bool m_isClosedByPeer = false;
  Phase m_phase = Phase::Idle;
  FrameReader m_frames;
  FrameWriter m_writer;
  std::string m_outgoing;   // frames that the kernel has not taken
  std::size_t m_sent = 0;   // of m_outgoing
  std::string m_ping;       // payload of the last ping
  bool m_isPinged = false;  // m_ping is not answered yet
};

}  // namespace velmo::client

/// The handle of velmo.h.
struct velmo_connection {
  velmo::client::ServiceConnection connection;
};

#endif
