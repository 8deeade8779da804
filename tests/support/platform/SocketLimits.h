#ifndef VELMO_TEST_SOCKETLIMITS_H
#define VELMO_TEST_SOCKETLIMITS_H

#include <string>

namespace velmo::test {

/// The timeouts that the networking library sets on its sockets in this process. The program
/// interposes `setsockopt` and `epoll_wait`, so tests see the timeouts and need not wait for them.

/// From now on every send and receive timeout lasts this long.
void shortenSocketLimits(int milliseconds);

/// From now on every attempt to connect times out at once.
void stallConnecting();

/// The timeouts set so far: "connect 60000 ms, send 60000 ms, receive 60000 ms". Each kind appears
/// once, in this order, with its last value; a kind that was not set is left out.
std::string socketLimitsAsked();

}  // namespace velmo::test

#endif
