#include "ReceivedFrame.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Net/StreamSocketImpl.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/Net/WebSocketImpl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "SocketPair.h"
#include "WebSocketFrame.h"

namespace {

// What each receive asked for, while it is recorded.
std::optional<std::string> g_receives;

}  // namespace

extern "C" ssize_t recv(int descriptor, void* buffer, size_t size, int flags) {
  using Function = ssize_t (*)(int, void*, size_t, int);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "recv"));
  if (g_receives) {
    *g_receives += (g_receives->empty() ? "" : " ") + std::to_string(size);
  }
  return real(descriptor, buffer, size, flags);
}

namespace {

using brix::velmo::ReceivedFrame;
using brix::velmo::receiveFrame;
using Poco::Net::StreamSocket;
using Poco::Net::StreamSocketImpl;
using Poco::Net::WebSocket;
using Poco::Net::WebSocketException;
using Poco::Net::WebSocketImpl;
using velmo::test::clientFrame;
using velmo::test::frame;
using velmo::test::kBinary;
using velmo::test::kClose;
using velmo::test::kContinuation;
using velmo::test::kFinal;
using velmo::test::kLastContinuation;
using velmo::test::kPing;
using velmo::test::longFrameHeader;

constexpr int kWhole = kFinal | kBinary;
constexpr int kCapacity = 100'000;

// A session that has read what arrived behind the answer to the handshake.
class Session : public Poco::Net::HTTPClientSession {
 public:
  explicit Session(const StreamSocket& socket) : HTTPClientSession(socket) {}

  void readAhead() {
    peek();
  }
};

// A WebSocket on one end of a connection, and the peer at the other end.
class Pair {
 public:
  Pair() {
    m_socket.setReceiveTimeout(Poco::Timespan(20, 0));  // if too much is received, the test ends
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;
  ~Pair() {
    g_receives.reset();
  }

  velmo::test::Connection& peer() {
    return m_pair.client();
  }

  StreamSocket& socket() {
    return m_socket;
  }

  // Sends what the networking library receives together with the answer to the handshake. Comes
  // before the first frame is received.
  void sendWithTheHandshake(const std::string& bytes) {
    peer().send(bytes);
    m_session.readAhead();
  }

  // The first byte and the payload; or the exception's code and text.
  std::string received(int capacity = kCapacity) {
    if (!m_webSocket) {
      auto* stream = static_cast<StreamSocketImpl*>(m_socket.impl());
      m_webSocket.emplace(StreamSocket(new WebSocketImpl(stream, m_session, true)));
    }
    try {
      const ReceivedFrame one = receiveFrame(*m_webSocket, m_buffer.data(), capacity);
      return std::to_string(one.flags) + " " +
             std::string(m_buffer.data(), static_cast<std::size_t>(one.size));
    } catch (const WebSocketException& exception) {
      return std::to_string(exception.code()) + " " + exception.displayText();
    }
  }

 private:
  velmo::test::SocketPair m_pair;
  StreamSocket m_socket{new StreamSocketImpl(dup(m_pair.server()))};
  Session m_session{m_socket};
  std::optional<WebSocket> m_webSocket;
  std::array<char, kCapacity> m_buffer{};
};

// What is received first if the connection ends behind these bytes.
std::string receivedOf(const std::string& bytes) {
  Pair pair;
  pair.peer().send(bytes);
  pair.peer().finish();
  return pair.received();
}

constexpr const char* kEnd = "0 ";

std::string incomplete() {
  return std::to_string(WebSocket::WS_ERR_INCOMPLETE_FRAME) +
         " WebSocket Exception: Incomplete frame received";
}

std::string tooBig(const std::string& text) {
  return std::to_string(WebSocket::WS_ERR_PAYLOAD_TOO_BIG) + " WebSocket Exception: " + text;
}

// --- frames ---

TEST(ReceivedFrameTest, EachCallReturnsOneFrameWithItsFirstByte) {
  Pair pair;
  pair.peer().send(frame(kWhole, "one") + frame(0xFF, "two"));
  EXPECT_EQ("130 one", pair.received());
  EXPECT_EQ("255 two", pair.received());
}

TEST(ReceivedFrameTest, FragmentsAreNotJoined) {
  Pair pair;
  pair.peer().send(frame(kBinary, "a") + frame(kContinuation, "b") + frame(kLastContinuation, "c"));
  EXPECT_EQ("2 a", pair.received());
  EXPECT_EQ("0 b", pair.received());
  EXPECT_EQ("128 c", pair.received());
}

TEST(ReceivedFrameTest, ControlFramesAreData) {
  Pair pair;
  pair.peer().send(frame(kFinal | kPing, "there") + frame(kFinal | kClose, "\x03\xE8"));
  EXPECT_EQ("137 there", pair.received());
  EXPECT_EQ("136 \x03\xE8", pair.received());
}

TEST(ReceivedFrameTest, EmptyFrameHasItsFirstByteAndEndsNothing) {
  Pair pair;
  pair.peer().send(frame(kBinary, "") + clientFrame(kWhole, "", "mask") + frame(kWhole, "next"));
  EXPECT_EQ("2 ", pair.received());
  EXPECT_EQ("130 ", pair.received());
  EXPECT_EQ("130 next", pair.received());
}

TEST(ReceivedFrameTest, PayloadHasTheLengthThatTheHeaderSaysInAnyOfItsForms) {
  for (const int length : {1, 125, 126, 127, 255, 256, 65535, 65536, kCapacity}) {
    const std::string payload(static_cast<std::size_t>(length), 'x');
    EXPECT_EQ("130 " + payload, receivedOf(frame(kWhole, payload))) << length;
  }
  EXPECT_EQ("130 short", receivedOf(std::string("\x82\x7E\x00\x05short", 9)));
  EXPECT_EQ("130 short", receivedOf(longFrameHeader(kWhole, 5) + "short"));
}

TEST(ReceivedFrameTest, MaskedPayloadIsUnmasked) {
  EXPECT_EQ("130 masked", receivedOf(clientFrame(kWhole, "masked", "\x01\x80\xFF\x7F")));
  const std::string longer(300, 'm');
  EXPECT_EQ("130 " + longer, receivedOf(clientFrame(kWhole, longer, "\x01\x80\xFF\x7F")));
  EXPECT_EQ("130 plain", receivedOf(clientFrame(kWhole, "plain", std::string(4, '\0'))));
}

TEST(ReceivedFrameTest, BytesAreTakenAsTheyArrive) {
  Pair pair;
  pair.peer().sendByteByByte(clientFrame(kWhole, std::string(126, 'b'), "mask"));
  EXPECT_EQ("130 " + std::string(126, 'b'), pair.received());
}

TEST(ReceivedFrameTest, EachPartIsOneReceiveAndNothingIsReceivedAhead) {
  Pair pair;
  pair.peer().send(frame(kWhole, "short") + clientFrame(kWhole, "masked", "mask") +
                   frame(kWhole, std::string(300, 'x')) + longFrameHeader(kWhole, 3) + "end" +
                   frame(kWhole, ""));
  g_receives.emplace();
  for (int i = 0; i < 5; ++i) {
    pair.received();
  }
  EXPECT_EQ("2 5 2 4 6 2 2 300 2 8 3 2", *g_receives);
}

// --- bytes that arrived with the handshake ---

TEST(ReceivedFrameTest, FramesThatArrivedWithTheHandshakeComeFirst) {
  Pair pair;
  pair.sendWithTheHandshake(frame(kWhole, "early") + frame(kWhole, "second"));
  pair.peer().send(frame(kWhole, "later"));
  EXPECT_EQ("130 early", pair.received());
  EXPECT_EQ("130 second", pair.received());
  EXPECT_EQ("130 later", pair.received());
}

TEST(ReceivedFrameTest, FrameMayBeDividedAnywhereBetweenHandshakeAndSocket) {
  const std::string bytes = clientFrame(kWhole, std::string(126, 'x'), "mask");
  for (const std::size_t early : {1U, 2U, 3U, 4U, 6U, 8U, 9U, 100U}) {
    Pair pair;
    pair.sendWithTheHandshake(bytes.substr(0, early));
    pair.peer().send(bytes.substr(early) + frame(kWhole, "next"));
    EXPECT_EQ("130 " + std::string(126, 'x'), pair.received()) << early;
    EXPECT_EQ("130 next", pair.received()) << early;
  }
}

// --- the connection ends ---

TEST(ReceivedFrameTest, ConnectionMayEndWhereAPartOfTheHeaderBegins) {
  EXPECT_EQ(kEnd, receivedOf(""));
  EXPECT_EQ(kEnd, receivedOf("\x82\x7E"));
  EXPECT_EQ(kEnd, receivedOf("\x82\x7F"));
  EXPECT_EQ(kEnd, receivedOf("\x82\x85"));
  EXPECT_EQ(kEnd, receivedOf(std::string("\x82\xFE\x00\x05", 4)));
}

TEST(ReceivedFrameTest, ConnectionThatEndsElsewhereThrows) {
  EXPECT_EQ(incomplete(), receivedOf("\x82"));
  EXPECT_EQ(incomplete(), receivedOf("\x82\x7E\x01"));
  EXPECT_EQ(incomplete(), receivedOf(longFrameHeader(kWhole, 5).substr(0, 9)));
  EXPECT_EQ(incomplete(), receivedOf("\x82\x85mas"));
  EXPECT_EQ(incomplete(), receivedOf("\x82\x85mask"));
  EXPECT_EQ(incomplete(), receivedOf("\x82\x05"));
  EXPECT_EQ(incomplete(), receivedOf("\x82\x05part"));
}

TEST(ReceivedFrameTest, EndIsReturnedAgain) {
  Pair pair;
  pair.peer().finish();
  EXPECT_EQ(kEnd, pair.received());
  EXPECT_EQ(kEnd, pair.received());
}

TEST(ReceivedFrameTest, ExceptionsOfTheSocketPassUnchanged) {
  Pair pair;
  pair.peer().reset();
  EXPECT_THROW(pair.received(), Poco::Net::ConnectionResetException);
}

TEST(ReceivedFrameTest, SilenceBeyondTheLimitOfTheSocketThrows) {
  Pair pair;
  pair.socket().setReceiveTimeout(Poco::Timespan(0, 1000));
  EXPECT_THROW(pair.received(), Poco::TimeoutException);
}

// --- frames that are too large ---

TEST(ReceivedFrameTest, LengthAboveThatOfIntThrows) {
  for (const std::uint64_t length :
       {std::uint64_t{1} << 31U, std::uint64_t{1} << 32U, (std::uint64_t{1} << 63U) - 1,
        std::numeric_limits<std::uint64_t>::max()}) {
    EXPECT_EQ(tooBig("Payload too big"), receivedOf(longFrameHeader(kWhole, length))) << length;
  }
}

TEST(ReceivedFrameTest, LengthAboveTheCapacityThrows) {
  Pair pair;
  EXPECT_EQ(tooBig("Insufficient buffer for payload size 2147483647"),
            receivedOf(longFrameHeader(kWhole, (1U << 31U) - 1)));
  pair.peer().send(frame(kWhole, "four"));
  EXPECT_EQ(tooBig("Insufficient buffer for payload size 4"), pair.received(3));
}

TEST(ReceivedFrameTest, CapacityIsJudgedBehindTheMask) {
  EXPECT_EQ(kEnd, receivedOf(std::string("\x82\xFF\x00\x00\x00\x00\x7F\xFF\xFF\xFF", 10)));
}

TEST(ReceivedFrameTest, PayloadOfARefusedFrameIsTakenForFrames) {
  Pair pair;
  pair.peer().send(frame(kWhole, frame(kBinary, "inner")));
  EXPECT_EQ(tooBig("Insufficient buffer for payload size 7"), pair.received(5));
  EXPECT_EQ("2 inner", pair.received(5));
}

}  // namespace
