#ifndef VELMO_TEST_SOCKETPAIR_H
#define VELMO_TEST_SOCKETPAIR_H

#include "Connection.h"

namespace velmo::test {

/// Two connected TCP sockets: a server's end as a descriptor, which the code under test uses, and a
/// client's end.
class SocketPair {
 public:
  SocketPair();
  SocketPair(const SocketPair&) = delete;
  SocketPair& operator=(const SocketPair&) = delete;
  ~SocketPair();

  int server() const {
    return m_server;
  }

  /// Closes the server's end.
  void closeServer();

  Connection& client() {
    return m_client;
  }

 private:
  struct Ends {
    int server;
    int client;
  };

  static Ends connected();
  explicit SocketPair(const Ends& ends);

  int m_server;
  Connection m_client;
};

}  // namespace velmo::test

#endif
