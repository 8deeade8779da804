// Memory runs out at each allocation of a call in turn.

#include <gtest/gtest.h>
#include <velmo/velmo.h>

#include <array>
#include <string>

#include "ConnectionTest.h"
#include "ReplacedAllocation.h"

namespace {

using velmo::test::ConnectionTest;
using velmo::test::frame;
using velmo::test::frames;
using velmo::test::g_alive;
using velmo::test::g_failsForGood;
using velmo::test::g_untilFailure;
using velmo::test::kFinal;
using velmo::test::kPing;
using velmo::test::openDescriptors;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::responseNaming;

constexpr int kMostAllocations = 200;

class AllocationTest : public ConnectionTest {
 protected:
  ~AllocationTest() override {
    g_untilFailure = -1;
    g_failsForGood = false;
  }

  velmo_error error{};
};

// A peer that takes one connection after the other.
PeerScript answeringInPieces() {
  return [](PeerConnection& connected) {
    try {
      connected.upgrade();
      connected.readMessage();
      connected.send(frame(kFinal | kPing, std::string(100, 'p')) +
                     frames(responseNaming(std::string(200, 'n')), 50));
      connected.drain();
    } catch (const std::exception&) {  // the client has given up
    }
  };
}

TEST_F(AllocationTest, ConnectFailsAndLeavesNothingBehind) {
  startPeer(std::vector<PeerScript>(std::size_t{2} * kMostAllocations, answeringInPieces()));
  for (const bool forGood : {false, true}) {
    velmo_status status = VELMO_OUT_OF_MEMORY;
    int failures = 0;
    for (; status == VELMO_OUT_OF_MEMORY && failures < kMostAllocations; ++failures) {
      const std::size_t descriptors = openDescriptors();
      const long alive = g_alive;
      g_failsForGood = forGood;
      g_untilFailure = failures;
      status = velmo_connect(&endpoint, kLongMs, &connection, &error);
      g_untilFailure = -1;
      if (status != VELMO_OK) {
        ASSERT_EQ(VELMO_OUT_OF_MEMORY, status) << error.message;
        ASSERT_STREQ("out of memory", error.message);
        ASSERT_EQ(nullptr, connection);
        ASSERT_EQ(descriptors, openDescriptors());
        ASSERT_EQ(alive, g_alive);
      }
    }
    EXPECT_EQ(VELMO_OK, status);
    EXPECT_GT(failures, 5);
    disconnect(0);
  }
}

TEST_F(AllocationTest, SendFailsInDoubtOnceTheRequestIsOut) {
  startPeer(std::vector<PeerScript>(std::size_t{2} * kMostAllocations, answeringInPieces()));
  for (const bool forGood : {false, true}) {
    velmo_status status = VELMO_OUT_OF_MEMORY;
    int before = 0;
    int after = 0;
    while (status != VELMO_OK && before + after < kMostAllocations) {
      ASSERT_EQ("OK", connect());
      g_failsForGood = forGood;
      g_untilFailure = before + after;
      status = velmo_send(connection, &task, kLongMs, nullptr, &error);
      g_untilFailure = -1;
      if (status == VELMO_OUT_OF_MEMORY) {
        ++before;
        ASSERT_STREQ("out of memory", error.message);
        ASSERT_EQ(0, after);
      } else if (status != VELMO_OK) {
        ++after;
        ASSERT_EQ(VELMO_IN_DOUBT, status) << error.message;
        ASSERT_EQ(VELMO_OUT_OF_MEMORY, error.cause);
        ASSERT_STREQ("the task may be queued: out of memory", error.message);
      }
      ASSERT_EQ(status == VELMO_OK, isUsable());
      disconnect(0);
    }
    EXPECT_EQ(VELMO_OK, status);
    EXPECT_GT(before, 1);
    EXPECT_GT(after, 1);
  }
}

TEST_F(AllocationTest, FindServiceFails) {
  const velmo::test::TemporaryDirectory directory;
  const std::string file =
      directory.writeFile("modules.xml", "<system><machine hostname='" + std::string(100, 'h') +
                                             "'><host websocket-port='" + std::string(30, ',') +
                                             "1'><module name='velmo'/></host></machine></system>");
  velmo_status status = VELMO_OUT_OF_MEMORY;
  int failures = 0;
  for (; status == VELMO_OUT_OF_MEMORY && failures < kMostAllocations; ++failures) {
    const long alive = g_alive;
    g_untilFailure = failures;
    status = velmo_find_service(file.c_str(), nullptr, nullptr, &error);
    g_untilFailure = -1;
    ASSERT_EQ(alive, g_alive);
  }
  EXPECT_EQ(VELMO_OK, status) << error.message;
  EXPECT_GT(failures, 4);
}

}  // namespace
