#include "Numbering.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using brix::velmo::adjustedPriority;
using brix::velmo::followingJobNumber;
using brix::velmo::followingTaskId;

// --- followingJobNumber ---

TEST(FollowingJobNumberTest, NumberAfter999999Is0) {
  EXPECT_EQ(999999, followingJobNumber(999998));
  EXPECT_EQ(0, followingJobNumber(999999));
}

TEST(FollowingJobNumberTest, NumberBeyondTheLastOneIsFollowedBy0) {
  EXPECT_EQ(0, followingJobNumber(1000000));
  EXPECT_EQ(0, followingJobNumber(INT_MAX));
}

TEST(FollowingJobNumberTest, HasNoLowerBound) {
  EXPECT_EQ(-6, followingJobNumber(-7));
  EXPECT_EQ(0, followingJobNumber(-1));
  EXPECT_EQ(1, followingJobNumber(0));
  EXPECT_EQ(INT_MIN + 1, followingJobNumber(INT_MIN));
}

// --- followingTaskId ---

TEST(FollowingTaskIdTest, IdentifierAfter2147483646Is0) {
  EXPECT_EQ(2147483646, followingTaskId(2147483645));
  EXPECT_EQ(0, followingTaskId(2147483646));
}

TEST(FollowingTaskIdTest, IdentifierAfterTheLargestIntIsTheSmallest) {
  EXPECT_EQ(INT_MIN, followingTaskId(2147483647));
  EXPECT_EQ(INT_MIN + 1, followingTaskId(INT_MIN));
}

TEST(FollowingTaskIdTest, IdentifierIsOneMoreOtherwise) {
  EXPECT_EQ(1, followingTaskId(0));
  EXPECT_EQ(731, followingTaskId(730));
  EXPECT_EQ(-4, followingTaskId(-5));
  EXPECT_EQ(0, followingTaskId(-1));
}

// --- adjustedPriority ---

TEST(AdjustedPriorityTest, SumIsClampedAt0And9999) {
  EXPECT_EQ(9998, adjustedPriority(9990, 8));
  EXPECT_EQ(9999, adjustedPriority(9990, 9));
  EXPECT_EQ(9999, adjustedPriority(9990, 10));
  EXPECT_EQ(1, adjustedPriority(5, -4));
  EXPECT_EQ(0, adjustedPriority(5, -5));
  EXPECT_EQ(0, adjustedPriority(5, -6));
}

TEST(AdjustedPriorityTest, AdjustmentOf0LeavesThePriorityUnclamped) {
  for (const int priority : {INT_MIN, -12, -1, 0, 50, 9999, 10000, 12000, INT_MAX}) {
    EXPECT_EQ(priority, adjustedPriority(priority, 0));
  }
}

TEST(AdjustedPriorityTest, AnyOtherAdjustmentClampsAPriorityOutsideOfTheBounds) {
  EXPECT_EQ(9999, adjustedPriority(12000, -20));
  EXPECT_EQ(9999, adjustedPriority(12000, 1));
  EXPECT_EQ(0, adjustedPriority(-12, 11));
  EXPECT_EQ(8, adjustedPriority(-12, 20));
}

TEST(AdjustedPriorityTest, SumBeyond32BitsIsClampedToo) {
  EXPECT_EQ(9999, adjustedPriority(INT_MAX, INT_MAX));
  EXPECT_EQ(0, adjustedPriority(INT_MIN, INT_MIN));
}

}  // namespace
