#include "Dialling.h"

#include <poll.h>
#include <cerrno>

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Handshake.h"
#include "HostAddresses.h"
#include "RandomBytes.h"
#include "Socket.h"
#include "TcpConnector.h"

namespace velmo::client {

namespace {

constexpr std::size_t kReceiveSize = 4096;

Outcome await(const Socket& socket, short events, const Wait& wait, const std::string& address) {
  switch (socket.await(events, wait)) {
    case Socket::Readiness::Ready:
      return std::nullopt;
    case Socket::Readiness::TimedOut:
      return Fault{Problem::HandshakeTimedOut, address};
    case Socket::Readiness::Stopped:
      return Fault{Problem::Stopped, "the handshake of " + address};
    case Socket::Readiness::Failed:
      break;
  }
  return Fault{Problem::SocketFailed, address, {}, errno};
}

Outcome sendRequest(const Socket& socket, std::string_view request, const Wait& wait,
                    const std::string& address) {
  while (!request.empty()) {
    const Socket::Attempt attempt = socket.send(request);
    request.remove_prefix(attempt.count);
    if (attempt.wouldBlock()) {
      if (Outcome outcome = await(socket, POLLOUT, wait, address)) {
        return outcome;
      }
    } else if (attempt.error != 0) {
      return Fault{Problem::NotConnected, address, {}, attempt.error};
    }
  }
  return std::nullopt;
}

Outcome receiveAnswer(const Socket& socket, Handshake& handshake, const Wait& wait,
                      const std::string& address) {
  while (!handshake.isComplete()) {
    std::array<char, kReceiveSize> buffer;  // NOLINT: not initialised, because it is filled
    const Socket::Attempt attempt = socket.receive(buffer.data(), buffer.size());
    if (attempt.error == 0 && attempt.count == 0) {
      return Fault{Problem::HandshakeWrong, address, "it ended the connection"};
    }
    if (attempt.error != 0 && !attempt.wouldBlock()) {
      return Fault{Problem::NotConnected, address, {}, attempt.error};
    }
    if (Outcome outcome = handshake.take({buffer.data(), attempt.count})) {
      return outcome;
    }
    if (handshake.isComplete()) {
      break;
    }
    if (Outcome outcome = await(socket, POLLIN, wait, address)) {
      return outcome;
    }
  }
  return handshake.check();
}

Outcome shakeHands(const Socket& socket, Handshake& handshake, const Wait& wait,
                   const std::string& address) {
  if (Outcome outcome = sendRequest(socket, handshake.request(), wait, address)) {
    return outcome;
  }
  return receiveAnswer(socket, handshake, wait, address);
}

}  // namespace

Result<std::unique_ptr<velmo_connection>> dial(const GivenEndpoint& endpoint, int timeoutMs,
                                               const Wait& wait) {
  const std::string address = addressText(endpoint.host, endpoint.port);
  if (wait.isStopped()) {
    return Fault{Problem::Stopped, "a connection to " + address};
  }
  HandshakeNonce nonce{};
  if (Outcome outcome = fillRandom(nonce.data(), nonce.size())) {
    return *std::move(outcome);
  }
  Result<std::vector<SocketAddress>> addresses = addressesOf(endpoint.host, endpoint.port);
  if (!addresses.isOk()) {
    return std::move(addresses.fault());
  }
  const int headStart = headStartMs(timeoutMs, addresses.value().size());
  Result<Socket> socket = connectToAny(addresses.value(), headStart, wait, address);
  if (!socket.isOk()) {
    return std::move(socket.fault());
  }
  Handshake handshake(address, endpoint.path, nonce);
  if (Outcome outcome = shakeHands(socket.value(), handshake, wait, address)) {
    return *std::move(outcome);
  }
  // NOLINTNEXTLINE(modernize-make-unique): an aggregate whose member cannot be moved
  return std::unique_ptr<velmo_connection>(
      new velmo_connection{{std::move(socket.value()), address, handshake.rest(), endpoint.stop}});
}

}  // namespace velmo::client
