#include "CloseOnExecSession.h"

#include <Poco/Net/HTTPRequest.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>

#include "ClientProcess.h"
#include "ScriptedPeer.h"

namespace {

using brix::velmo::CloseOnExecSession;
using velmo::test::PeerConnection;
using velmo::test::runAgainst;
using velmo::test::Tell;

// What each socket was when it began to connect.
std::string g_sockets;

}  // namespace

extern "C" int connect(int descriptor, const sockaddr* address, socklen_t size) {
  using Function = int (*)(int, const sockaddr*, socklen_t);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "connect"));
  const bool isClosed = (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0;
  g_sockets += g_sockets.empty() ? "" : "; ";
  g_sockets += isClosed ? "closed on exec" : "inherited";
  return real(descriptor, address, size);
}

namespace {

const velmo::test::PeerScript kReadsToTheEnd = [](PeerConnection& peer) { peer.drain(); };

TEST(CloseOnExecSessionTest, SocketIsClosedOnExecBeforeItConnects) {
  const auto outcome = runAgainst({kReadsToTheEnd}, [](unsigned short port, const Tell& tell) {
    CloseOnExecSession session("127.0.0.1", port);
    Poco::Net::HTTPRequest request;
    session.sendRequest(request);
    tell(g_sockets);
  });
  EXPECT_EQ("closed on exec; ", outcome.report) << outcome.errors;
}

TEST(CloseOnExecSessionTest, SecondSocketOfASessionIsToo) {
  const auto outcome =
      runAgainst({kReadsToTheEnd, kReadsToTheEnd}, [](unsigned short port, const Tell& tell) {
        CloseOnExecSession session("127.0.0.1", port);
        Poco::Net::HTTPRequest request;
        session.sendRequest(request);
        session.reset();
        session.sendRequest(request);
        tell(g_sockets);
      });
  EXPECT_EQ("closed on exec; closed on exec; ", outcome.report) << outcome.errors;
}

}  // namespace
