// If memory runs out while a client submits a task, the call throws std::bad_alloc.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>
#include <string>

#include "ReplacedAllocation.h"
#include "ScriptedPeer.h"
#include "VelmoFacadeWS.h"
#include "WebSocketFrame.h"
#include "WireMessages.h"

namespace {

using velmo::test::frame;
using velmo::test::frames;
using velmo::test::g_untilFailure;
using velmo::test::kClose;
using velmo::test::kFinal;
using velmo::test::PeerConnection;
using velmo::test::PeerListener;
using velmo::test::responseNaming;

// The task has a long name, and the reply consists of many frames.
std::string longName() {
  std::string name(100000, 'x');
  return name;
}

// Answers the first message on each connection, the close frame of a client that has sent no
// request included, and closes in order.
void serveForEver(const PeerListener& listener) {
  const std::string answer =
      frames(responseNaming(longName()), VelmoFacadeWS::s_frameSize) + frame(kFinal | kClose, "");
  for (;;) {
    listener.serve([&answer](PeerConnection& peer) {
      peer.upgrade();
      peer.readMessage();
      peer.send(answer);
      peer.drain();
    });
  }
}

class AnsweringProcess {
 public:
  AnsweringProcess() : m_child(fork()) {
    if (m_child == 0) {
      try {
        serveForEver(m_listener);
      } catch (const std::exception&) {
        _exit(1);
      }
    }
  }
  AnsweringProcess(const AnsweringProcess&) = delete;
  AnsweringProcess& operator=(const AnsweringProcess&) = delete;
  ~AnsweringProcess() {
    kill(m_child, SIGKILL);
    waitpid(m_child, nullptr, 0);
  }

  unsigned short port() const {
    return m_listener.port();
  }

 private:
  PeerListener m_listener;
  pid_t m_child;
};

// Submits a task; one allocation fails after `allocation` others.
std::string submitWithFailureAt(VelmoFacadeWS& client, long allocation) {
  g_untilFailure = allocation;
  try {
    const std::string name = client.addTask("", "", TASK_JAVA_CLASS, "", "", "", "", 0);
    const bool hasFailed = g_untilFailure < 0;
    g_untilFailure = -1;
    return name != longName() ? "another name" : hasFailed ? "whole despite the failure" : "whole";
  } catch (const std::bad_alloc&) {
    return "bad_alloc";
  } catch (const VelmoException& exception) {
    return exception.what();
  }
}

TEST(VelmoFacadeWSAllocationTest, MemoryThatRunsOutLeavesAsBadAlloc) {
  const AnsweringProcess peer;
  std::string outcome;
  long failed = 0;
  for (long allocation = 0; outcome != "whole"; ++allocation) {
    VelmoFacadeWS client("127.0.0.1", peer.port());
    outcome = submitWithFailureAt(client, allocation);
    ASSERT_TRUE(outcome == "bad_alloc" || outcome == "whole") << allocation << ": " << outcome;
    failed += outcome == "bad_alloc" ? 1 : 0;
    ASSERT_LT(allocation, 1000);
  }
  EXPECT_GT(failed, 10);
}

}  // namespace
