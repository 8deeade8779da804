#include "SocketCalls.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>

#include "SystemError.h"

namespace velmo::standin {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Limit = std::optional<milliseconds>;

// A wait that signals do not prolong.
class Deadline {
 public:
  explicit Deadline(Limit limit)
      : m_limit(limit), m_end(steady_clock::now() + limit.value_or(milliseconds(0))) {}

  // What poll() takes: -1 is no limit.
  int left() const {
    if (!m_limit) {
      return -1;
    }
    const auto left = std::chrono::ceil<milliseconds>(m_end - steady_clock::now());
    return static_cast<int>(std::max(left, milliseconds(0)).count());
  }

 private:
  Limit m_limit;
  steady_clock::time_point m_end;
};

// Two descriptors of which one may be negative: poll() skips it.
using Awaited = std::array<pollfd, 2>;

// @return false if the deadline passed first
bool awaitEvents(Awaited& awaited, const Deadline& deadline) {
  for (;;) {
    const int ready = ::poll(awaited.data(), awaited.size(), deadline.left());
    if (ready >= 0) {
      return ready > 0;
    }
    if (errno != EINTR) {
      throw tools::systemError("cannot wait for a client");
    }
  }
}

bool awaitBytes(int descriptor, int stopDescriptor, const Deadline& deadline) {
  Awaited awaited{pollfd{descriptor, POLLIN, 0}, pollfd{stopDescriptor, POLLIN, 0}};
  return awaitEvents(awaited, deadline) && awaited[0].revents != 0;
}

void awaitRoom(int descriptor) {
  Awaited awaited{pollfd{descriptor, POLLOUT, 0}, pollfd{-1, 0, 0}};
  if (!awaitEvents(awaited, Deadline(kStall))) {
    errno = ETIMEDOUT;
    throw tools::systemError("cannot send");
  }
}

}  // namespace

bool waitForBytes(int descriptor, int stopDescriptor, Limit limit) {
  return awaitBytes(descriptor, stopDescriptor, Deadline(limit));
}

void sendBytes(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent =
        ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (errno == EAGAIN) {
      awaitRoom(descriptor);
    } else if (errno != EINTR) {
      throw tools::systemError("cannot send");
    }
  }
}

void discardBytes(int descriptor, int stopDescriptor, Limit limit) {
  const Deadline deadline(limit);
  std::array<char, 4096> buffer{};
  while (awaitBytes(descriptor, stopDescriptor, deadline) &&
         ::recv(descriptor, buffer.data(), buffer.size(), 0) > 0) {
  }
}

}  // namespace velmo::standin
