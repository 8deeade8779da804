#include "FaultyReply.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <chrono>
#include <future>
#include <string>
#include <system_error>

#include "FileDescriptor.h"
#include "SocketPair.h"
#include "WireMessages.h"

namespace velmo::standin {
namespace {

using std::chrono::milliseconds;
using velmo::test::frame;
using velmo::test::kBinary;
using velmo::test::kFinal;
using velmo::test::kPing;
using velmo::test::responseNaming;

class FaultyReplyTest : public testing::Test {
 protected:
  bool reply(FaultKind kind) {
    return replyFaultily(kind, m_request, m_sockets.server(), m_stop.get());
  }

  // All that is sent before the server closes.
  std::string bytesOf(FaultKind kind) {
    const auto sending = std::async(std::launch::async, [this, kind] {
      EXPECT_TRUE(reply(kind));
      m_sockets.closeServer();
    });
    return m_sockets.client().readToTheEnd();
  }

  std::string properReply() const {
    return frame(kFinal | kBinary, responseNaming(m_request.taskName));
  }

  QueuedRequest m_request{"the request", "T1"};
  velmo::test::SocketPair m_sockets;
  tools::FileDescriptor m_stop{eventfd(0, EFD_CLOEXEC)};
};

TEST_F(FaultyReplyTest, SilentSendsNothingUntilTheClientEnds) {
  m_sockets.client().send("more");
  m_sockets.client().finish();
  EXPECT_FALSE(reply(FaultKind::kSilent));
  m_sockets.closeServer();
  EXPECT_EQ("", m_sockets.client().readToTheEnd());
}

TEST_F(FaultyReplyTest, SilentEndsWithVelmoStandin) {
  eventfd_write(m_stop.get(), 1);
  EXPECT_FALSE(reply(FaultKind::kSilent));
}

TEST_F(FaultyReplyTest, DripSendsTheReplyOneByteEvery50Milliseconds) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(properReply(), bytesOf(FaultKind::kDrip));
  const auto pauses = static_cast<int>(properReply().size()) - 1;
  EXPECT_GE(std::chrono::steady_clock::now() - start, pauses * milliseconds(50));
}

TEST_F(FaultyReplyTest, DripEndsWithTheClient) {
  m_request.taskName.resize(1000, 'x');
  m_sockets.client().reset();
  EXPECT_THROW(reply(FaultKind::kDrip), std::system_error);
}

TEST_F(FaultyReplyTest, ResetAfterRequestSendsNothingAndResetsAtTheClose) {
  EXPECT_FALSE(reply(FaultKind::kResetAfterRequest));
  m_sockets.closeServer();
  EXPECT_TRUE(m_sockets.client().endsWithReset());
}

TEST_F(FaultyReplyTest, ResetAfterReplySendsTheReplyFirst) {
  const std::string expected = properReply();
  EXPECT_FALSE(reply(FaultKind::kResetAfterReply));
  m_sockets.closeServer();
  EXPECT_EQ(expected, m_sockets.client().read(expected.size()));
  EXPECT_TRUE(m_sockets.client().endsWithReset());
}

TEST_F(FaultyReplyTest, WrongReplyIsTheRequest) {
  EXPECT_EQ(frame(kFinal | kBinary, "the request"), bytesOf(FaultKind::kWrongReply));
}

TEST_F(FaultyReplyTest, TooLargeReplyHasANameOf1048577Bytes) {
  const std::string name = "T1" + std::string(1048575, 'x');
  EXPECT_EQ(frame(kFinal | kBinary, responseNaming(name)), bytesOf(FaultKind::kTooLarge));
}

TEST_F(FaultyReplyTest, PingFirstSendsAPingWithAPayloadAndTheReply) {
  EXPECT_EQ(frame(kFinal | kPing, "velmo-standin") + properReply(), bytesOf(FaultKind::kPingFirst));
}

TEST_F(FaultyReplyTest, MaskedReplyIsTheReplyUnderAMask) {
  EXPECT_EQ(velmo::test::clientFrame(kFinal | kBinary, responseNaming("T1"), "\x12\x34\x56\x78"),
            bytesOf(FaultKind::kMasked));
}

}  // namespace
}  // namespace velmo::standin
