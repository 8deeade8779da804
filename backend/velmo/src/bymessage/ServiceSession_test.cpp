#include "ServiceSession.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/StreamSocket.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <string>
#include <vector>

#include "ClientProcess.h"
#include "FakeResolver.h"
#include "ScriptedPeer.h"

namespace {

using brix::velmo::ServiceSession;
using Poco::Net::HTTPRequest;
using velmo::test::FakeResolver;
using velmo::test::PeerConnection;
using velmo::test::PeerListener;
using velmo::test::runAgainst;
using velmo::test::Tell;

// What each socket of a client was when it began to connect.
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

TEST(ServiceSessionTest, SocketIsClosedOnExecBeforeItConnects) {
  const auto outcome = runAgainst({kReadsToTheEnd}, [](unsigned short port, const Tell& tell) {
    g_sockets.clear();
    ServiceSession session("127.0.0.1", port);
    HTTPRequest request;
    session.sendRequest(request);
    tell(g_sockets);
  });
  EXPECT_EQ("closed on exec; ", outcome.report) << outcome.errors;
}

TEST(ServiceSessionTest, SecondSocketOfASessionIsToo) {
  const auto outcome =
      runAgainst({kReadsToTheEnd, kReadsToTheEnd}, [](unsigned short port, const Tell& tell) {
        g_sockets.clear();
        ServiceSession session("127.0.0.1", port);
        HTTPRequest request;
        session.sendRequest(request);
        session.reset();
        session.sendRequest(request);
        tell(g_sockets);
      });
  EXPECT_EQ("closed on exec; closed on exec; ", outcome.report) << outcome.errors;
}

// --- the address ---

// The head of the request of a client of this host, as a peer on 127.0.0.1 receives it.
std::string headOf(const std::string& host, const PeerListener& listener) {
  ServiceSession session(host, listener.port());
  session.setKeepAlive(true);
  HTTPRequest request("GET", "/velmo", "HTTP/1.1");
  request.set("origin", "localhost");
  session.sendRequest(request).flush();
  std::string head;
  listener.serve([&head](PeerConnection& peer) { head = peer.readHead(); });
  return head;
}

std::string expectedHead(const std::string& host, const PeerListener& listener) {
  return "GET /velmo HTTP/1.1\r\norigin: localhost\r\nHost: " + host + ":" +
         std::to_string(listener.port()) + "\r\n\r\n";
}

TEST(ServiceSessionTest, NameIsLookedUpOnceAndItsSmallestAddressIsConnectedTo) {
  const PeerListener listener;
  const FakeResolver resolver({"::1", "127.0.0.1"});
  EXPECT_EQ(expectedHead("name.example", listener), headOf("name.example", listener));
  EXPECT_EQ(std::vector<std::string>{"name.example"}, resolver.names());
}

TEST(ServiceSessionTest, AddressIsNotLookedUp) {
  const PeerListener listener;
  const FakeResolver resolver({});
  EXPECT_EQ(expectedHead("127.0.0.1", listener), headOf("127.0.0.1", listener));
  EXPECT_TRUE(resolver.names().empty());
}

TEST(ServiceSessionTest, PathOfALocalSocketIsAnUnknownName) {
  const FakeResolver resolver({});
  ServiceSession session("/run/velmo.socket", 1);
  HTTPRequest request;
  EXPECT_THROW(session.sendRequest(request), Poco::Net::HostNotFoundException);
  EXPECT_EQ(std::vector<std::string>{"/run/velmo.socket"}, resolver.names());
}

TEST(ServiceSessionTest, ProxyIsConnectedToAndGetsTheNameOfTheHost) {
  const PeerListener listener;
  const FakeResolver resolver({});
  ServiceSession session("name.example", 8085);
  session.setProxy("127.0.0.1", listener.port());
  HTTPRequest request("GET", "/velmo", "HTTP/1.1");
  session.sendRequest(request).flush();
  std::string head;
  listener.serve([&head](PeerConnection& peer) { head = peer.readHead(); });
  EXPECT_EQ("GET http://name.example:8085/velmo HTTP/1.1", head.substr(0, head.find('\r')));
  EXPECT_TRUE(resolver.names().empty());
}

// --- sends ---

TEST(ServiceSessionTest, SendThatTimesOutIsAnIOException) {
  const PeerListener listener;
  ServiceSession session("127.0.0.1", listener.port());
  HTTPRequest request;
  session.sendRequest(request);
  session.socket().setSendTimeout(Poco::Timespan(0, 1000));
  const std::string much(64U << 20U, 'x');
  try {
    session.socket().sendBytes(much.data(), static_cast<int>(much.size()));
    ADD_FAILURE() << "no exception";
  } catch (const Poco::IOException& exception) {
    EXPECT_EQ("I/O error: Operation would block", exception.displayText());
    EXPECT_EQ(EAGAIN, exception.code());
  }
}

}  // namespace
