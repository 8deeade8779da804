// A thread of the program is cancelled while it uses a client. A cancellation is not a C++
// exception, but it unwinds the same frames.

#include <gtest/gtest.h>
#include <pthread.h>
#include <velmo/VelmoFacadeWS.h>

#include <functional>
#include <memory>
#include <string>

#include "ClientProcess.h"
#include "ScriptedPeer.h"
#include "TemporaryDirectory.h"
#include "WebSocketFrame.h"

namespace {

using velmo::test::ClientOutcome;
using velmo::test::frame;
using velmo::test::openDescriptors;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::runAgainst;
using velmo::test::Tell;

// Runs `body` in a thread, which then comes to a cancellation point. Returns what became of it.
std::string inThread(const std::function<void()>& body) {
  std::function<void()> copy = body;
  const auto run = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    pthread_testcancel();
    return nullptr;
  };
  pthread_t thread{};
  pthread_create(&thread, nullptr, run, &copy);
  void* result = nullptr;
  pthread_join(thread, &result);
  return result == PTHREAD_CANCELED ? "cancelled" : "ended";
}

const PeerScript kClosesInOrder = [](PeerConnection& peer) {
  peer.upgrade();
  peer.readMessage();
  peer.send(frame(136, ""));
  peer.drain();
};

TEST(CancelledClientTest, CancellationWaitsForTheEndOfTheHandshake) {
  const ClientOutcome outcome =
      runAgainst({kClosesInOrder}, [](unsigned short port, const Tell& tell) {
        const std::size_t before = openDescriptors();
        bool isDone = false;
        tell(inThread([port, &isDone] {
          pthread_cancel(pthread_self());
          const VelmoFacadeWS client("127.0.0.1", port);
          isDone = true;  // telling is a cancellation point itself
        }));
        tell(isDone ? "done" : "not done");
        tell(std::to_string(openDescriptors() - before));
      });
  EXPECT_EQ("cancelled; done; 0; ", outcome.report) << outcome.errors;
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

TEST(CancelledClientTest, CancellationWaitsForTheEndOfAHandshakeThatIsRefused) {
  const PeerScript refuses = [](PeerConnection& peer) {
    peer.readHead();
    peer.send("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
    peer.drain();
  };
  const ClientOutcome outcome = runAgainst({refuses}, [](unsigned short port, const Tell& tell) {
    bool isDone = false;
    tell(inThread([port, &isDone] {
      pthread_cancel(pthread_self());
      try {
        const VelmoFacadeWS client("127.0.0.1", port);
      } catch (const VelmoException&) {
        isDone = true;
      }
    }));
    tell(isDone ? "refused" : "not refused");
  });
  EXPECT_EQ("cancelled; refused; ", outcome.report) << outcome.errors;
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

TEST(CancelledClientTest, CancellationWaitsForTheEndOfTheDestructor) {
  const ClientOutcome outcome =
      runAgainst({kClosesInOrder}, [](unsigned short port, const Tell& tell) {
        const std::size_t before = openDescriptors();
        bool isDone = false;
        tell(inThread([port, &isDone] {
          auto client = std::make_unique<VelmoFacadeWS>("127.0.0.1", port);
          pthread_cancel(pthread_self());
          client.reset();
          isDone = true;
        }));
        tell(isDone ? "done" : "not done");
        tell(std::to_string(openDescriptors() - before));
      });
  EXPECT_EQ("cancelled; done; 0; ", outcome.report) << outcome.errors;
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

TEST(CancelledClientTest, SubmissionCanBeCancelledAndTheClientStillDestroyed) {
  const ClientOutcome outcome =
      runAgainst({kClosesInOrder}, [](unsigned short port, const Tell& tell) {
        const std::size_t before = openDescriptors();
        bool isDone = false;
        tell(inThread([port, &isDone] {
          VelmoFacadeWS client("127.0.0.1", port);
          pthread_cancel(pthread_self());
          client.addTask("", "", TASK_JAVA_CLASS, "", "", "", "", 0);
          isDone = true;
        }));
        tell(isDone ? "done" : "not done");
        tell(std::to_string(openDescriptors() - before));
      });
  EXPECT_EQ("cancelled; not done; 0; ", outcome.report) << outcome.errors;
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

}  // namespace
