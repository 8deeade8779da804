#include "Handshake.h"

#include <gtest/gtest.h>

#include <string>

#include "WebSocketHandshake.h"

namespace {

using velmo::client::acceptedKey;
using velmo::client::Handshake;
using velmo::client::HandshakeNonce;
using velmo::client::Outcome;
using velmo::client::Problem;

Handshake newHandshake() {
  return {"host:80", "/velmo",
          HandshakeNonce{'t', 'h', 'e', ' ', 's', 'a', 'm', 'p', 'l', 'e', ' ', 'n', 'o', 'n', 'c',
                         'e'}};
}

TEST(HandshakeTest, KeyOfTheStandardIsAccepted) {
  EXPECT_EQ("s3pPLMBiTxaQ9kYGzzhZRbK+xOo=", acceptedKey("dGhlIHNhbXBsZSBub25jZQ=="));
}

TEST(HandshakeTest, RequestIsFixed) {
  EXPECT_EQ(
      "GET /velmo HTTP/1.1\r\nHost: host:80\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
      "Origin: localhost\r\nSec-WebSocket-Version: 13\r\n"
      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n",
      newHandshake().request());
}

TEST(HandshakeTest, AnswerMayComeInAnyPieces) {
  const std::string answer = velmo::test::upgradeFor(newHandshake().request()) + "rest";
  for (std::size_t cut = 0; cut <= answer.size(); ++cut) {
    Handshake handshake = newHandshake();
    ASSERT_FALSE(handshake.take(answer.substr(0, cut)));
    ASSERT_EQ(cut >= answer.size() - 4, handshake.isComplete()) << cut;
    ASSERT_FALSE(handshake.take(answer.substr(cut)));
    ASSERT_TRUE(handshake.isComplete());
    ASSERT_FALSE(handshake.check());
    ASSERT_EQ("rest", handshake.rest());
  }
}

TEST(HandshakeTest, LinesMayEndWithoutACarriageReturn) {
  std::string answer = velmo::test::upgradeFor(newHandshake().request());
  for (std::size_t at = answer.find('\r'); at != std::string::npos; at = answer.find('\r')) {
    answer.erase(at, 1);
  }
  Handshake handshake = newHandshake();
  ASSERT_FALSE(handshake.take(answer + "\n"));
  ASSERT_TRUE(handshake.isComplete());
  EXPECT_FALSE(handshake.check());
  EXPECT_EQ("\n", handshake.rest());
}

TEST(HandshakeTest, HeadOf16384BytesIsTheLongest) {
  const std::string start = "HTTP/1.1 200 OK\r\nX: ";
  for (const std::size_t size : {16384U, 16385U}) {
    Handshake handshake = newHandshake();
    const Outcome outcome =
        handshake.take(start + std::string(size - start.size() - 4, 'x') + "\r\n\r\n");
    EXPECT_EQ(size > 16384, outcome.has_value()) << size;
  }
}

TEST(HandshakeTest, RestDoesNotCountAsHead) {
  Handshake handshake = newHandshake();
  EXPECT_FALSE(
      handshake.take(velmo::test::upgradeFor(handshake.request()) + std::string(20000, 'x')));
  EXPECT_FALSE(handshake.check());
}

TEST(HandshakeTest, HeaderOfAnotherNameDoesNotCount) {
  std::string answer = velmo::test::upgradeFor(newHandshake().request());
  answer.replace(answer.find("\r\nUpgrade"), 2, "\r\nX-");
  Handshake handshake = newHandshake();
  ASSERT_FALSE(handshake.take(answer));
  const Outcome outcome = handshake.check();
  ASSERT_TRUE(outcome);
  EXPECT_EQ(Problem::HandshakeWrong, outcome->problem);
}

}  // namespace
