#include "TaskCounter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "FailureMatcher.h"
#include "PlatformCalls.h"
#include "SystemVKeys.h"

namespace {

using brix::velmo::advanceTaskCounter;
using brix::velmo::IssuedTaskId;
using brix::velmo::Step;
using testing::ElementsAre;
using velmo::test::FakeScope;
using velmo::test::isFailure;
using velmo::test::platform;
using velmo::test::TestSegment;
using velmo::test::UnusedKey;

// --- the segment ---

class TaskCounterTest : public testing::Test {
 protected:
  const FakeScope fakes;
  const TestSegment segment{4};
};

TEST_F(TaskCounterTest, SegmentOf4BytesIsOpenedOrCreatedForEverybodyAndAttachedAnywhere) {
  std::vector<std::string> calls;
  platform().shmget.setFake([&calls](key_t key, size_t size, int flags) {
    calls.push_back("shmget " + std::to_string(size) + " " + std::to_string(flags));
    return platform().shmget.real(key, size, flags);
  });
  platform().shmat.setFake([&calls](int id, const void* address, int flags) {
    EXPECT_EQ(nullptr, address);
    calls.push_back("shmat " + std::to_string(flags));
    return platform().shmat.real(id, address, flags);
  });
  EXPECT_EQ(std::nullopt, advanceTaskCounter(segment.key()).failure);
  EXPECT_THAT(calls, ElementsAre("shmget 4 950", "shmat 0"));
  EXPECT_EQ(0U, segment.attachments());
}

TEST_F(TaskCounterTest, FirstIdentifierOfANewSegmentIs1) {
  EXPECT_EQ(1, advanceTaskCounter(segment.key()).taskId);
  EXPECT_EQ(2, advanceTaskCounter(segment.key()).taskId);
  EXPECT_EQ(2, segment.value());
}

TEST_F(TaskCounterTest, MissingSegmentIsCreated) {
  const UnusedKey key;
  EXPECT_EQ(1, advanceTaskCounter(key.value()).taskId);
  EXPECT_TRUE(key.hasSegment());
  EXPECT_EQ(2, advanceTaskCounter(key.value()).taskId);
}

TEST_F(TaskCounterTest, IdentifierFollowsTheSegmentAndIsStoredThere) {
  const std::vector<std::pair<int, int>> rows{
      {730, 731}, {2147483645, 2147483646}, {2147483646, 0}, {2147483647, INT_MIN}, {-1, 0}};
  for (const auto& [before, taskId] : rows) {
    segment.setValue(before);
    const IssuedTaskId issued = advanceTaskCounter(segment.key());
    EXPECT_EQ(taskId, issued.taskId);
    EXPECT_EQ(std::nullopt, issued.failure);
    EXPECT_EQ(taskId, segment.value());
  }
}

TEST_F(TaskCounterTest, LargerSegmentServesWithItsFirst4Bytes) {
  const TestSegment large(10000);
  large.setValue(41);
  EXPECT_EQ(42, advanceTaskCounter(large.key()).taskId);
  EXPECT_EQ(42, large.value());
}

TEST_F(TaskCounterTest, SegmentThatIsTooSmallIsAFailure) {
  const TestSegment small(1);
  EXPECT_THAT(advanceTaskCounter(small.key()).failure,
              isFailure(Step::GetSegment, std::to_string(small.key()), EINVAL));
}

TEST_F(TaskCounterTest, AnyNegativeAnswerOfShmgetIsAFailure) {
  platform().shmget.setFake([](key_t, size_t, int) {
    errno = ENOSPC;
    return -2;
  });
  EXPECT_THAT(advanceTaskCounter(-4711).failure, isFailure(Step::GetSegment, "-4711", ENOSPC));
}

TEST_F(TaskCounterTest, FailedAttachIsAFailureThatNamesTheSegmentAndTheCounterStays) {
  std::string id;
  platform().shmat.setFake([&id](int segmentId, const void*, int) {
    id = std::to_string(segmentId);
    errno = EACCES;
    return reinterpret_cast<void*>(-1L);  // NOLINT(performance-no-int-to-ptr): how shmat fails
  });
  segment.setValue(730);
  const IssuedTaskId issued = advanceTaskCounter(segment.key());
  EXPECT_THAT(issued.failure, isFailure(Step::AttachSegment, id, EACCES));
  EXPECT_EQ(730, segment.value());
}

TEST_F(TaskCounterTest, FailedDetachIsAFailureAlthoughTheCounterAdvanced) {
  platform().shmdt.setFake([](const void* address) {
    platform().shmdt.real(address);
    errno = EINVAL;
    return -1;
  });
  const std::string id = std::to_string(platform().shmget.real(segment.key(), 4, 0));
  EXPECT_THAT(advanceTaskCounter(segment.key()).failure,
              isFailure(Step::DetachSegment, id, EINVAL));
  EXPECT_EQ(1, segment.value());
}

}  // namespace
