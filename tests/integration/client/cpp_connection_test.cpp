// velmo.hpp over the library: a service elsewhere.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <utility>
#include <vector>
#include <velmo/velmo.hpp>

#include "Later.h"
#include "PeerProcess.h"
#include "TemporaryDirectory.h"
#include "WebSocketFrame.h"
#include "WireMessages.h"

namespace {

using namespace std::chrono_literals;
using velmo::Connection;
using velmo::Endpoint;
using velmo::Error;
using velmo::InDoubt;
using velmo::Status;
using velmo::Task;
using velmo::test::answering;
using velmo::test::Later;
using velmo::test::naming;
using velmo::test::PeerConnection;
using velmo::test::PeerProcess;
using velmo::test::PeerScript;
using velmo::test::tellTest;
using velmo::test::TemporaryDirectory;

const Task kTask{"Normal", "true"};

// Upgrades, takes a request, and stays silent.
void beSilent(PeerConnection& peer) {
  peer.upgrade();
  peer.readMessage();
  peer.drain();
}

Connection connectTo(const PeerProcess& peer) {
  return {Endpoint{"127.0.0.1", peer.port()}, 20s};
}

TEST(CppConnectionTest, TasksAreSentAndTheirNamesReturned) {
  PeerProcess peer({answering({naming("first"), naming("second")})});
  {
    Connection connection = connectTo(peer);
    EXPECT_EQ("first", connection.send(kTask, 20s));
    EXPECT_EQ("second", connection.send(kTask, 20s));
    EXPECT_TRUE(connection.isUsable());
    connection.close(20s);
    EXPECT_FALSE(connection.isUsable());
  }
  EXPECT_EQ("", peer.end());
}

TEST(CppConnectionTest, DestructorSendsACloseFrameWithoutWaiting) {
  const PeerScript tellFrame = [](PeerConnection& peer) {
    peer.upgrade();
    tellTest(peer.readFrame().flags == (velmo::test::kFinal | velmo::test::kClose)
                 ? "a close frame"
                 : "another frame");
    peer.drain();
  };
  PeerProcess peer({tellFrame});
  { const Connection connection = connectTo(peer); }
  EXPECT_EQ("a close frame", peer.end());
}

TEST(CppConnectionTest, MovedConnectionSends) {
  PeerProcess peer({answering({naming("first")})});
  Connection first = connectTo(peer);
  Connection second = std::move(first);
  EXPECT_EQ("first", second.send(kTask, 20s));
}

TEST(CppConnectionTest, SilenceAfterTheRequestIsADoubtWithoutAName) {
  const PeerProcess peer({beSilent});
  Connection connection = connectTo(peer);
  try {
    connection.send(kTask, 50ms);
    FAIL();
  } catch (const InDoubt& doubt) {
    EXPECT_EQ(Status::inDoubt, doubt.status());
    EXPECT_EQ(Status::timedOut, doubt.cause());
    EXPECT_STREQ("", doubt.taskName());
  }
  EXPECT_FALSE(connection.isUsable());
}

TEST(CppConnectionTest, RefusalHasTheCodeOfTheService) {
  const PeerScript refuse = [](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(velmo::test::frame(velmo::test::kFinal | velmo::test::kClose,
                                 velmo::test::closePayload(1008)));
    peer.drain();
  };
  const PeerProcess peer({refuse});
  Connection connection = connectTo(peer);
  try {
    connection.send(kTask, 20s);
    FAIL();
  } catch (const InDoubt&) {
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(Status::refused, error.status());
    EXPECT_EQ(1008, error.peerCode());
  }
}

TEST(CppConnectionTest, StopFlagEndsAWaitWithoutLimit) {
  const PeerProcess peer({beSilent});
  std::atomic<int> stop{0};
  Endpoint endpoint{"127.0.0.1", peer.port()};
  endpoint.stop = &stop;
  Connection connection(endpoint, 20s);
  const Later later(50, [&] { stop = 1; });
  try {
    connection.send(kTask, velmo::Deadline::never());
    FAIL();
  } catch (const InDoubt& doubt) {
    EXPECT_EQ(Status::stopped, doubt.cause());
  }
  EXPECT_EQ(1, stop.load());
}

TEST(CppConnectionTest, NobodyAtTheAddressIsAnErrorWithErrno) {
  try {
    const Connection connection({"127.0.0.1", 1}, 20s);
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(Status::unreachable, error.status());
    EXPECT_EQ(ECONNREFUSED, error.systemError());
    EXPECT_STREQ("cannot connect to 127.0.0.1:1: Connection refused", error.what());
  }
}

TEST(CppConnectionTest, ServiceIsFoundInModulesXml) {
  const TemporaryDirectory directory;
  PeerProcess peer({answering({naming("first")})});
  const std::string file = directory.writeFile(
      "modules.xml", "<system><machine hostname='127.0.0.1'><host websocket-port='" +
                         std::to_string(peer.port()) +
                         "'><module name='velmo'/></host></machine></system>");
  const Endpoint endpoint = velmo::findService(file);
  EXPECT_EQ("127.0.0.1", endpoint.host);
  EXPECT_EQ(peer.port(), endpoint.port);

  Endpoint byFile;
  byFile.modulesXml = file;
  EXPECT_EQ("first", Connection(byFile, 20s).send(kTask, 20s));
}

}  // namespace
