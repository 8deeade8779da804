#include "Socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <thread>
#include <utility>

#include "SignalStorm.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::Socket;
using velmo::client::Wait;
using velmo::test::openDescriptors;
using velmo::test::SignalStorm;

class SocketTest : public testing::Test {
 protected:
  SocketTest() {
    std::array<int, 2> ends{};
    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
    socket = Socket(ends[0]);
    peer = Socket(ends[1]);
  }

  std::array<char, 10> buffer{};
  Socket socket;
  Socket peer;
};

TEST_F(SocketTest, BytesGoThrough) {
  EXPECT_EQ(5U, socket.send("bytes").count);
  EXPECT_EQ(5U, peer.receive(buffer.data(), buffer.size()).count);
  EXPECT_EQ("bytes", std::string(buffer.data(), 5));
}

TEST_F(SocketTest, NothingBlocks) {
  EXPECT_TRUE(socket.receive(buffer.data(), buffer.size()).wouldBlock());
  const std::string much(100000, 'x');
  Socket::Attempt attempt;
  do {
    attempt = socket.send(much);
  } while (attempt.error == 0);
  EXPECT_TRUE(attempt.wouldBlock());
  EXPECT_EQ(0U, attempt.count);
}

TEST_F(SocketTest, EndIsNothingWithoutAnError) {
  peer.close();
  const Socket::Attempt attempt = socket.receive(buffer.data(), buffer.size());
  EXPECT_EQ(0U, attempt.count);
  EXPECT_EQ(0, attempt.error);
}

TEST_F(SocketTest, SendToAPeerThatHasGoneRaisesNoSignal) {
  peer.close();
  EXPECT_EQ(EPIPE, socket.send("x").error);
}

TEST_F(SocketTest, WaitEndsWhenSomethingIsThere) {
  peer.send("x");
  EXPECT_EQ(Socket::Readiness::Ready, socket.await(POLLIN, Wait(0, nullptr)));
  EXPECT_EQ(Socket::Readiness::Ready, socket.await(POLLOUT, Wait(0, nullptr)));
}

TEST_F(SocketTest, WaitEndsAtTheDeadlineAndNotWithASignal) {
  const SignalStorm storm;
  const Wait wait(50, nullptr);
  EXPECT_EQ(Socket::Readiness::TimedOut, socket.await(POLLIN, wait));
  EXPECT_TRUE(wait.isOver());
}

TEST_F(SocketTest, WaitEndsWithTheFlag) {
  volatile int stop = 0;
  const SignalStorm storm;
  SignalStorm::setLater(&stop, 10);
  EXPECT_EQ(Socket::Readiness::Stopped, socket.await(POLLIN, Wait(-1, &stop)));
}

TEST_F(SocketTest, ReceiveCanWaitForBytesAndTheEnd) {
  ASSERT_TRUE(socket.allowWaiting());
  std::thread sender([this] {
    peer.send("x");
    peer.close();
  });
  EXPECT_EQ(1U, socket.receiveWaiting(buffer.data(), buffer.size()).count);
  const Socket::Attempt end = socket.receiveWaiting(buffer.data(), buffer.size());
  sender.join();
  EXPECT_EQ(0U, end.count);
  EXPECT_EQ(0, end.error);
}

TEST_F(SocketTest, ReceiveWaitsForLessThanTheSliceOfAWait) {
  fcntl(socket.descriptor(), F_SETFL, O_NONBLOCK);
  ASSERT_TRUE(socket.allowWaiting());
  EXPECT_EQ(0, fcntl(socket.descriptor(), F_GETFL) & O_NONBLOCK);
  timeval limit{};
  socklen_t size = sizeof limit;
  getsockopt(socket.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, &size);
  EXPECT_EQ(0, limit.tv_sec);
  EXPECT_LE(180'000, limit.tv_usec);  // the kernel rounds up to a tick
  EXPECT_GE(200'000, limit.tv_usec);
}

TEST_F(SocketTest, SignalEndsTheWaitOfAReceive) {
  ASSERT_TRUE(socket.allowWaiting());
  const SignalStorm storm;
  EXPECT_EQ(EINTR, socket.receiveWaiting(buffer.data(), buffer.size()).error);
}

TEST_F(SocketTest, OtherCallsDoNotBlockEvenIfReceivesCanWait) {
  ASSERT_TRUE(socket.allowWaiting());
  EXPECT_TRUE(socket.receive(buffer.data(), buffer.size()).wouldBlock());
  const std::string much(100000, 'x');
  while (socket.send(much).error == 0) {
  }
  EXPECT_TRUE(socket.send(much).wouldBlock());
}

TEST_F(SocketTest, WhatIsNotASocketCannotWait) {
  EXPECT_FALSE(Socket().allowWaiting());
}

TEST_F(SocketTest, DescriptorIsClosedOnce) {
  const std::size_t before = openDescriptors();
  Socket moved = std::move(socket);
  EXPECT_EQ(before, openDescriptors());
  moved = Socket(dup(peer.descriptor()));
  EXPECT_EQ(before, openDescriptors());
  moved.close();
  moved.close();
  EXPECT_EQ(before - 1, openDescriptors());
}

}  // namespace
