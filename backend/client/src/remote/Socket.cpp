#include "Socket.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <cerrno>

#include <utility>

namespace velmo::client {

namespace {

constexpr suseconds_t kReceiveWaitUs = 190'000;  // with some room in a slice of 200 ms

Socket::Attempt attemptOf(ssize_t count) {
  return count < 0 ? Socket::Attempt{0, errno}
                   : Socket::Attempt{static_cast<std::size_t>(count), 0};
}

template <typename Call>
Socket::Attempt attempt(Call call) {
  ssize_t count = 0;
  do {
    count = call();
  } while (count < 0 && errno == EINTR);
  return attemptOf(count);
}

}  // namespace

bool Socket::Attempt::wouldBlock() const {
  return error == EAGAIN;
}

Socket::Socket(int descriptor) : m_descriptor(descriptor) {}

Socket::Socket(Socket&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept {
  if (this != &other) {
    close();
    m_descriptor = std::exchange(other.m_descriptor, -1);
  }
  return *this;
}

Socket::~Socket() {
  close();
}

int Socket::descriptor() const {
  return m_descriptor;
}

// Not repeated after EINTR: Linux has released the descriptor then.
void Socket::close() {
  if (m_descriptor >= 0) {
    ::close(std::exchange(m_descriptor, -1));
  }
}

Socket::Attempt Socket::send(std::string_view bytes) const {
  return attempt([&] {
    return ::send(m_descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  });
}

Socket::Attempt Socket::receive(char* buffer, std::size_t size) const {
  return attempt([&] { return recv(m_descriptor, buffer, size, MSG_DONTWAIT); });
}

// The limit first: without it, a receive could wait for ever.
bool Socket::allowWaiting() const {
  const timeval limit{0, kReceiveWaitUs};
  int isNonBlocking = 0;
  return setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0 &&
         ioctl(m_descriptor, FIONBIO, &isNonBlocking) == 0;
}

Socket::Attempt Socket::receiveWaiting(char* buffer, std::size_t size) const {
  return attemptOf(recv(m_descriptor, buffer, size, 0));
}

Socket::Readiness Socket::await(short events, const Wait& wait) const {
  for (;;) {
    if (wait.isStopped()) {
      return Readiness::Stopped;
    }
    pollfd entry{m_descriptor, events, 0};
    const int slice = wait.sliceMs();
    const int count = poll(&entry, 1, slice);
    if (count > 0) {
      return Readiness::Ready;
    }
    if (count < 0 && errno != EINTR) {
      return Readiness::Failed;
    }
    // After a signal the poll is repeated, so that what has arrived by now is seen.
    if (count == 0 && wait.isOver()) {
      return Readiness::TimedOut;
    }
  }
}

}  // namespace velmo::client
