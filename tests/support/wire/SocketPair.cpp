#include "SocketPair.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace velmo::test {

SocketPair::SocketPair() : SocketPair(connected()) {}

SocketPair::SocketPair(const Ends& ends) : m_server(ends.server), m_client(ends.client) {}

SocketPair::~SocketPair() {
  closeServer();
}

void SocketPair::closeServer() {
  if (m_server >= 0) {
    ::close(m_server);
    m_server = -1;
  }
}

SocketPair::Ends SocketPair::connected() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int clientEnd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = loopback(0);
  EXPECT_EQ(0, bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  EXPECT_EQ(0, listen(listener, 1));
  address = loopback(portOf(listener));
  EXPECT_EQ(0, connect(clientEnd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  const int serverEnd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  ::close(listener);
  return {serverEnd, clientEnd};
}

}  // namespace velmo::test
