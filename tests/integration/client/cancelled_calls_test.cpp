// A thread is cancelled while it is in a call: nothing happens until the call has returned.

#include <gtest/gtest.h>
#include <pthread.h>
#include <velmo/velmo.h>

#include <functional>
#include <string>

#include "ConnectionTest.h"

namespace {

using velmo::test::ConnectionTest;
using velmo::test::naming;
using velmo::test::PeerConnection;

// Cancels a thread that then makes a call. Afterwards the thread comes to a cancellation point.
std::string inCancelledThread(const std::function<void()>& call) {
  struct Run {
    const std::function<void()>& call;
    bool hasReturned = false;
  };
  Run run{call};
  const auto work = [](void* argument) -> void* {
    auto& self = *static_cast<Run*>(argument);
    pthread_cancel(pthread_self());
    self.call();
    self.hasReturned = true;
    pthread_testcancel();
    return nullptr;
  };
  pthread_t thread{};
  pthread_create(&thread, nullptr, work, &run);
  void* result = nullptr;
  pthread_join(thread, &result);
  return std::string(run.hasReturned ? "returned, " : "lost, ") +
         (result == PTHREAD_CANCELED ? "cancelled" : "ended");
}

class CancelledCallsTest : public ConnectionTest {};

TEST_F(CancelledCallsTest, EachCallReturnsFirst) {
  startPeer({velmo::test::answering({naming("n")})});
  const std::string expected = "returned, cancelled";
  velmo_status status = -1;
  EXPECT_EQ(expected, inCancelledThread([&] {
              status = velmo_connect(&endpoint, kLongMs, &connection, nullptr);
            }));
  ASSERT_EQ(VELMO_OK, status);
  EXPECT_EQ(expected, inCancelledThread([&] {
              status = velmo_send(connection, &task, kLongMs, nullptr, nullptr);
            }));
  EXPECT_EQ(VELMO_OK, status);
  EXPECT_EQ(expected, inCancelledThread([&] { velmo_is_usable(connection); }));
  EXPECT_EQ(expected, inCancelledThread([&] {
              velmo_disconnect(connection, kLongMs);
              connection = nullptr;
            }));
  EXPECT_EQ("", peer->end());
}

TEST_F(CancelledCallsTest, CallThatFailsReturnsFirstToo) {
  startPeer({[](PeerConnection& connected) { connected.drain(); }});
  velmo_status status = -1;
  EXPECT_EQ("returned, cancelled", inCancelledThread([&] {
              status = velmo_connect(&endpoint, kShortMs, &connection, nullptr);
            }));
  EXPECT_EQ(VELMO_TIMED_OUT, status);
  EXPECT_EQ("returned, cancelled", inCancelledThread([&] {
              status = velmo_find_service("/nowhere/modules.xml", nullptr, nullptr, nullptr);
            }));
  EXPECT_EQ(VELMO_NOT_CONFIGURED, status);
}

}  // namespace
