// What goes wrong with a request on an open connection.

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>
#include <velmo/velmo.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ConnectionTest.h"

namespace {

using velmo::test::closePayload;
using velmo::test::ConnectionTest;
using velmo::test::frame;
using velmo::test::frames;
using velmo::test::kBinary;
using velmo::test::kClose;
using velmo::test::kContinuation;
using velmo::test::kFinal;
using velmo::test::kLastContinuation;
using velmo::test::kPing;
using velmo::test::kText;
using velmo::test::naming;
using velmo::test::numberField;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::responseNaming;
using velmo::test::SignalStorm;
using velmo::test::tellTest;
using velmo::test::textField;
using velmo::test::waitUntilReadable;

// Called before the next send of this process.
std::function<void()> g_beforeSend;

// If it is not empty, each receive of this process gets this.
std::string g_received;

// Whether no receive waits, as on a socket that somebody has made non-blocking.
bool g_receivesAtOnce = false;
int g_receives = 0;

}  // namespace

extern "C" ssize_t send(int descriptor, const void* bytes, std::size_t size, int flags) {
  using Function = ssize_t (*)(int, const void*, std::size_t, int);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "send"));
  if (const std::function<void()> before = std::exchange(g_beforeSend, nullptr)) {
    before();
  }
  return real(descriptor, bytes, size, flags);
}

extern "C" ssize_t recv(int descriptor, void* bytes, std::size_t size, int flags) {
  using Function = ssize_t (*)(int, void*, std::size_t, int);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "recv"));
  ++g_receives;
  if (g_received.empty()) {
    return real(descriptor, bytes, size, g_receivesAtOnce ? flags | MSG_DONTWAIT : flags);
  }
  const std::size_t count = std::min(size, g_received.size());
  std::copy_n(g_received.data(), count, static_cast<char*>(bytes));
  return static_cast<ssize_t>(count);
}

namespace {

class ExchangeFaultsTest : public ConnectionTest {
 protected:
  ~ExchangeFaultsTest() override {
    g_beforeSend = nullptr;
    g_received.clear();
    g_receivesAtOnce = false;
  }

  // Sends on a connection on which the peer has done this before.
  std::string sendAfter(const PeerScript& script) {
    startPeer({[script](PeerConnection& connected) {
      connected.upgrade();
      script(connected);
      tellTest("done");
      connected.drain();
    }});
    const std::string outcome = connect();
    if (outcome != "OK") {
      return "not connected: " + outcome;
    }
    waitUntilReadable(peer->told());
    EXPECT_TRUE(isUsable());
    return send();
  }

  // Sends to a peer that does this once it has the request.
  std::string sendBefore(const PeerScript& script, int timeoutMs = kLongMs) {
    return sendTo(
        [script](PeerConnection& connected) {
          connected.upgrade();
          connected.readMessage();
          script(connected);
        },
        timeoutMs);
  }

  // Sends to a peer that answers the request with these bytes, and stays.
  std::string sendAndGet(const std::string& bytes) {
    return sendBefore([bytes](PeerConnection& connected) {
      connected.send(bytes);
      connected.drain();
    });
  }

  // Sends a request that does not fit into the buffers, to a peer that reads some of it and then
  // does this.
  std::string sendHuge(const PeerScript& script, int timeoutMs = kLongMs) {
    makeHuge();
    return sendTo(
        [script](PeerConnection& connected) {
          connected.upgrade();
          connected.readFrame();
          script(connected);
        },
        timeoutMs);
  }
};

std::string closeFrame(std::uint16_t code, const std::string& reason = "") {
  return frame(kFinal | kClose, closePayload(code, reason));
}

PeerScript sending(const std::string& bytes) {
  return [bytes](PeerConnection& connected) { connected.send(bytes); };
}

// --- before the request: nothing is sent ---

TEST_F(ExchangeFaultsTest, ConnectionThatEndedBeforeIsLost) {
  connectToEnd([](PeerConnection& connected) { connected.upgrade(); });
  EXPECT_EQ("9: 127.0.0.1:PORT has ended the connection", send());
}

TEST_F(ExchangeFaultsTest, ConnectionThatWasResetBeforeIsLost) {
  connectToEnd([](PeerConnection& connected) {
    connected.upgrade();
    connected.reset();
  });
  EXPECT_EQ("9, errno 104: the connection to 127.0.0.1:PORT failed: Connection reset by peer",
            send());
}

TEST_F(ExchangeFaultsTest, CloseBeforeTheRequestIsNotARefusal) {
  EXPECT_EQ("9, peer 1008: 127.0.0.1:PORT has closed the connection: close code 1008, idle",
            sendAfter(sending(closeFrame(1008, "idle"))));
  EXPECT_EQ("9: 127.0.0.1:PORT has closed the connection: no close code",
            sendAfter(sending(frame(kFinal | kClose, ""))));
}

TEST_F(ExchangeFaultsTest, DataThatNobodyAskedForIsNotTakenForTheReply) {
  const std::string expected = "9: 127.0.0.1:PORT sent data without being asked";
  EXPECT_EQ(expected, sendAfter(sending(naming("n"))));
  EXPECT_EQ(expected, sendAfter(sending(frame(kBinary, ""))));
  EXPECT_EQ(expected, sendAfter(sending(std::string(1, '\x82'))));
  EXPECT_EQ(expected, sendAfter(sending(naming("n").substr(0, 5))));
  EXPECT_EQ(expected,
            sendAfter(sending(velmo::test::longFrameHeader(kFinal | kBinary, 1U << 30U) + "x")));
}

TEST_F(ExchangeFaultsTest, FloodOfPingsBeforeTheRequestIsDataThatNobodyAskedFor) {
  std::string pings;
  for (int i = 0; i < 20000; ++i) {
    pings += frame(kFinal | kPing, std::string(120, 'p'));
  }
  EXPECT_EQ("9: 127.0.0.1:PORT sent data without being asked", sendAfter(sending(pings)));
}

TEST_F(ExchangeFaultsTest, HalfAPingBeforeTheRequestDoesNotMatter) {
  startPeer({[](PeerConnection& connected) {
    connected.upgrade();
    const std::string ping = frame(kFinal | kPing, "halves");
    connected.send(ping.substr(0, 4));
    tellTest("sent; ");
    connected.readMessage();
    connected.send(ping.substr(4));
    tellTest(connected.readFrame().payload);
    connected.send(naming("n"));
    connected.drain();
  }});
  ASSERT_EQ("OK", connect());
  waitUntilReadable(peer->told());
  EXPECT_EQ("OK n", send());
  disconnect(0);
  EXPECT_EQ("sent; halves", peer->end());
}

TEST_F(ExchangeFaultsTest, WrongFrameBeforeTheRequestBreaksTheConnection) {
  EXPECT_EQ("9: 127.0.0.1:PORT broke the WebSocket protocol: a masked frame",
            sendAfter(sending(velmo::test::clientFrame(kFinal | kPing, "p", "mask"))));
}

TEST_F(ExchangeFaultsTest, SecondReplyIsNotTakenForTheNextOne) {
  startPeer({[](PeerConnection& connected) {
    connected.upgrade();
    connected.readMessage();
    connected.send(naming("n") + naming("more"));
    connected.drain();
  }});
  ASSERT_EQ("OK", connect());
  EXPECT_EQ("OK n", send());
  EXPECT_EQ("9: 127.0.0.1:PORT sent data without being asked", send());
}

TEST_F(ExchangeFaultsTest, ResetBehindTheReplyIsSeenByTheNextRequest) {
  EXPECT_EQ("OK n", sendBefore([](PeerConnection& connected) {
              connected.send(naming("n"));
              connected.reset();
            }));
  EXPECT_EQ("", peer->end());
  EXPECT_EQ("9, errno 104: the connection to 127.0.0.1:PORT failed: Connection reset by peer",
            send());
}

TEST_F(ExchangeFaultsTest, CloseBehindTheReplyIsSeenByTheNextRequest) {
  EXPECT_EQ("OK n", sendAndGet(naming("n") + closeFrame(1001)));
  EXPECT_EQ("9, peer 1001: 127.0.0.1:PORT has closed the connection: close code 1001", send());
}

TEST_F(ExchangeFaultsTest, FailedConnectionStaysUnusable) {
  connectToEnd([](PeerConnection& connected) { connected.upgrade(); });
  EXPECT_EQ("9: 127.0.0.1:PORT has ended the connection", send());
  EXPECT_EQ("9: the connection has failed before; open a new one", send());
}

TEST_F(ExchangeFaultsTest, StopFlagThatIsSetBeforeSendsNothing) {
  volatile int stop = 0;
  endpoint.stop = &stop;
  startPeer({[](PeerConnection& connected) {
    connected.upgrade();
    tellTest(connected.readToTheEnd().empty() ? "nothing" : "something");
  }});
  ASSERT_EQ("OK", connect());
  stop = 1;
  EXPECT_EQ("5: stopped while waiting for 127.0.0.1:PORT to take the request", send());
  EXPECT_EQ("nothing", peer->end());
}

// --- before the last byte of the request: not queued ---

TEST_F(ExchangeFaultsTest, PeerThatNeverReadsTimesOut) {
  EXPECT_EQ("4: 127.0.0.1:PORT did not take the whole request in time",
            sendHuge([](PeerConnection& /*connected*/) { waitUntilReadable(-1); }, kShortMs));
}

TEST_F(ExchangeFaultsTest, StopFlagEndsTheSending) {
  volatile int stop = 0;
  endpoint.stop = &stop;
  makeHuge();
  startPeer({[](PeerConnection& connected) {
    connected.upgrade();
    std::this_thread::sleep_for(std::chrono::seconds(5));
  }});
  ASSERT_EQ("OK", connect());
  SignalStorm::setLater(&stop, 30);
  EXPECT_EQ("5: stopped while waiting for 127.0.0.1:PORT to take the request", send());
}

TEST_F(ExchangeFaultsTest, RefusalWhileSendingIsARefusal) {
  const std::string expected =
      "10, peer 1009: 127.0.0.1:PORT refused the request: close code 1009, too big";
  EXPECT_EQ(expected, sendHuge([](PeerConnection& connected) {
              connected.send(closeFrame(1009, "too big"));
              connected.drain();
            }));
  EXPECT_EQ(expected, sendHuge(sending(closeFrame(1009, "too big")))) << "and a reset";
}

TEST_F(ExchangeFaultsTest, RefusalIsReadEvenWhenTheSendFails) {
  for (const auto& [code, expected] : std::vector<std::pair<std::uint16_t, std::string>>{
           {1008, "10, peer 1008: 127.0.0.1:PORT refused the request: close code 1008"},
           {1000, "9, peer 1000: 127.0.0.1:PORT has closed the connection: close code 1000"}}) {
    std::array<int, 2> gate{};
    ASSERT_EQ(0, pipe2(gate.data(), O_CLOEXEC));
    startPeer({[sent = code, &gate](PeerConnection& connected) {
      connected.upgrade();
      waitUntilReadable(gate[0]);
      connected.send(closeFrame(sent));
      connected.reset();
    }});
    ASSERT_EQ("OK", connect());
    g_beforeSend = [this, &gate] {
      EXPECT_EQ(1, write(gate[1], "x", 1));
      EXPECT_EQ("", peer->end());
    };
    EXPECT_EQ(expected, send());
    close(gate[0]);
    close(gate[1]);
  }
}

TEST_F(ExchangeFaultsTest, OtherCloseWhileSendingLosesTheConnection) {
  EXPECT_EQ("9, peer 1001: 127.0.0.1:PORT has closed the connection: close code 1001",
            sendHuge([](PeerConnection& connected) {
              connected.send(closeFrame(1001));
              connected.drain();
            }));
}

TEST_F(ExchangeFaultsTest, EndWhileSendingLosesTheConnection) {
  EXPECT_EQ("9: 127.0.0.1:PORT has ended the connection", sendHuge([](PeerConnection& connected) {
              connected.finish();
              connected.drain();
            }));
}

TEST_F(ExchangeFaultsTest, ResetWhileSendingLosesTheConnection) {
  const std::string outcome = sendHuge([](PeerConnection& connected) { connected.reset(); });
  EXPECT_TRUE(
      outcome ==
          "9, errno 104: the connection to 127.0.0.1:PORT failed: Connection reset by peer" ||
      outcome == "9, errno 32: the connection to 127.0.0.1:PORT failed: Broken pipe")
      << outcome;
}

TEST_F(ExchangeFaultsTest, ReplyToHalfARequestLosesTheConnection) {
  EXPECT_EQ("9: 127.0.0.1:PORT sent data without being asked",
            sendHuge([](PeerConnection& connected) {
              connected.send(naming("n"));
              connected.drain();
            }));
}

// --- after the last byte of the request: in doubt ---

TEST_F(ExchangeFaultsTest, SilenceAfterTheRequestIsInDoubt) {
  EXPECT_EQ("11, cause 4: the task may be queued: 127.0.0.1:PORT did not reply in time",
            sendBefore([](PeerConnection& connected) { connected.drain(); }, kShortMs));
}

TEST_F(ExchangeFaultsTest, TimeoutOfZeroIsInDoubtOnceTheRequestIsOut) {
  EXPECT_EQ("11, cause 4: the task may be queued: 127.0.0.1:PORT did not reply in time",
            sendBefore([](PeerConnection& connected) { connected.drain(); }, 0));
}

TEST_F(ExchangeFaultsTest, DrippedReplyIsInDoubt) {
  EXPECT_EQ("11, cause 4: the task may be queued: 127.0.0.1:PORT did not reply in time",
            sendBefore(
                [](PeerConnection& connected) {
                  for (const char byte : naming("dripping-and-dripping")) {
                    connected.send(std::string(1, byte));
                    std::this_thread::sleep_for(std::chrono::milliseconds(50));
                  }
                },
                kShortMs));
}

TEST_F(ExchangeFaultsTest, EndlessPingsAreInDoubt) {
  EXPECT_EQ("11, cause 4: the task may be queued: 127.0.0.1:PORT did not reply in time",
            sendBefore(
                [](PeerConnection& connected) {
                  for (;;) {
                    connected.send(frame(kFinal | kPing, "p"));
                  }
                },
                kShortMs));
}

TEST_F(ExchangeFaultsTest, PingsThatComeFasterThanTheyAreReadAreInDoubt) {
  startPeer({[](PeerConnection& connected) {
    connected.upgrade();
    connected.drain();
  }});
  ASSERT_EQ("OK", connect());
  g_beforeSend = [] { g_received = frame(kFinal | kPing, "p"); };
  EXPECT_EQ("11, cause 4: the task may be queued: 127.0.0.1:PORT did not reply in time",
            send(kShortMs));
}

TEST_F(ExchangeFaultsTest, FragmentsWithoutEndAreInDoubt) {
  EXPECT_EQ("11, cause 4: the task may be queued: 127.0.0.1:PORT did not reply in time",
            sendBefore(
                [](PeerConnection& connected) {
                  connected.send(frame(kBinary, ""));
                  for (;;) {
                    connected.send(frame(kContinuation, ""));
                  }
                },
                kShortMs));
}

TEST_F(ExchangeFaultsTest, StopFlagAfterTheRequestIsInDoubt) {
  volatile int stop = 0;
  endpoint.stop = &stop;
  startPeer({[](PeerConnection& connected) {
    connected.upgrade();
    connected.drain();
  }});
  ASSERT_EQ("OK", connect());
  SignalStorm::setLater(&stop, 20);
  EXPECT_EQ(
      "11, cause 5: the task may be queued: stopped while waiting for the reply of "
      "127.0.0.1:PORT",
      send(VELMO_NO_LIMIT));
}

TEST_F(ExchangeFaultsTest, EndAfterTheRequestIsInDoubt) {
  EXPECT_EQ("11, cause 9: the task may be queued: 127.0.0.1:PORT has ended the connection",
            sendBefore([](PeerConnection& connected) { connected.close(); }));
  EXPECT_EQ("11, cause 9: the task may be queued: 127.0.0.1:PORT has ended the connection",
            sendBefore(sending(naming("n").substr(0, 4))));
}

TEST_F(ExchangeFaultsTest, ResetAfterTheRequestIsInDoubt) {
  EXPECT_EQ(
      "11, cause 9, errno 104: the task may be queued: the connection to 127.0.0.1:PORT failed: "
      "Connection reset by peer",
      sendBefore([](PeerConnection& connected) { connected.reset(); }));
}

TEST_F(ExchangeFaultsTest, CloseCodesThatRefuseTheRequestAreNotInDoubt) {
  for (const std::uint16_t code : std::initializer_list<std::uint16_t>{1003, 1007, 1008, 1009}) {
    const std::string number = std::to_string(code);
    EXPECT_EQ("10, peer " + number + ": 127.0.0.1:PORT refused the request: close code " + number +
                  ", no \\xC3\\xA9 today",
              sendAndGet(closeFrame(code, "no \xc3\xa9 today")));
  }
}

TEST_F(ExchangeFaultsTest, OtherCloseCodesAreInDoubt) {
  for (const std::uint16_t code : std::initializer_list<std::uint16_t>{
           1000, 1001, 1002, 1004, 1005, 1006, 1010, 1011, 1012, 3000, 4999}) {
    const std::string number = std::to_string(code);
    EXPECT_EQ(
        "11, cause 9, peer " + number +
            ": the task may be queued: 127.0.0.1:PORT has closed the connection: close code " +
            number,
        sendAndGet(closeFrame(code)));
  }
  EXPECT_EQ(
      "11, cause 9: the task may be queued: 127.0.0.1:PORT has closed the connection: no close "
      "code",
      sendAndGet(frame(kFinal | kClose, "")));
}

TEST_F(ExchangeFaultsTest, PeerThatClosesGetsAnAnswer) {
  const std::string outcome = sendBefore([](PeerConnection& connected) {
    connected.send(closeFrame(1001));
    const auto answer = connected.readFrame();
    tellTest(std::to_string(answer.flags) + (answer.isMasked ? " masked " : " ") +
             (answer.payload == closePayload(1000) ? "1000" : "other"));
  });
  EXPECT_EQ("11", outcome.substr(0, 2));
  EXPECT_EQ("136 masked 1000", peer->end());
}

TEST_F(ExchangeFaultsTest, OtherReplyIsInDoubt) {
  struct Row {
    std::string message;
    std::string what;
  };
  const std::vector<Row> rows{
      {"", "not an AddTaskResponse"},
      {textField(1, textField(1, "n")), "not an AddTaskResponse"},
      {textField(3, textField(1, "n")), "not an AddTaskResponse"},
      {responseNaming("n") + textField(1, ""), "not an AddTaskResponse"},
      {numberField(2, 1), "not an AddTaskResponse"},
      {velmo::test::responseWithoutName(), "an AddTaskResponse without taskName"},
      {textField(2, numberField(1, 1)), "an AddTaskResponse without taskName"},
      {responseNaming("n") + "\xff", "a malformed message"},
      {responseNaming("name").substr(0, 6), "a malformed message"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(
        "11, cause 13: the task may be queued: unexpected reply of 127.0.0.1:PORT: " + row.what,
        sendAndGet(frame(kFinal | kBinary, row.message)));
  }
}

TEST_F(ExchangeFaultsTest, NameThatNoTaskCanHaveIsInDoubt) {
  const std::string start =
      "11, cause 13: the task may be queued: 127.0.0.1:PORT replied with a name that no task can "
      "have: ";
  EXPECT_EQ(start + "\"\"", sendAndGet(naming("")));
  EXPECT_EQ(start + "\"../n\"", sendAndGet(naming("../n")));
  EXPECT_EQ(start + "\"a\\x0Ab\"", sendAndGet(naming("a\nb")));
  EXPECT_EQ(start + "\"a\\x00b\"", sendAndGet(naming(std::string("a\0b", 3))));
  EXPECT_EQ(start + "\"a\\x7F\"", sendAndGet(naming("a\x7f")));
  EXPECT_EQ(start + "\"" + std::string(256, 'n') + "\"", sendAndGet(naming(std::string(256, 'n'))));
}

TEST_F(ExchangeFaultsTest, ReplyAboveOneMebibyteIsInDoubt) {
  const std::string expected =
      "11, cause 13: the task may be queued: the reply of 127.0.0.1:PORT has more than 1 MiB";
  const std::size_t most = std::size_t{1024} * 1024;
  EXPECT_EQ(expected, sendAndGet(frame(kFinal | kBinary, std::string(most + 1, 'x'))));
  EXPECT_EQ(expected, sendAndGet(frames(std::string(most + 1, 'x'), 65536)));
  EXPECT_EQ(expected,
            sendAndGet(velmo::test::longFrameHeader(kFinal | kBinary, (1ULL << 63U) - 1) + "x"));
}

TEST_F(ExchangeFaultsTest, WrongFrameIsInDoubt) {
  struct Row {
    std::string bytes;
    std::string what;
  };
  const std::string start = frame(kBinary, "x");
  const std::vector<Row> rows{
      {velmo::test::clientFrame(kFinal | kBinary, responseNaming("n"), "mask"), "a masked frame"},
      {frame(kFinal | 0x40 | kBinary, responseNaming("n")), "a frame with reserved bits"},
      {frame(kFinal | 0x10 | kPing, ""), "a frame with reserved bits"},
      {frame(kFinal | 0x3, "x"), "a frame with an unknown opcode"},
      {frame(kFinal | 0xb, "x"), "a frame with an unknown opcode"},
      {frame(kLastContinuation, responseNaming("n")), "a continuation of nothing"},
      {start + frame(kFinal | kBinary, "x"), "a message inside another"},
      {start + frame(kFinal | kText, "x"), "a message inside another"},
      {frame(kPing, ""), "a malformed frame"},
      {frame(kFinal | kPing, std::string(126, 'p')), "a malformed frame"},
      {velmo::test::longFrameHeader(kFinal | kBinary, 5) + "xxxxx", "a malformed frame"},
      {velmo::test::longFrameHeader(kFinal | kBinary, 1ULL << 63U) + "x", "a malformed frame"},
      {frame(kFinal | kClose, "x"), "a close frame with half a code"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(
        "11, cause 13: the task may be queued: 127.0.0.1:PORT broke the WebSocket protocol: " +
            row.what,
        sendAndGet(row.bytes));
  }
}

// --- a socket that others share ---

TEST_F(ExchangeFaultsTest, SocketThatSomebodyMadeNonBlockingIsNotAskedInALoop) {
  g_receivesAtOnce = true;
  g_receives = 0;
  EXPECT_EQ("OK n", sendBefore([](PeerConnection& connected) {
              std::this_thread::sleep_for(std::chrono::milliseconds(50));
              connected.send(naming("n"));
            }));
  EXPECT_GE(50, g_receives);
}

}  // namespace
