#include "SocketCalls.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <future>
#include <string>
#include <system_error>

#include "FileDescriptor.h"
#include "SocketPair.h"

namespace velmo::standin {
namespace {

constexpr std::chrono::milliseconds kShort{20};

class SocketCallsTest : public testing::Test {
 protected:
  void stop() const {
    eventfd_write(m_stop.get(), 1);
  }

  // The error of sending until the end of the connection is noticed.
  std::error_code errorOfSending() const {
    try {
      for (;;) {
        sendBytes(m_sockets.server(), "x");
      }
    } catch (const std::system_error& failure) {
      return failure.code();
    }
  }

  velmo::test::SocketPair m_sockets;
  tools::FileDescriptor m_stop{eventfd(0, EFD_CLOEXEC)};
};

TEST_F(SocketCallsTest, BytesAndTheEndOfTheConnectionEndAWait) {
  m_sockets.client().send("x");
  EXPECT_TRUE(waitForBytes(m_sockets.server(), -1, std::nullopt));
  char byte = 0;
  ASSERT_EQ(1, recv(m_sockets.server(), &byte, 1, 0));
  m_sockets.client().close();
  EXPECT_TRUE(waitForBytes(m_sockets.server(), -1, std::nullopt));
}

TEST_F(SocketCallsTest, LimitEndsAWait) {
  EXPECT_FALSE(waitForBytes(m_sockets.server(), -1, kShort));
}

TEST_F(SocketCallsTest, StopEndsAWaitUnlessBytesHaveArrived) {
  stop();
  EXPECT_FALSE(waitForBytes(m_sockets.server(), m_stop.get(), std::nullopt));
  m_sockets.client().send("x");
  ASSERT_TRUE(waitForBytes(m_sockets.server(), -1, std::nullopt));
  EXPECT_TRUE(waitForBytes(m_sockets.server(), m_stop.get(), std::nullopt));
}

TEST_F(SocketCallsTest, AllBytesAreSentToAClientThatReadsLater) {
  const int small = 4096;
  setsockopt(m_sockets.server(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
  const std::string bytes(500000, 'x');
  const auto sending =
      std::async(std::launch::async, [&] { sendBytes(m_sockets.server(), bytes); });
  EXPECT_EQ(bytes, m_sockets.client().read(bytes.size()));
}

TEST_F(SocketCallsTest, SendingToAClientThatIsGoneIsAnErrorAndNoSignal) {
  m_sockets.client().reset();
  EXPECT_EQ(std::errc::connection_reset, errorOfSending());
  EXPECT_EQ(std::errc::broken_pipe, errorOfSending());
}

TEST_F(SocketCallsTest, BytesAreDiscardedUntilTheClientEnds) {
  m_sockets.client().send("abc");
  m_sockets.client().close();
  discardBytes(m_sockets.server(), -1, std::nullopt);
  char byte = 0;
  EXPECT_EQ(0, recv(m_sockets.server(), &byte, 1, 0));
}

TEST_F(SocketCallsTest, LimitAndStopEndTheDiscarding) {
  m_sockets.client().send("abc");
  discardBytes(m_sockets.server(), -1, kShort);
  stop();
  discardBytes(m_sockets.server(), m_stop.get(), std::nullopt);
}

}  // namespace
}  // namespace velmo::standin
