// A peer that misbehaves at every step. The client returns a name, throws a VelmoException or, in
// the destructor, ends the process. Each row prints its outcome. What a row shows that a program
// must know has a test with a name in message_host_safety_test.cpp instead.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <velmo/VelmoFacadeWS.h>

#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <ostream>
#include <string>
#include <vector>

#include "ClientProcess.h"
#include "ScriptedPeer.h"
#include "SocketLimits.h"
#include "WebSocketFrame.h"
#include "WebSocketHandshake.h"
#include "WireMessages.h"

namespace {

using testing::MatchesRegex;
using velmo::test::answering;
using velmo::test::clientFrame;
using velmo::test::ClientOutcome;
using velmo::test::envelopeOf;
using velmo::test::frame;
using velmo::test::kFinal;
using velmo::test::kPing;
using velmo::test::kPong;
using velmo::test::kText;
using velmo::test::longFrameHeader;
using velmo::test::PeerConnection;
using velmo::test::PeerListener;
using velmo::test::PeerScript;
using velmo::test::responseNaming;
using velmo::test::runAgainst;
using velmo::test::shortenSocketLimits;
using velmo::test::Tell;
using velmo::test::upgradeFor;
using velmo::test::WireRequest;

constexpr int kWhole = velmo::test::kFinal | velmo::test::kBinary;
constexpr int kFirst = velmo::test::kBinary;
constexpr int kMiddle = velmo::test::kContinuation;
constexpr int kLast = velmo::test::kLastContinuation;
constexpr int kWholeClose = velmo::test::kFinal | velmo::test::kClose;

struct Row {
  const char* name;
  PeerScript script;
  const char* outcome;  // a regular expression: the kernel chooses some of the errors
};

std::ostream& operator<<(std::ostream& stream, const Row& row) {
  return stream << row.name;
}

// The whole life of a client: it connects, sends one request with a command of `commandSize` bytes
// and is destroyed. Its waits end after `limitMs`.
void live(unsigned short port, const Tell& tell, std::size_t commandSize, int limitMs) {
  shortenSocketLimits(limitMs);
  try {
    VelmoFacadeWS facade("127.0.0.1", port);
    tell("connected");
    try {
      tell("name '" +
           facade.addTask("Normal", std::string(commandSize, 'x'), TASK_SHELL_SCRIPT, "", "J1", "0",
                          "", 0) +
           "'");
    } catch (const VelmoException& exception) {
      tell(std::string("VelmoException: ") + exception.what());
    }
  } catch (const VelmoException& exception) {
    tell(std::string("VelmoException: ") + exception.what());
    return;
  }
  tell("destroyed");
}

constexpr int kOrdinaryLimitMs = 15000;
constexpr int kShortLimitMs = 150;

std::string outcomeOf(const Row& row, std::size_t commandSize = 10,
                      int limitMs = kOrdinaryLimitMs) {
  const ClientOutcome outcome =
      runAgainst({row.script}, [commandSize, limitMs](unsigned short port, const Tell& tell) {
        live(port, tell, commandSize, limitMs);
      });
  std::cout << std::left << std::setw(44) << row.name << outcome.report << outcome.end << std::endl;
  return outcome.report + outcome.end;
}

// Each runs the rows of its tables.
class ScriptedPeerTest : public testing::TestWithParam<Row> {};

class SilentPeerTest : public testing::TestWithParam<Row> {};

class LargeRequestTest : public testing::TestWithParam<Row> {};

TEST_P(ScriptedPeerTest, HasThisOutcome) {
  EXPECT_THAT(outcomeOf(GetParam()), MatchesRegex(GetParam().outcome));
}

TEST_P(SilentPeerTest, HasThisOutcome) {
  EXPECT_THAT(outcomeOf(GetParam(), 10, kShortLimitMs), MatchesRegex(GetParam().outcome));
}

TEST_P(LargeRequestTest, HasThisOutcome) {
  EXPECT_THAT(outcomeOf(GetParam(), std::size_t{16} << 20U), MatchesRegex(GetParam().outcome));
}

const auto kRowName = [](const testing::TestParamInfo<Row>& row) {
  return std::string(row.param.name);
};

// --- steps of scripts ---

// Upgrades, reads the request, sends these bytes, and closes without a close frame.
PeerScript breakingOffAfter(const std::string& bytes) {
  return [bytes](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(bytes);
    peer.finish();
    peer.drain();
  };
}

// Answers the handshake with these bytes and closes.
PeerScript answeringHandshake(const std::string& bytes) {
  return [bytes](PeerConnection& peer) {
    peer.readHead();
    peer.send(bytes);
  };
}

// Upgrades, answers the request with a name, and sends these bytes when the client closes.
PeerScript closingWith(const std::string& bytes) {
  return [bytes](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(frame(kWhole, responseNaming("T1")));
    peer.readMessage();
    peer.send(bytes);
    peer.finish();
    peer.drain();
  };
}

const std::string kReply = responseNaming("T1");

// --- the handshake ---

const std::vector<Row> kHandshakeRows{
    {"ClosesAtOnce", [](PeerConnection& /*peer*/) {}, "VelmoException: .*; exit 0"},
    {"ResetsAtOnce", [](PeerConnection& peer) { peer.reset(); }, "VelmoException: .*; exit 0"},
    {"ClosesAfterTheHandshakeRequest", answeringHandshake(""),
     "VelmoException: No message received; exit 0"},
    {"ResetsAfterTheHandshakeRequest",
     [](PeerConnection& peer) {
       peer.readHead();
       peer.reset();
     },
     "VelmoException: .*; exit 0"},
    {"Answers404", answeringHandshake("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"),
     "VelmoException: WebSocket Exception: Cannot upgrade to WebSocket connection: Not Found; exit "
     "0"},
    {"Answers401", answeringHandshake("HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n"),
     "VelmoException: WebSocket Exception: Not authorized; exit 0"},
    {"Answers200", answeringHandshake("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"),
     "VelmoException: WebSocket Exception: The server does not understand the WebSocket protocol; "
     "exit 0"},
    {"AnswersWithAWrongKey",
     answeringHandshake("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                        "Connection: Upgrade\r\nSec-WebSocket-Accept: AAAA\r\n\r\n"),
     "VelmoException: WebSocket Exception: Invalid or missing Sec-WebSocket-Accept header in "
     "handshake response; exit 0"},
    {"AnswersWithoutAKey",
     answeringHandshake("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                        "Connection: Upgrade\r\n\r\n"),
     "VelmoException: WebSocket Exception: Invalid or missing Sec-WebSocket-Accept header in "
     "handshake response; exit 0"},
    {"AnswersWithoutUpgrade",
     answeringHandshake("HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\n\r\n"),
     "VelmoException: WebSocket Exception: No Upgrade: websocket header in handshake response; "
     "exit 0"},
    {"AnswersWithHalfAHandshake", answeringHandshake("HTTP/1.1 101 Switching Pro"),
     "VelmoException: Malformed message: HTTP reason string too long; exit 0"},
    {"AnswersWithGarbage", answeringHandshake(std::string("\0\xFF\x01garbage\r\n\r\n", 14)),
     "VelmoException: Malformed message: Invalid HTTP version string; exit 0"},
    {"AnswersWithEndlessHeader",
     answeringHandshake("HTTP/1.1 101 OK\r\nX: " + std::string(1 << 20U, 'x')),
     "VelmoException: Malformed message: Field value too long/no CRLF found; exit 0"},
    {"UpgradesByteByByte",
     [](PeerConnection& peer) {
       peer.sendByteByByte(upgradeFor(peer.readHead()));
       peer.readMessage();
       peer.send(frame(kWhole, kReply));
       peer.closeInOrder();
     },
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesTogetherWithTheUpgrade",
     [](PeerConnection& peer) {
       peer.send(upgradeFor(peer.readHead()) + frame(kWhole, kReply));
       peer.readMessage();
       peer.closeInOrder();
     },
     "connected; name 'T1'; destroyed; exit 0"},
};

INSTANTIATE_TEST_SUITE_P(Handshake, ScriptedPeerTest, testing::ValuesIn(kHandshakeRows), kRowName);

// --- the reply ---

const std::vector<Row> kReplyRows{
    {"RepliesInOneBinaryFrame", answering({frame(kWhole, kReply)}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesInATextFrame", answering({frame(kFinal | kText, kReply)}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesInThreeFragments",
     answering({frame(kFirst, kReply.substr(0, 1)) + frame(kMiddle, kReply.substr(1, 2)) +
                frame(kLast, kReply.substr(3))}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesByteByByte",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readMessage();
       peer.sendByteByByte(frame(kFirst, kReply.substr(0, 3)) + frame(kLast, kReply.substr(3)));
       peer.closeInOrder();
     },
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesMasked", answering({clientFrame(kWhole, kReply, "\x01\x02\x03\x04")}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithReservedBits", answering({frame(kWhole | 0x70, kReply)}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAnUnknownOpcode", answering({frame(0x8F, kReply)}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithALongFormOfAShortLength",
     answering({longFrameHeader(kWhole, kReply.size()) + kReply}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWith65536BytesInOneFrame", answering({frame(kWhole, std::string(65536, '\xFF'))}),
     "connected; VelmoException: WebSocket Exception: Insufficient buffer for payload size 65536; "
     "signal 6"},
    {"RepliesWithALengthOf2To31", answering({longFrameHeader(kWhole, 1ULL << 31U) + kReply}),
     "connected; VelmoException: WebSocket Exception: Payload too big; destroyed; exit 0"},
    {"RepliesWithALengthOf2To32", answering({longFrameHeader(kWhole, 1ULL << 32U) + kReply}),
     "connected; VelmoException: WebSocket Exception: Payload too big; destroyed; exit 0"},
    {"RepliesWithALengthOf2To63Less1",
     answering({longFrameHeader(kWhole, (1ULL << 63U) - 1) + kReply}),
     "connected; VelmoException: WebSocket Exception: Payload too big; destroyed; exit 0"},
    {"RepliesWithALengthOf2To64Less1", answering({longFrameHeader(kWhole, ~0ULL) + kReply}),
     "connected; VelmoException: WebSocket Exception: Payload too big; destroyed; exit 0"},
    {"RepliesWithGarbage", answering({frame(kWhole, "\xFF\xFE\xFD garbage")}),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithARequest", answering({frame(kWhole, envelopeOf(WireRequest()))}),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithAnotherField", answering({frame(kWhole, "\x1A\x01x")}),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithAnEmptyName", answering({frame(kWhole, responseNaming(""))}),
     "connected; name ''; destroyed; exit 0"},
    {"RepliesWithNoiseBehindAName", answering({frame(kWhole, kReply + "\xFF\xFF\xFF")}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAFinalAndAnotherMessage",
     answering({frame(kWhole, kReply) + frame(kWhole, responseNaming("T2"))}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAMessageThatEndsInItsLength", answering({frame(kWhole, "\x12\x09\x0A\x02T1")}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAnEmptyFragmentFirst", answering({frame(kFirst, "") + frame(kLast, kReply)}),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithANameAndAnEmptyLastFragment",
     answering({frame(kFirst, kReply) + frame(kLast, "")}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"PingsBeforeTheReply",
     answering({frame(kFinal | kPing, "are you there") + frame(kWhole, kReply)}),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"PongsBeforeTheReply", answering({frame(kFinal | kPong, "x") + frame(kWhole, kReply)}),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"PingsBetweenFragments",
     answering({frame(kFirst, kReply) + frame(kFinal | kPing, "") + frame(kLast, "")}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAnEmptyCloseFrame", answering({frame(kWholeClose, "")}),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
};

INSTANTIATE_TEST_SUITE_P(Reply, ScriptedPeerTest, testing::ValuesIn(kReplyRows), kRowName);

// --- the connection ends ---

const std::vector<Row> kEndRows{
    {"ClosesWithoutAReply", breakingOffAfter(""),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"EndsInsideTheFirstTwoBytes", breakingOffAfter("\x82"),
     "connected; VelmoException: WebSocket Exception: Incomplete frame received; destroyed; exit "
     "0"},
    {"EndsBehindTheFirstTwoBytes", breakingOffAfter("\x82\x05"),
     "connected; VelmoException: WebSocket Exception: Incomplete frame received; destroyed; exit "
     "0"},
    {"EndsBeforeTheLongLength", breakingOffAfter("\x82\x7E"),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"EndsInsideTheLongLength", breakingOffAfter("\x82\x7E\x01"),
     "connected; VelmoException: WebSocket Exception: Incomplete frame received; destroyed; exit "
     "0"},
    {"EndsInsideThePayload", breakingOffAfter("\x82\x06\x12\x04"),
     "connected; VelmoException: WebSocket Exception: Incomplete frame received; destroyed; exit "
     "0"},
    {"EndsBetweenFragments", breakingOffAfter(frame(kFirst, kReply)),
     "connected; name 'T1'; destroyed; exit 0"},
    {"EndsBehindTheReply", breakingOffAfter(frame(kWhole, kReply)),
     "connected; name 'T1'; destroyed; exit 0"},
    {"ResetsWithoutAReply",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readMessage();
       peer.reset();
     },
     "connected; VelmoException: Connection reset by peer; signal 6"},
    {"ResetsInsideTheReply",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readMessage();
       peer.send(frame(kFirst, kReply) + "\x80");
       peer.reset();
     },
     "connected; VelmoException: Connection reset by peer; signal 6"},
    {"ClosesWithAnEmptyFrame", closingWith(frame(kWholeClose, "")),
     "connected; name 'T1'; destroyed; exit 0"},
    {"ClosesWithoutACloseFrame", closingWith(""), "connected; name 'T1'; destroyed; exit 0"},
    {"ClosesWithHalfAFrame", closingWith("\x88"), "connected; name 'T1'; signal 6"},
    {"ClosesWithHalfAPayload", closingWith("\x88\x05x"), "connected; name 'T1'; signal 6"},
    {"ClosesWith8193Bytes", closingWith(frame(kWhole, std::string(8193, 'x'))),
     "connected; name 'T1'; signal 6"},
};

INSTANTIATE_TEST_SUITE_P(End, ScriptedPeerTest, testing::ValuesIn(kEndRows), kRowName);

// --- silence ---

const std::vector<Row> kSilentRows{
    {"IsSilentAfterTheHandshakeRequest",
     [](PeerConnection& peer) {
       peer.readHead();
       peer.drain();
     },
     "VelmoException: Timeout; exit 0"},
    {"IsSilentInsideTheReply",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readMessage();
       peer.send("\x82\x06\x12");
       peer.drain();
     },
     "connected; VelmoException: Timeout; signal 6"},
    {"IsSilentAfterTheReply",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readMessage();
       peer.send(frame(kWhole, kReply));
       peer.drain();
     },
     "connected; name 'T1'; signal 6"},
};

INSTANTIATE_TEST_SUITE_P(Silence, SilentPeerTest, testing::ValuesIn(kSilentRows), kRowName);

// --- a request larger than the sockets hold ---

const std::vector<Row> kLargeRequestRows{
    {"ReadsALargeRequest", answering({frame(kWhole, kReply)}),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesBeforeTheRequestIsOut",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readFrame();
       peer.send(frame(kWhole, kReply));
       peer.readMessage();
       peer.closeInOrder();
     },
     "connected; name 'T1'; destroyed; exit 0"},
    {"ClosesInsideTheRequest",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readFrame();
     },
     "connected; VelmoException: .*; signal 6"},
    {"ResetsInsideTheRequest",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readFrame();
       peer.reset();
     },
     "connected; VelmoException: .*; signal 6"},
};

INSTANTIATE_TEST_SUITE_P(Request, LargeRequestTest, testing::ValuesIn(kLargeRequestRows), kRowName);

// --- no peer ---

TEST(NoPeerTest, NobodyListensIsAVelmoException) {
  unsigned short port = 0;
  {
    const PeerListener listener;
    port = listener.port();
  }
  try {
    const VelmoFacadeWS facade("127.0.0.1", port);
    FAIL() << "connected";
  } catch (const VelmoException& exception) {
    EXPECT_STREQ("Connection refused", exception.what());
  }
}

TEST(NoPeerTest, HostThatIsNoneIsAVelmoException) {
  // Too long for a host name, so no name server is asked.
  EXPECT_THROW(VelmoFacadeWS(std::string(300, 'x'), 1), VelmoException);
  EXPECT_THROW(VelmoFacadeWS("127.0.0.1", 0), VelmoException);
}

}  // namespace
