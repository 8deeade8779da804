// The end of a connection, and connections in forked children.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <velmo/velmo.h>

#include <chrono>
#include <functional>
#include <string>

#include "ConnectionTest.h"

namespace {

using velmo::test::closePayload;
using velmo::test::ConnectionTest;
using velmo::test::frame;
using velmo::test::kClose;
using velmo::test::kFinal;
using velmo::test::kPing;
using velmo::test::naming;
using velmo::test::openDescriptors;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::tellTest;
using velmo::test::waitUntilReadable;
using velmo::test::WebSocketFrame;

void tellClose(PeerConnection& connected) {
  const WebSocketFrame last = connected.readFrame();
  const bool isClose = last.isMasked && last.flags == (kFinal | kClose);
  tellTest(isClose && last.payload == closePayload(1000) ? "closed; " : "other; ");
}

long millisecondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               start)
      .count();
}

// Runs `work` in a forked child.
// @return its exit status, or minus the signal that ended it
int inChild(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(work());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class DisconnectTest : public ConnectionTest {};

TEST_F(DisconnectTest, NothingIsDisconnected) {
  velmo_disconnect(nullptr, 0);
  EXPECT_EQ(0, velmo_is_usable(nullptr));
}

TEST_F(DisconnectTest, PeerGetsACloseFrameEvenWithoutAWait) {
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    tellClose(connected);
    tellTest(connected.readToTheEnd().empty() ? "end" : "more");
  }});
  disconnect(0);
  EXPECT_EQ("closed; end", peer->end());
}

TEST_F(DisconnectTest, UnreadDataDoesNotTurnTheEndIntoAReset) {
  startPeer({[](PeerConnection& connected) {
    connected.upgrade();
    connected.send(frame(kFinal | kPing, "x") + naming("unread") +
                   naming(std::string(100000, 'x')));
    tellTest("sent; ");
    tellClose(connected);
    connected.read(1);
  }});
  ASSERT_EQ("OK", connect());
  waitUntilReadable(peer->told());
  disconnect(0);
  EXPECT_EQ("sent; closed; FAILED: the other end has closed", peer->end());
}

TEST_F(DisconnectTest, WaitEndsWithThePeersCloseFrame) {
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    tellClose(connected);
    connected.send(frame(kFinal | kPing, "x") + naming("late"));
    connected.send(frame(kFinal | kClose, closePayload(1000)));
    connected.drain();
  }});
  EXPECT_LT(millisecondsOf([this] { disconnect(kLongMs); }), kLongMs / 2);
  EXPECT_EQ("closed; ", peer->end());
}

TEST_F(DisconnectTest, WaitEndsWithTheEndOfTheConnection) {
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    tellClose(connected);
  }});
  EXPECT_LT(millisecondsOf([this] { disconnect(VELMO_NO_LIMIT); }), kLongMs);
}

TEST_F(DisconnectTest, SilentPeerIsLeftAfterTheTimeout) {
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    connected.drain();
  }});
  const long passed = millisecondsOf([this] { disconnect(kShortMs); });
  EXPECT_GE(passed, kShortMs);
  EXPECT_LE(passed, kShortMs + kToleranceMs);
}

TEST_F(DisconnectTest, EndlessPeerIsLeftAfterTheTimeout) {
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    for (;;) {
      connected.send(frame(kFinal | kPing, std::string(100, 'p')));
    }
  }});
  EXPECT_LE(millisecondsOf([this] { disconnect(kShortMs); }), kShortMs + kToleranceMs);
}

TEST_F(DisconnectTest, StopFlagEndsTheWait) {
  volatile int stop = 0;
  endpoint.stop = &stop;
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    connected.drain();
  }});
  velmo::test::SignalStorm::setLater(&stop, 20);
  EXPECT_LT(millisecondsOf([this] { disconnect(VELMO_NO_LIMIT); }), kLongMs);
}

TEST_F(DisconnectTest, TimeoutThatCannotBeDoesNotWait) {
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    connected.drain();
  }});
  EXPECT_LT(millisecondsOf([this] { disconnect(-2); }), kToleranceMs);
}

TEST_F(DisconnectTest, FailedConnectionIsNotWaitedFor) {
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    connected.drain();
  }});
  EXPECT_EQ("11", send(1).substr(0, 2));
  EXPECT_LT(millisecondsOf([this] { disconnect(VELMO_NO_LIMIT); }), kToleranceMs);
}

TEST_F(DisconnectTest, CallsKeepErrno) {
  startPeer({velmo::test::answering({naming("n")})});
  errno = 99;
  velmo_connection* own = nullptr;
  ASSERT_EQ(VELMO_OK, velmo_connect(&endpoint, kLongMs, &own, nullptr));
  EXPECT_EQ(99, errno);
  EXPECT_EQ(VELMO_OK, velmo_send(own, &task, kLongMs, nullptr, nullptr));
  EXPECT_EQ(99, errno);
  EXPECT_EQ(1, velmo_is_usable(own));
  velmo_disconnect(own, 0);
  EXPECT_EQ(99, errno);
}

// --- in a forked child ---

TEST_F(DisconnectTest, ChildCannotSendOnTheParentsConnection) {
  connectTo({velmo::test::answering({naming("n")})});
  EXPECT_EQ(0, inChild([this] {
              velmo_error error{};
              const velmo_status status = velmo_send(connection, &task, 1000, nullptr, &error);
              const std::string text = error.message;
              return status == VELMO_INVALID_ARGUMENT && !isUsable() &&
                             text ==
                                 "the connection belongs to the parent process; open one in this "
                                 "process"
                         ? 0
                         : 1;
            }));
  EXPECT_EQ("OK n", send());
}

TEST_F(DisconnectTest, ChildThatDisconnectsDoesNotDisturbTheParent) {
  connectTo({[](PeerConnection& connected) {
    connected.upgrade();
    connected.readMessage();
    connected.send(naming("n"));
    tellClose(connected);
  }});
  EXPECT_EQ(0, inChild([this] {
              const std::size_t before = openDescriptors();
              velmo_disconnect(connection, kLongMs);
              return openDescriptors() + 1 == before ? 0 : 1;
            }));
  EXPECT_EQ("OK n", send());
  disconnect(0);
  EXPECT_EQ("closed; ", peer->end());
}

}  // namespace
