// What goes wrong until the connection is open.

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "ConnectionTest.h"
#include "WebSocketHandshake.h"

namespace {

using velmo::test::ConnectionTest;
using velmo::test::loopback;
using velmo::test::naming;
using velmo::test::PeerConnection;
using velmo::test::PeerListener;
using velmo::test::PeerScript;
using velmo::test::portOf;
using velmo::test::upgradeFor;

using LookUp = std::function<int(const char* host, addrinfo** found)>;
LookUp g_lookUp;
int g_lookUps = 0;

}  // namespace

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                           addrinfo** found) {
  using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
  ++g_lookUps;
  return g_lookUp ? g_lookUp(host, found) : real(host, service, hints, found);
}

namespace {

// A port of 127.0.0.N with a full backlog: a connection attempt gets no answer.
class FullPort {
 public:
  explicit FullPort(const char* host, std::uint16_t port = 0) {
    sockaddr_in address = loopback(port);
    inet_pton(AF_INET, host, &address.sin_addr);
    m_listener = newSocket(0);
    const int on = 1;
    setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    EXPECT_EQ(0, bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    EXPECT_EQ(0, listen(m_listener, 0));
    address.sin_port = htons(number());
    for (int i = 0; i < 3; ++i) {
      const int filler = newSocket(SOCK_NONBLOCK);
      static_cast<void>(
          ::connect(filler, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    }
  }
  FullPort(const FullPort&) = delete;
  FullPort& operator=(const FullPort&) = delete;

  ~FullPort() {
    for (const int descriptor : m_descriptors) {
      close(descriptor);
    }
  }

  std::uint16_t number() const {
    return portOf(m_listener);
  }

 private:
  int newSocket(int flags) {
    m_descriptors.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    return m_descriptors.back();
  }

  std::vector<int> m_descriptors;
  int m_listener = -1;
};

// The addresses of a look-up, as if the system had found them.
LookUp finding(const std::vector<std::string>& hosts) {
  return [hosts](const char* /*host*/, addrinfo** found) {
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo** next = found;
    for (const std::string& host : hosts) {
      real(host.c_str(), nullptr, &hints, next);
      next = &(*next)->ai_next;
    }
    return 0;
  };
}

LookUp failing(int code, int error = 0) {
  return [code, error](const char* /*host*/, addrinfo** /*found*/) {
    errno = error;
    return code;
  };
}

class HandshakeFaultsTest : public ConnectionTest {
 protected:
  ~HandshakeFaultsTest() override {
    g_lookUp = nullptr;
  }

  // Connects to a peer that reads the handshake and then does this.
  std::string afterRequest(const PeerScript& script, int timeoutMs = kLongMs) {
    startPeer({[script](PeerConnection& connected) {
      connected.readHead();
      script(connected);
    }});
    return connect(timeoutMs);
  }

  // Connects to a peer that answers the handshake so, and stays.
  std::string answeredWith(const std::string& answer) {
    return afterRequest([answer](PeerConnection& connected) {
      connected.send(answer);
      connected.drain();
    });
  }

  // Connects to a peer that changes its answer to the handshake.
  std::string changed(const std::string& from, const std::string& to) {
    startPeer({[from, to](PeerConnection& connected) {
      std::string answer = upgradeFor(connected.readHead());
      answer.replace(answer.find(from), from.size(), to);
      connected.send(answer);
      connected.drain();
    }});
    return connect();
  }
};

const PeerScript kSilent = [](PeerConnection& connected) { connected.drain(); };

// --- the host and the port ---

TEST_F(HandshakeFaultsTest, PortThatNobodyListensOnIsUnreachable) {
  {
    const PeerListener listener;
    endpoint.port = listener.port();
  }
  EXPECT_EQ("8, errno 111: cannot connect to 127.0.0.1:PORT: Connection refused", connect());
}

TEST_F(HandshakeFaultsTest, PortWithAFullBacklogTimesOut) {
  const FullPort port("127.0.0.1");
  endpoint.port = port.number();
  EXPECT_EQ("4: no connection to 127.0.0.1:PORT in time", connect(kShortMs));
}

TEST_F(HandshakeFaultsTest, NumericHostIsNotLookedUp) {
  g_lookUps = 0;
  startPeer({velmo::test::answering({naming("n")})});
  EXPECT_EQ("OK", connect());
  endpoint = velmo::test::endpointAt("::1", 9);
  EXPECT_EQ("8, errno 111: cannot connect to [::1]:PORT: Connection refused", connect());
  EXPECT_EQ(0, g_lookUps);
}

TEST_F(HandshakeFaultsTest, LookUpThatFailsSaysWhy) {
  struct Row {
    int code;
    int error;
    std::string text;
  };
  const std::vector<Row> rows{
      {EAI_NONAME, 0, "8: cannot find the host far.example: the name is not known"},
      {EAI_AGAIN, 0, "8: cannot find the host far.example: the name server does not answer"},
      {EAI_FAIL, 0, "8: cannot find the host far.example: the name server failed"},
      {EAI_SYSTEM, EMFILE,
       "8, errno 24: cannot find the host far.example: the look-up failed: Too many open files"},
      {EAI_FAMILY, 0, "8: cannot find the host far.example: error -6 of getaddrinfo()"},
      {EAI_MEMORY, 0, "7: out of memory"},
      {EAI_SYSTEM, ENOMEM, "7: out of memory"},
  };
  endpoint = velmo::test::endpointAt("far.example", 80);
  for (const Row& row : rows) {
    g_lookUp = failing(row.code, row.error);
    EXPECT_EQ(row.text, connect());
  }
}

TEST_F(HandshakeFaultsTest, DeadFirstAddressDoesNotUseUpTheDeadline) {
  startPeer({velmo::test::answering({naming("n")})});
  const FullPort dead("127.0.0.2", peer->port());
  endpoint.host = "two.example";
  g_lookUp = finding({"127.0.0.2", "127.0.0.1"});
  EXPECT_EQ("OK", connect(kShortMs));
  EXPECT_EQ("OK n", send());
}

TEST_F(HandshakeFaultsTest, AddressThatRefusesLeadsToTheNextAtOnce) {
  startPeer({velmo::test::answering({naming("n")})});
  endpoint.host = "two.example";
  g_lookUp = finding({"::1", "127.0.0.2", "127.0.0.3", "127.0.0.1"});
  EXPECT_EQ("OK", connect());
}

TEST_F(HandshakeFaultsTest, AllAddressesDeadTimeOut) {
  const FullPort one("127.0.0.2");
  const FullPort other("127.0.0.3", one.number());
  endpoint = velmo::test::endpointAt("two.example", one.number());
  g_lookUp = finding({"127.0.0.2", "127.0.0.3"});
  EXPECT_EQ("4: no connection to two.example:PORT in time", connect(kShortMs));
}

TEST_F(HandshakeFaultsTest, TimeoutOfZeroNeverWaits) {
  startPeer({kSilent});
  const std::string outcome = connect(0);
  EXPECT_TRUE(outcome == "4: 127.0.0.1:PORT did not answer the handshake in time" ||
              outcome == "4: no connection to 127.0.0.1:PORT in time")
      << outcome;
}

// --- the stop flag ---

TEST_F(HandshakeFaultsTest, StopFlagEndsTheWaitForAConnection) {
  const FullPort port("127.0.0.1");
  volatile int stop = 0;
  endpoint.port = port.number();
  endpoint.stop = &stop;
  velmo::test::SignalStorm::setLater(&stop, 20);
  EXPECT_EQ("5: stopped while waiting for a connection to 127.0.0.1:PORT", connect());
}

TEST_F(HandshakeFaultsTest, StopFlagEndsTheHandshake) {
  volatile int stop = 0;
  endpoint.stop = &stop;
  startPeer({kSilent});
  velmo::test::SignalStorm::setLater(&stop, 20);
  EXPECT_EQ("5: stopped while waiting for the handshake of 127.0.0.1:PORT",
            connect(VELMO_NO_LIMIT));
}

TEST_F(HandshakeFaultsTest, StopFlagThatIsSetBeforeStartsNothing) {
  volatile int stop = 1;
  endpoint = velmo::test::endpointAt("nowhere.example", 80);
  endpoint.stop = &stop;
  g_lookUps = 0;
  EXPECT_EQ("5: stopped while waiting for a connection to nowhere.example:PORT", connect());
  EXPECT_EQ(0, g_lookUps);
}

// --- the handshake ---

TEST_F(HandshakeFaultsTest, SilentPeerTimesOut) {
  startPeer({kSilent});
  EXPECT_EQ("4: 127.0.0.1:PORT did not answer the handshake in time", connect(kShortMs));
}

TEST_F(HandshakeFaultsTest, AnswerThatDripsTimesOut) {
  const std::string outcome = afterRequest(
      [](PeerConnection& connected) {
        for (const char byte : std::string("HTTP/1.1 101 Switching Protocols\r\n")) {
          connected.send(std::string(1, byte));
          std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
      },
      kShortMs);
  EXPECT_EQ("4: 127.0.0.1:PORT did not answer the handshake in time", outcome);
}

TEST_F(HandshakeFaultsTest, OtherHttpStatusIsUnreachableWithTheStatus) {
  EXPECT_EQ("8, peer 503: 127.0.0.1:PORT does not offer a WebSocket: \"HTTP/1.1 503 Busy now\"",
            answeredWith("HTTP/1.1 503 Busy now\r\nContent-Length: 0\r\n\r\n"));
  EXPECT_EQ("8, peer 404: 127.0.0.1:PORT does not offer a WebSocket: \"HTTP/1.0 404\"",
            answeredWith("HTTP/1.0 404\n\n"));
}

TEST_F(HandshakeFaultsTest, AnswerThatIsNotHttpIsUnreachable) {
  for (const std::string line : {"SSH-2.0-x", "HTTP/2 101 x", "HTTP/1.1 1x1 x", "HTTP/1.1 1011 x",
                                 "HTTP/1.1  101", "", "HTTP/1.1"}) {
    EXPECT_EQ("8: 127.0.0.1:PORT does not speak WebSocket: its answer is not HTTP/1.1",
              answeredWith(line + "\r\n\r\n"))
        << line;
  }
}

TEST_F(HandshakeFaultsTest, WrongAcceptIsUnreachable) {
  EXPECT_EQ("8: 127.0.0.1:PORT does not speak WebSocket: its answer does not fit the key",
            changed("Accept: ", "Accept: x"));
  EXPECT_EQ("8: 127.0.0.1:PORT does not speak WebSocket: its answer does not fit the key",
            changed("-Accept", "-Other"));
}

TEST_F(HandshakeFaultsTest, UpgradeToAnotherProtocolIsUnreachable) {
  const std::string expected =
      "8: 127.0.0.1:PORT does not speak WebSocket: its answer upgrades to another protocol";
  EXPECT_EQ(expected, changed("Upgrade: websocket", "Upgrade: h2c"));
  EXPECT_EQ(expected, changed("Connection: Upgrade", "Connection: close"));
}

TEST_F(HandshakeFaultsTest, ChoiceThatWasNotOfferedIsUnreachable) {
  const std::string expected =
      "8: 127.0.0.1:PORT does not speak WebSocket: its answer chooses what was not offered";
  EXPECT_EQ(expected,
            changed("Upgrade:", "Sec-WebSocket-Extensions: permessage-deflate\r\nUpgrade:"));
  EXPECT_EQ(expected, changed("Upgrade:", "sec-websocket-protocol: x\r\nUpgrade:"));
}

TEST_F(HandshakeFaultsTest, HeaderNamesAndTokensAreNotCaseSensitive) {
  EXPECT_EQ("OK", changed("Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Accept",
                          "UPGRADE:WebSocket\r\nconnection: keep-alive, upgrade\r\n"
                          "sec-websocket-accept"));
}

TEST_F(HandshakeFaultsTest, EndlessHeadIsUnreachable) {
  EXPECT_EQ("8: 127.0.0.1:PORT does not speak WebSocket: the head of its answer is too long",
            answeredWith("HTTP/1.1 101 x\r\nX: " + std::string(20000, 'x')));
}

TEST_F(HandshakeFaultsTest, EndBeforeTheAnswerIsUnreachable) {
  EXPECT_EQ("8: 127.0.0.1:PORT does not speak WebSocket: it ended the connection",
            afterRequest([](PeerConnection& connected) { connected.send("HTTP/1.1 101"); }));
}

TEST_F(HandshakeFaultsTest, ResetBeforeTheAnswerIsUnreachable) {
  EXPECT_EQ("8, errno 104: cannot connect to 127.0.0.1:PORT: Connection reset by peer",
            afterRequest([](PeerConnection& connected) { connected.reset(); }));
}

}  // namespace
