#include "JobAge.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>

namespace {

using brix::velmo::ageAt;
using brix::velmo::hasExpired;
using brix::velmo::isStaleFile;
using brix::velmo::isSweptAway;

constexpr time_t kEarliest = std::numeric_limits<time_t>::min();
constexpr time_t kLatest = std::numeric_limits<time_t>::max();

TEST(JobAgeTest, AgeIsTheTimeSinceTheLastUse) {
  EXPECT_EQ(30, ageAt(1741007469, 1741007439));
  EXPECT_EQ(0, ageAt(5, 5));
  EXPECT_EQ(-30, ageAt(1741007439, 1741007469)) << "used in the future";
  EXPECT_EQ(10, ageAt(5, -5)) << "used before the epoch";
}

TEST(JobAgeTest, AgeBeyondTheRangeCountsAsTheNearestOneInIt) {
  EXPECT_EQ(kLatest, ageAt(0, kEarliest));
  EXPECT_EQ(kLatest, ageAt(kLatest, -1));
  EXPECT_EQ(kLatest, ageAt(kLatest, kEarliest));
  EXPECT_EQ(kEarliest, ageAt(-2, kLatest));
  EXPECT_EQ(kEarliest, ageAt(kEarliest, 1));
  EXPECT_EQ(kEarliest, ageAt(kEarliest, kLatest));
}

TEST(JobAgeTest, AgeAtTheBoundsOfTheRangeIsExact) {
  EXPECT_EQ(kLatest, ageAt(-1, kEarliest));
  EXPECT_EQ(kEarliest + 1, ageAt(0, kLatest));
  EXPECT_EQ(kEarliest, ageAt(-1, kLatest));
}

TEST(JobAgeTest, JobInMemoryExpiresAtTheMaximumAgeItself) {
  EXPECT_FALSE(hasExpired(99, 100));
  EXPECT_TRUE(hasExpired(100, 100));
  EXPECT_TRUE(hasExpired(101, 100));
}

TEST(JobAgeTest, SweepTakesOnlyJobsBeyondTheMaximumAge) {
  EXPECT_FALSE(isSweptAway(99, 100));
  EXPECT_FALSE(isSweptAway(100, 100));
  EXPECT_TRUE(isSweptAway(101, 100));
}

TEST(JobAgeTest, FileIsStaleAtTheMaximumAgeItself) {
  EXPECT_FALSE(isStaleFile(99, 100));
  EXPECT_TRUE(isStaleFile(100, 100));
  EXPECT_TRUE(isStaleFile(101, 100));
}

TEST(JobAgeTest, MaximumAgeOf0MeansNever) {
  for (const time_t age : {kEarliest, time_t{0}, kLatest}) {
    EXPECT_FALSE(hasExpired(age, 0)) << age;
    EXPECT_FALSE(isStaleFile(age, 0)) << age;
  }
}

TEST(JobAgeTest, MaximumAgeBelow0IsReachedAtOnceExceptFromTheFuture) {
  for (const auto isOver : {hasExpired, isStaleFile}) {
    EXPECT_TRUE(isOver(0, -3));
    EXPECT_TRUE(isOver(-3, -3));
    EXPECT_FALSE(isOver(-4, -3));
  }
}

TEST(JobAgeTest, LargestMaximumAgeIsReachedByTheLargestAgeAlone) {
  EXPECT_FALSE(hasExpired(kLatest - 1, LONG_MAX));
  EXPECT_TRUE(hasExpired(kLatest, LONG_MAX));
  EXPECT_TRUE(isStaleFile(kLatest, LONG_MAX));
  EXPECT_FALSE(isSweptAway(kLatest, LONG_MAX));
}

}  // namespace
