#ifndef VELMO_TEST_SOCKETLIMITS_H
#define VELMO_TEST_SOCKETLIMITS_H

#include <string>

namespace velmo::test {

/// The limits that the networking library sets on its sockets in this process. The program defines
/// `setsockopt` and `epoll_wait` itself, so that they can be seen, and need not be waited out.

/// From now on a send or receive limit lasts this long, whatever was asked for.
void shortenSocketLimits(int milliseconds);

/// From now on no connection comes about: every wait for one is over at once.
void stallConnecting();

/// What was asked for so far: "connect 60000 ms, send 60000 ms, receive 60000 ms", each kind once
/// and in this order, without those that were not. Of several values of a kind the last.
std::string socketLimitsAsked();

}  // namespace velmo::test

#endif
