#include "TaskSender.h"

#include <gtest/gtest.h>

#include "PeerProcess.h"
#include "TaskInstallation.h"
#include "WebSocketFrame.h"
#include "WireMessages.h"

namespace velmo::cli {
namespace {

using namespace std::chrono_literals;
using test::answering;
using test::naming;
using test::PeerConnection;
using test::PeerProcess;

const Task kTask{"Normal", "true"};
constexpr Timeout kLong = 20s;

// Upgrades, takes a request, and stays silent.
void beSilent(PeerConnection& peer) {
  peer.upgrade();
  peer.readMessage();
  peer.drain();
}

// Upgrades, takes a request, and ends the connection.
void goAway(PeerConnection& peer) {
  peer.upgrade();
  peer.readMessage();
}

Status statusOfSending(TaskSender& sender) {
  try {
    sender.send(kTask);
    return Status::ok;
  } catch (const Error& error) {
    return error.status();
  }
}

Endpoint endpointOf(const PeerProcess& peer) {
  return {"127.0.0.1", peer.port()};
}

TEST(MessageSenderTest, TasksShareOneConnection) {
  PeerProcess peer({answering({naming("first"), naming("second")})});
  {
    MessageSender sender(endpointOf(peer), kLong);
    EXPECT_EQ("first", sender.send(kTask));
    EXPECT_EQ("second", sender.send(kTask));
    EXPECT_FALSE(sender.isLost());
  }
  EXPECT_EQ("", peer.end());
}

TEST(MessageSenderTest, TaskInDoubtLosesItsConnectionAndTheNextOpensAnother) {
  PeerProcess peer({goAway, answering({naming("second")})});
  MessageSender sender(endpointOf(peer), kLong);
  EXPECT_EQ(Status::inDoubt, statusOfSending(sender));
  EXPECT_FALSE(sender.isLost());
  EXPECT_EQ("second", sender.send(kTask));
}

TEST(MessageSenderTest, TaskThatWasNotSentOverAnOldConnectionIsSentOverANewOne) {
  const test::PeerScript closing = [](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(naming("first") + test::frame(test::kFinal | test::kClose, test::closePayload(1001)));
    peer.drain();
  };
  PeerProcess peer({closing, answering({naming("second")})});
  MessageSender sender(endpointOf(peer), kLong);
  EXPECT_EQ("first", sender.send(kTask));
  EXPECT_EQ("second", sender.send(kTask));
}

TEST(MessageSenderTest, ServiceThatCannotBeReachedIsLost) {
  std::optional<PeerProcess> peer(std::in_place, std::vector<test::PeerScript>{});
  const Endpoint endpoint = endpointOf(*peer);
  peer->end();
  peer.reset();
  MessageSender sender(endpoint, kLong);
  EXPECT_EQ(Status::unreachable, statusOfSending(sender));
  EXPECT_TRUE(sender.isLost());
}

TEST(MessageSenderTest, ServiceThatDoesNotReplyIsNotLost) {
  PeerProcess peer({beSilent});
  MessageSender sender(endpointOf(peer), 50ms);
  EXPECT_EQ(Status::inDoubt, statusOfSending(sender));
  EXPECT_FALSE(sender.isLost());
}

TEST(MessageSenderTest, InvalidTaskKeepsTheConnection) {
  PeerProcess peer({answering({naming("second")})});
  MessageSender sender(endpointOf(peer), kLong);
  EXPECT_THROW(sender.send({"Normal", "a\nb"}), Error);
  EXPECT_FALSE(sender.isLost());
  EXPECT_EQ("second", sender.send(kTask));
}

class FileSenderTest : public testing::Test {
 protected:
  FileSenderTest() {
    m_installation.writeConfPriorities("Normal=500\n");
  }

  test::TaskInstallation m_installation;
};

TEST_F(FileSenderTest, TaskIsQueued) {
  FileSender sender(Installation(), kLong, Durability::none);
  const std::string name = sender.send({"Normal", "true", "", "", "J1"});
  EXPECT_EQ(std::vector<std::string>{name}, m_installation.queue());
}

TEST_F(FileSenderTest, MistakeOfATaskLosesNothing) {
  FileSender sender(Installation(), kLong, Durability::none);
  EXPECT_THROW(sender.send({"Nope", "true"}), Error);
  EXPECT_FALSE(sender.isLost());
}

TEST_F(FileSenderTest, ServiceThatIsNotRunningIsLost) {
  m_installation.semaphore.remove();
  FileSender sender(Installation(), kLong, Durability::none);
  EXPECT_EQ(Status::notRunning, statusOfSending(sender));
  EXPECT_TRUE(sender.isLost());
}

TEST_F(FileSenderTest, QueueThatCannotBeWrittenFailsTheTaskWithoutLeftovers) {
  m_installation.directory.setMode("var/taskqueue", 0500);
  FileSender sender(Installation(), kLong, Durability::none);
  {
    const test::UnprivilegedFiles unprivileged;
    EXPECT_EQ(Status::systemError, statusOfSending(sender));
  }
  EXPECT_FALSE(sender.isLost());
  EXPECT_TRUE(m_installation.temporary().empty());
  m_installation.directory.setMode("var/taskqueue", 0700);
}

TEST_F(FileSenderTest, TimeoutLosesTheService) {
  m_installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  FileSender sender(Installation(), 0s, Durability::none);
  EXPECT_EQ(Status::timedOut, statusOfSending(sender));
  EXPECT_TRUE(sender.isLost());
}

}  // namespace
}  // namespace velmo::cli
