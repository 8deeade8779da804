// A peer that misbehaves at every step. Whatever it does, the client ends with a name, with a
// VelmoException, or, in the destructor, with the end of the process. Each row prints its outcome.

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

#include "ScriptedPeer.h"
#include "SocketLimits.h"
#include "WireMessages.h"

namespace {

using testing::MatchesRegex;
using velmo::test::ClientOutcome;
using velmo::test::envelopeOf;
using velmo::test::frame;
using velmo::test::longFrameHeader;
using velmo::test::PeerConnection;
using velmo::test::PeerListener;
using velmo::test::PeerScript;
using velmo::test::responseNaming;
using velmo::test::responseWithoutName;
using velmo::test::runAgainst;
using velmo::test::shortenSocketLimits;
using velmo::test::Tell;
using velmo::test::WireRequest;

constexpr int kBinary = 130;
constexpr int kText = 129;
constexpr int kClose = 136;
constexpr int kPing = 137;
constexpr int kPong = 138;
constexpr int kFirst = 2;
constexpr int kMiddle = 0;
constexpr int kLast = 128;

struct Row {
  const char* name;
  PeerScript script;
  const char* outcome;  // as a regular expression: where the kernel chooses the error, any text
};

std::ostream& operator<<(std::ostream& stream, const Row& row) {
  return stream << row.name;
}

std::string shown(const std::string& name) {
  return name.size() < 20 ? "name '" + name + "'"
                          : "name of " + std::to_string(name.size()) + " bytes";
}

// A client with limits short enough for silence to be waited out, and its whole life: connect, one
// request of `commandSize` bytes and some, destroy.
void live(unsigned short port, const Tell& tell, std::size_t commandSize, int limitMs) {
  shortenSocketLimits(limitMs);
  try {
    VelmoFacadeWS facade("127.0.0.1", port);
    tell("connected");
    try {
      tell(shown(facade.addTask("Normal", std::string(commandSize, 'x'), TASK_SHELL_SCRIPT, "",
                                "J1", "0", "", 0)));
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

// Runs as the rows of one table.
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

// Answers what the client sends when it goes.
void closeInOrder(PeerConnection& peer) {
  peer.readMessage();
  peer.send(frame(kClose, "\x03\xE8"));
  peer.drain();
}

// Upgrades, reads the request, sends these bytes as they are, and closes in order.
PeerScript replying(const std::string& bytes) {
  return [bytes](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(bytes);
    closeInOrder(peer);
  };
}

// The same, but closes without a word behind the bytes.
PeerScript breakingOffAfter(const std::string& bytes) {
  return [bytes](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(bytes);
    peer.finish();
    peer.drain();
  };
}

// Sends these bytes in the place of the answer to the handshake, and closes.
PeerScript answeringHandshake(const std::string& bytes) {
  return [bytes](PeerConnection& peer) {
    peer.readHandshake();
    peer.send(bytes);
  };
}

// Upgrades, answers the request with a name, and sends these bytes when the client closes.
PeerScript closingWith(const std::string& bytes) {
  return [bytes](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(frame(kBinary, responseNaming("T1")));
    peer.readMessage();
    peer.send(bytes);
    peer.finish();
    peer.drain();
  };
}

const std::string kReply = responseNaming("T1");

// A reply of exactly this many bytes.
std::string replyOf(std::size_t size) {
  const std::size_t around = responseNaming(std::string(size - 8, 'n')).size() - (size - 8);
  return responseNaming(std::string(size - around, 'n'));
}

std::string maskedFrame(const std::string& payload) {
  const std::string mask = "\x01\x02\x03\x04";
  std::string bytes = frame(kBinary, payload);
  bytes[1] = static_cast<char>(bytes[1] | '\x80');
  bytes.insert(2, mask);
  for (std::size_t i = 0; i < payload.size(); ++i) {
    bytes[6 + i] = static_cast<char>(bytes[6 + i] ^ mask[i % 4]);
  }
  return bytes;
}

// --- the handshake ---

const std::vector<Row> kHandshakeRows{
    {"ClosesAtOnce", [](PeerConnection& /*peer*/) {}, "VelmoException: .*; exit 0"},
    {"ResetsAtOnce", [](PeerConnection& peer) { peer.reset(); }, "VelmoException: .*; exit 0"},
    {"ClosesAfterTheHandshakeRequest", answeringHandshake(""),
     "VelmoException: No message received; exit 0"},
    {"ResetsAfterTheHandshakeRequest",
     [](PeerConnection& peer) {
       peer.readHandshake();
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
       peer.sendByteByByte(PeerConnection::upgradeFor(peer.readHandshake()));
       peer.readMessage();
       peer.send(frame(kBinary, kReply));
       closeInOrder(peer);
     },
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesTogetherWithTheUpgrade",
     [](PeerConnection& peer) {
       peer.send(PeerConnection::upgradeFor(peer.readHandshake()) + frame(kBinary, kReply));
       peer.readMessage();
       closeInOrder(peer);
     },
     "connected; name 'T1'; destroyed; exit 0"},
};

INSTANTIATE_TEST_SUITE_P(Handshake, ScriptedPeerTest, testing::ValuesIn(kHandshakeRows), kRowName);

// --- the reply ---

const std::vector<Row> kReplyRows{
    {"RepliesInOneBinaryFrame", replying(frame(kBinary, kReply)),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesInATextFrame", replying(frame(kText, kReply)),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesInThreeFragments",
     replying(frame(kFirst, kReply.substr(0, 1)) + frame(kMiddle, kReply.substr(1, 2)) +
              frame(kLast, kReply.substr(3))),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesByteByByte",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readMessage();
       peer.sendByteByByte(frame(kFirst, kReply.substr(0, 3)) + frame(kLast, kReply.substr(3)));
       closeInOrder(peer);
     },
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesMasked", replying(maskedFrame(kReply)), "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithReservedBits", replying(frame(kBinary | 0x70, kReply)),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAnUnknownOpcode", replying(frame(0x8F, kReply)),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithALongFormOfAShortLength",
     replying(longFrameHeader(kBinary, kReply.size()) + kReply),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWith8192Bytes", replying(frame(kBinary, replyOf(8192))),
     "connected; name of 8186 bytes; destroyed; exit 0"},
    {"RepliesWith8193BytesInTwoFrames",
     replying(frame(kFirst, replyOf(8193).substr(0, 8192)) +
              frame(kLast, replyOf(8193).substr(8192))),
     "connected; name of 8187 bytes; destroyed; exit 0"},
    {"RepliesWith8193BytesInOneFrame", replying(frame(kBinary, replyOf(8193))),
     "connected; VelmoException: WebSocket Exception: Insufficient buffer for payload size 8193; "
     "signal 6"},
    {"RepliesWith65536BytesInOneFrame", replying(frame(kBinary, std::string(65536, '\xFF'))),
     "connected; VelmoException: WebSocket Exception: Insufficient buffer for payload size 65536; "
     "signal 6"},
    {"RepliesWithALengthOf2To31", replying(longFrameHeader(kBinary, 1ULL << 31U) + kReply),
     "connected; VelmoException: WebSocket Exception: Payload too big; destroyed; exit 0"},
    {"RepliesWithALengthOf2To32", replying(longFrameHeader(kBinary, 1ULL << 32U) + kReply),
     "connected; VelmoException: WebSocket Exception: Payload too big; destroyed; exit 0"},
    {"RepliesWithALengthOf2To63Less1",
     replying(longFrameHeader(kBinary, (1ULL << 63U) - 1) + kReply),
     "connected; VelmoException: WebSocket Exception: Payload too big; destroyed; exit 0"},
    {"RepliesWithALengthOf2To64Less1", replying(longFrameHeader(kBinary, ~0ULL) + kReply),
     "connected; VelmoException: WebSocket Exception: Payload too big; destroyed; exit 0"},
    {"RepliesWithGarbage", replying(frame(kBinary, "\xFF\xFE\xFD garbage")),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithARequest", replying(frame(kBinary, envelopeOf(WireRequest()))),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithAnotherField", replying(frame(kBinary, "\x1A\x01x")),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithoutAName", replying(frame(kBinary, responseWithoutName())),
     "connected; name ''; destroyed; exit 0"},
    {"RepliesWithAnEmptyName", replying(frame(kBinary, responseNaming(""))),
     "connected; name ''; destroyed; exit 0"},
    {"RepliesWithNoiseBehindAName", replying(frame(kBinary, kReply + "\xFF\xFF\xFF")),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAFinalAndAnotherMessage",
     replying(frame(kBinary, kReply) + frame(kBinary, responseNaming("T2"))),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAMessageThatEndsInItsLength", replying(frame(kBinary, "\x12\x09\x0A\x02T1")),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithAnEmptyFrame", replying(frame(kBinary, "")),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithAnEmptyFragmentFirst", replying(frame(kFirst, "") + frame(kLast, kReply)),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithANameAndAnEmptyLastFragment", replying(frame(kFirst, kReply) + frame(kLast, "")),
     "connected; name 'T1'; destroyed; exit 0"},
    {"PingsBeforeTheReply", replying(frame(kPing, "are you there") + frame(kBinary, kReply)),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"PingsEmptyBeforeTheReply", replying(frame(kPing, "") + frame(kBinary, kReply)),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"PongsBeforeTheReply", replying(frame(kPong, "x") + frame(kBinary, kReply)),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"PingsBetweenFragments", replying(frame(kFirst, kReply) + frame(kPing, "") + frame(kLast, "")),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesWithACloseFrame", replying(frame(kClose, "\x03\xE8")),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
    {"RepliesWithAnEmptyCloseFrame", replying(frame(kClose, "")),
     "connected; VelmoException: Wrong type of message is returned!; destroyed; exit 0"},
};

INSTANTIATE_TEST_SUITE_P(Reply, ScriptedPeerTest, testing::ValuesIn(kReplyRows), kRowName);

// --- the connection ends ---

const std::vector<Row> kEndRows{
    {"ClosesBeforeTheRequest", [](PeerConnection& peer) { peer.upgrade(); },
     "connected; VelmoException: .*; signal 6"},
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
    {"EndsBehindTheReply", breakingOffAfter(frame(kBinary, kReply)),
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
    {"ClosesWithAnEmptyFrame", closingWith(frame(kClose, "")),
     "connected; name 'T1'; destroyed; exit 0"},
    {"ClosesWithMoreFrames",
     closingWith(frame(kFirst, "late") + frame(kMiddle, "reply") + frame(kClose, "\x03\xE8")),
     "connected; name 'T1'; destroyed; exit 0"},
    {"ClosesWithoutACloseFrame", closingWith(""), "connected; name 'T1'; destroyed; exit 0"},
    {"ClosesWithHalfAFrame", closingWith("\x88"), "connected; name 'T1'; signal 6"},
    {"ClosesWithHalfAPayload", closingWith("\x88\x05x"), "connected; name 'T1'; signal 6"},
    {"ClosesWith8193Bytes", closingWith(frame(kBinary, std::string(8193, 'x'))),
     "connected; name 'T1'; signal 6"},
    {"ResetsWhenTheClientCloses",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readMessage();
       peer.send(frame(kBinary, kReply));
       peer.readMessage();
       peer.reset();
     },
     "connected; name 'T1'; signal 6"},
};

INSTANTIATE_TEST_SUITE_P(End, ScriptedPeerTest, testing::ValuesIn(kEndRows), kRowName);

// --- silence ---

const std::vector<Row> kSilentRows{
    {"IsSilentAfterTheHandshakeRequest",
     [](PeerConnection& peer) {
       peer.readHandshake();
       peer.drain();
     },
     "VelmoException: Timeout; exit 0"},
    {"IsSilentAfterTheRequest",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.drain();
     },
     "connected; VelmoException: Timeout; signal 6"},
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
       peer.send(frame(kBinary, kReply));
       peer.drain();
     },
     "connected; name 'T1'; signal 6"},
};

INSTANTIATE_TEST_SUITE_P(Silence, SilentPeerTest, testing::ValuesIn(kSilentRows), kRowName);

// --- a request larger than the sockets hold ---

const std::vector<Row> kLargeRequestRows{
    {"ReadsALargeRequest", replying(frame(kBinary, kReply)),
     "connected; name 'T1'; destroyed; exit 0"},
    {"RepliesBeforeTheRequestIsOut",
     [](PeerConnection& peer) {
       peer.upgrade();
       peer.readFrame();
       peer.send(frame(kBinary, kReply));
       while ((peer.readFrame().flags & 0x80) == 0) {
       }
       closeInOrder(peer);
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
  // Too long for a name, so that nobody is asked for it.
  EXPECT_THROW(VelmoFacadeWS(std::string(300, 'x'), 1), VelmoException);
  EXPECT_THROW(VelmoFacadeWS("127.0.0.1", 0), VelmoException);
}

}  // namespace
