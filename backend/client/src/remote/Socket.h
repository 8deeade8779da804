#ifndef VELMO_SOCKET_H
#define VELMO_SOCKET_H

#include <cstddef>
#include <string_view>

#include "Wait.h"

namespace velmo::client {

/// Owns the descriptor of a TCP connection. No call blocks except await() and receiveWaiting(), and
/// none raises SIGPIPE. After allowWaiting() the descriptor itself is a blocking one: each other
/// call passes MSG_DONTWAIT.
class Socket {
 public:
  /// What one attempt to send or receive did.
  struct Attempt {
    std::size_t count = 0;  ///< bytes; 0 after receiving: the end of the stream, unless `error`
    int error = 0;          ///< errno, or 0

    bool wouldBlock() const;
  };

  /// How a wait ended.
  enum class Readiness { Ready, TimedOut, Stopped, Failed };

  Socket() = default;

  /// Takes over a descriptor; -1 is none.
  explicit Socket(int descriptor);
  Socket(Socket&& other) noexcept;
  Socket& operator=(Socket&& other) noexcept;
  ~Socket();

  int descriptor() const;

  /// Closes the descriptor, if there is one. Afterwards no other call but this one makes sense.
  void close();

  Attempt send(std::string_view bytes) const;
  Attempt receive(char* buffer, std::size_t size) const;

  /// Prepares receiveWaiting().
  /// @return whether that has succeeded
  bool allowWaiting() const;

  /// Receives, and waits up to 190 ms until something has arrived: one system call instead of those
  /// of await() and receive(). EAGAIN at the end of the wait, EINTR after a signal.
  ///
  /// Only if allowWaiting() has succeeded.
  Attempt receiveWaiting(char* buffer, std::size_t size) const;

  /// Waits for events of poll(), or for an error of the connection. Signals do not end the wait.
  /// After Failed, errno has the reason.
  Readiness await(short events, const Wait& wait) const;

 private:
  int m_descriptor = -1;
};

}  // namespace velmo::client

#endif
