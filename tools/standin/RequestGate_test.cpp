#include "RequestGate.h"

#include <gtest/gtest.h>
#include <poll.h>

namespace velmo::standin {
namespace {

bool isReadable(int descriptor) {
  pollfd awaited{descriptor, POLLIN, 0};
  return poll(&awaited, 1, 0) == 1;
}

TEST(RequestGateTest, OpenGateLetsRequestsBeginAndIsNotDone) {
  RequestGate gate;
  EXPECT_NE(nullptr, gate.enter());
  EXPECT_FALSE(gate.isDone());
  EXPECT_FALSE(isReadable(gate.closedDescriptor()));
  EXPECT_FALSE(isReadable(gate.doneDescriptor()));
}

TEST(RequestGateTest, ClosedGateLetsNoRequestBeginAndIsDoneAtOnceWithoutRequests) {
  RequestGate gate;
  gate.close();
  gate.close();
  EXPECT_EQ(nullptr, gate.enter());
  EXPECT_TRUE(gate.isDone());
  EXPECT_TRUE(isReadable(gate.closedDescriptor()));
  EXPECT_TRUE(isReadable(gate.doneDescriptor()));
}

TEST(RequestGateTest, ClosedGateIsDoneWhenTheLastRequestHasEnded) {
  RequestGate gate;
  RequestGate::Pass first = gate.enter();
  RequestGate::Pass second = gate.enter();
  gate.close();
  EXPECT_TRUE(isReadable(gate.closedDescriptor()));
  first.reset();
  EXPECT_FALSE(gate.isDone());
  EXPECT_FALSE(isReadable(gate.doneDescriptor()));
  second.reset();
  EXPECT_TRUE(gate.isDone());
  EXPECT_TRUE(isReadable(gate.doneDescriptor()));
}

}  // namespace
}  // namespace velmo::standin
