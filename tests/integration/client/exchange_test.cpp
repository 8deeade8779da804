// Requests and replies, against a peer without faults.

#include <gtest/gtest.h>
#include <velmo/velmo.h>

#include <string>
#include <vector>

#include "ConnectionTest.h"
#include "WebSocketHandshake.h"

namespace {

using velmo::test::answering;
using velmo::test::ConnectionTest;
using velmo::test::envelopeOf;
using velmo::test::frame;
using velmo::test::frames;
using velmo::test::kBinary;
using velmo::test::kContinuation;
using velmo::test::kFinal;
using velmo::test::kLastContinuation;
using velmo::test::kPing;
using velmo::test::kPong;
using velmo::test::kText;
using velmo::test::naming;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::responseNaming;
using velmo::test::tellTest;
using velmo::test::textField;
using velmo::test::upgradeFor;
using velmo::test::WebSocketFrame;

// Tells each frame of a message: "82 masked 31; ".
void tellFrames(const std::vector<WebSocketFrame>& message) {
  for (const WebSocketFrame& next : message) {
    constexpr const char* kDigits = "0123456789abcdef";
    const auto flags = static_cast<unsigned>(next.flags);
    tellTest(std::string() + kDigits[flags >> 4U] + kDigits[flags & 15U] +
             (next.isMasked ? " masked " : " ") + std::to_string(next.payload.size()) + "; ");
  }
}

class ExchangeTest : public ConnectionTest {
 protected:
  // What the peer tells of the request.
  std::string told(const std::function<void(const std::vector<WebSocketFrame>&)>& tell) {
    const std::string outcome = sendTo([tell](PeerConnection& connected) {
      connected.upgrade();
      tell(connected.readMessage());
      connected.send(naming("n"));
    });
    return outcome == "OK n" ? peer->end() : outcome;
  }
};

// A peer that answers with these bytes once it has the request.
PeerScript replying(const std::string& bytes) {
  return [bytes](PeerConnection& connected) {
    connected.upgrade();
    connected.readMessage();
    connected.send(bytes);
    connected.drain();
  };
}

// --- the handshake and the request ---

TEST_F(ExchangeTest, HandshakeAsksForThePath) {
  startPeer({[](PeerConnection& connected) { tellTest(connected.upgrade()); }});
  endpoint.path = "/other?x=1";
  ASSERT_EQ("OK", connect());
  std::string text = peer->end();
  const std::size_t key = text.find("Sec-WebSocket-Key: ") + 19;
  text.replace(key, 24, "KEY");
  EXPECT_EQ("GET /other?x=1 HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(endpoint.port) +
                "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nOrigin: localhost\r\n"
                "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: KEY\r\n\r\n",
            text);
}

TEST_F(ExchangeTest, RequestHasAllFieldsAndTheDefaults) {
  EXPECT_EQ(envelopeOf({"Normal", "/bin/true", 2, "", "", "0", "", 0}),
            told([](const auto& message) { tellTest(message[0].payload); }));
}

TEST_F(ExchangeTest, RequestHasWhatTheTaskSays) {
  task = {sizeof task, "High", "Main --x %d 100%", "java", "plus", "J1", "3", "user,name,1", -7};
  EXPECT_EQ(envelopeOf({"High", "Main --x %d 100%", 1, "plus", "J1", "3", "user,name,1", -7}),
            told([](const auto& message) { tellTest(message[0].payload); }));
}

TEST_F(ExchangeTest, RequestUpTo8192BytesIsOneMaskedFrame) {
  const std::size_t around =
      envelopeOf({"Normal", std::string(8000, 'c'), 2, "", "", "0", "", 0}).size() - 8000;
  const std::string most(8192 - around, 'c');
  task.command = most.c_str();
  EXPECT_EQ("82 masked 8192; ", told(tellFrames));
  const std::string more = most + "c";
  task.command = more.c_str();
  EXPECT_EQ("02 masked 8192; 80 masked 1; ", told(tellFrames));
}

TEST_F(ExchangeTest, LargeRequestArrivesWhole) {
  makeHuge();
  EXPECT_EQ(
      "yes", told([size = std::string(task.command).size()](const auto& message) {
        std::string whole;
        for (const WebSocketFrame& next : message) {
          whole += next.payload;
        }
        const std::string command(size, 'c');
        tellTest(whole == envelopeOf({"Normal", command, 2, "", "", "0", "", 0}) ? "yes" : "no");
      }));
}

// --- the reply ---

TEST_F(ExchangeTest, ReplyNamesTheTask) {
  EXPECT_EQ("OK first", sendTo(answering({naming("first")})));
}

TEST_F(ExchangeTest, NameMayHave255Bytes) {
  EXPECT_EQ("OK " + std::string(255, 'n'), sendTo(answering({naming(std::string(255, 'n'))})));
}

TEST_F(ExchangeTest, NameMayBeLeftOut) {
  connectTo({answering({naming("first")})});
  EXPECT_EQ(VELMO_OK, velmo_send(connection, &task, kLongMs, nullptr, nullptr));
}

TEST_F(ExchangeTest, TextFrameIsAReplyToo) {
  EXPECT_EQ("OK n", sendTo(replying(frame(kFinal | kText, responseNaming("n")))));
}

TEST_F(ExchangeTest, ReplyInFragmentsIsPutTogether) {
  EXPECT_EQ("OK fragments", sendTo(replying(frames(responseNaming("fragments"), 3))));
  EXPECT_EQ("OK n", sendTo(replying(frame(kBinary, "") + frame(kContinuation, responseNaming("n")) +
                                    frame(kLastContinuation, ""))));
}

TEST_F(ExchangeTest, ReplyByteByByteIsPutTogether) {
  EXPECT_EQ("OK dripped", sendTo([](PeerConnection& connected) {
              connected.upgrade();
              connected.readMessage();
              connected.sendByteByByte(frames(responseNaming("dripped"), 4));
              connected.drain();
            }));
}

TEST_F(ExchangeTest, ReplyOfOneMebibyteIsTaken) {
  const std::string name = responseNaming("n");
  const std::size_t most = std::size_t{1024} * 1024;
  const std::string unknown = textField(15, std::string(most - name.size() - 4, 'x'));
  ASSERT_EQ(most, name.size() + unknown.size());
  EXPECT_EQ("OK n", sendTo(replying(frame(kFinal | kBinary, name + unknown))));
}

TEST_F(ExchangeTest, BytesBehindTheHandshakeBelongToTheFrames) {
  EXPECT_EQ("OK n", sendTo([](PeerConnection& connected) {
              connected.send(upgradeFor(connected.readHead()) + frame(kFinal | kPong, "early"));
              connected.readMessage();
              connected.send(naming("n"));
              connected.drain();
            }));
}

// --- control frames ---

TEST_F(ExchangeTest, PingsAreAnswered) {
  const std::string outcome = sendTo([](PeerConnection& connected) {
    connected.upgrade();
    connected.readMessage();
    connected.send(frame(kBinary, responseNaming("n").substr(0, 2)));
    for (const std::string text : {"", "two", "three"}) {
      connected.send(frame(kFinal | kPing, text));
      const WebSocketFrame pong = connected.readFrame();
      tellTest(std::to_string(pong.flags) + (pong.isMasked ? " masked " : " ") + pong.payload +
               "; ");
    }
    connected.send(frame(kLastContinuation, responseNaming("n").substr(2)));
  });
  EXPECT_EQ("OK n", outcome);
  EXPECT_EQ("138 masked ; 138 masked two; 138 masked three; ", peer->end());
}

TEST_F(ExchangeTest, PingBeforeTheRequestIsAnsweredFirst) {
  startPeer({[](PeerConnection& connected) {
    connected.upgrade();
    connected.send(frame(kFinal | kPing, "early"));
    tellTest("sent; ");
    tellTest(connected.readFrame().payload);
    connected.readMessage();
    connected.send(naming("n"));
  }});
  ASSERT_EQ("OK", connect());
  velmo::test::waitUntilReadable(peer->told());
  EXPECT_EQ("OK n", send());
  EXPECT_EQ("sent; early", peer->end());
}

TEST_F(ExchangeTest, PingInFrontOfTheReplyIsAnsweredBeforeTheNextRequest) {
  EXPECT_EQ("OK n", sendTo([](PeerConnection& connected) {
              connected.upgrade();
              connected.readMessage();
              connected.send(frame(kFinal | kPing, "last") + naming("n"));
              tellTest(connected.readFrame().payload);
            }));
  EXPECT_EQ("last", peer->end());
}

TEST_F(ExchangeTest, PongsAreIgnored) {
  EXPECT_EQ("OK n", sendTo(replying(frame(kFinal | kPong, "") + naming("n"))));
}

// --- several requests ---

TEST_F(ExchangeTest, ConnectionCarriesOneRequestAfterTheOther) {
  connectTo({answering({naming("first"), naming("second")})});
  EXPECT_EQ("OK first", send());
  EXPECT_EQ("OK second", send());
}

TEST_F(ExchangeTest, ThousandsOfRequestsGoOverOneConnection) {
  constexpr int kCount = 5000;
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    for (int i = 0; i < kCount; ++i) {
      connected.readMessage();
      connected.send((i % 7 == 0 ? frame(kFinal | kPing, "p") : "") + naming(std::to_string(i)) +
                     (i % 5 == 0 ? frame(kFinal | kPong, "q") : ""));
      if (i % 7 == 0) {
        connected.readFrame();
      }
    }
    connected.drain();
  }});
  for (int i = 0; i < kCount; ++i) {
    std::array<char, VELMO_NAME_SIZE> name{};
    ASSERT_EQ(VELMO_OK, velmo_send(connection, &task, kLongMs, name.data(), nullptr)) << i;
    ASSERT_EQ(std::to_string(i), name.data());
  }
}

TEST_F(ExchangeTest, InvalidArgumentLeavesTheConnectionUsable) {
  connectTo({answering({naming("n")})});
  task.command = "two\nlines";
  EXPECT_EQ("1: command contains a line feed", send());
  task.command = "one line";
  EXPECT_EQ("OK n", send());
}

}  // namespace
