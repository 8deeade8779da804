#include "TcpConnector.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <cerrno>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

namespace velmo::client {

namespace {

constexpr int kLongestHeadStartMs = 100;

// The machine lacks something, which another address does not change.
bool isLack(int error) {
  return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS;
}

void turnOn(int descriptor, int level, int option) {
  const int on = 1;
  setsockopt(descriptor, level, option, &on, sizeof on);
}

// A request is one packet, and a peer that has vanished is noticed even without a limit.
void configure(const Socket& socket) {
  turnOn(socket.descriptor(), IPPROTO_TCP, TCP_NODELAY);
  turnOn(socket.descriptor(), SOL_SOCKET, SO_KEEPALIVE);
}

int errorOf(const Socket& socket) {
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket.descriptor(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

// The attempts under way, and those still to come.
class Attempts {
 public:
  Attempts(const std::vector<SocketAddress>& addresses, const std::string& name)
      : m_addresses(addresses), m_name(name) {
    m_pending.reserve(addresses.size());
    m_entries.reserve(addresses.size());
  }

  bool hasNext() const {
    return m_next < m_addresses.size();
  }

  bool isPending() const {
    return !m_pending.empty();
  }

  // Begins the next attempt. One that fails at once is noted.
  Outcome begin() {
    const SocketAddress& address = m_addresses[m_next++];
    Socket socket(
        ::socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.descriptor() < 0) {
      m_error = errno;
      return isLack(m_error) ? Outcome(Fault{Problem::SocketFailed, m_name, {}, m_error})
                             : std::nullopt;
    }
    configure(socket);
    const auto* raw = reinterpret_cast<const sockaddr*>(&address.storage);
    if (connect(socket.descriptor(), raw, address.size) == 0 || errno == EINPROGRESS ||
        errno == EINTR) {
      m_pending.push_back(std::move(socket));
    } else {
      m_error = errno;
    }
    return std::nullopt;
  }

  // Waits up to `milliseconds` for an attempt that has ended.
  // @return 0, or errno
  int await(int milliseconds) {
    m_entries.clear();
    for (const Socket& socket : m_pending) {
      m_entries.push_back({socket.descriptor(), POLLOUT, 0});
    }
    return poll(m_entries.data(), m_entries.size(), milliseconds) >= 0 ? 0 : errno;
  }

  // The connection of an attempt that has succeeded; removes those that have failed.
  std::optional<Socket> take() {
    for (std::size_t i = m_entries.size(); i-- > 0;) {
      if (m_entries[i].revents == 0) {
        continue;
      }
      Socket socket = std::move(m_pending[i]);
      m_pending.erase(m_pending.begin() + static_cast<std::ptrdiff_t>(i));
      const int error = errorOf(socket);
      if (error == 0) {
        return socket;
      }
      m_error = error;
    }
    return std::nullopt;
  }

  Fault failure() const {
    return Fault{Problem::NotConnected, m_name, {}, m_error};
  }

 private:
  const std::vector<SocketAddress>& m_addresses;
  const std::string& m_name;
  std::size_t m_next = 0;
  std::vector<Socket> m_pending;
  std::vector<pollfd> m_entries;
  int m_error = 0;
};

}  // namespace

int headStartMs(int timeoutMs, std::size_t addresses) {
  if (timeoutMs < 0) {
    return kLongestHeadStartMs;
  }
  return std::min(kLongestHeadStartMs, timeoutMs / static_cast<int>(addresses + 1));
}

Result<Socket> connectToAny(const std::vector<SocketAddress>& addresses, int headStartMs,
                            const Wait& wait, const std::string& name) {
  Attempts attempts(addresses, name);
  Wait headStart(0, nullptr);
  for (;;) {
    while (attempts.hasNext() && (!attempts.isPending() || headStart.isOver())) {
      if (Outcome outcome = attempts.begin()) {
        return *std::move(outcome);
      }
      headStart = Wait(headStartMs, nullptr);
    }
    if (!attempts.isPending()) {
      return attempts.failure();
    }
    if (wait.isStopped()) {
      return Fault{Problem::Stopped, "a connection to " + name};
    }
    const bool wasOver = wait.isOver();
    const int slice =
        attempts.hasNext() ? std::min(wait.sliceMs(), headStart.sliceMs()) : wait.sliceMs();
    const int error = attempts.await(slice);
    if (error != 0 && error != EINTR) {
      return Fault{Problem::SocketFailed, name, {}, error};
    }
    if (error == EINTR) {
      continue;
    }
    if (std::optional<Socket> socket = attempts.take()) {
      return *std::move(socket);
    }
    if (wasOver && attempts.isPending()) {
      return Fault{Problem::ConnectTimedOut, name};
    }
  }
}

}  // namespace velmo::client
