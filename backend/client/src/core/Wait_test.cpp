#include "Wait.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "MovedMonotonicClock.h"
#include "PlatformCalls.h"
#include "ShownResult.h"

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using velmo::client::checkTimeout;
using velmo::client::Wait;
using velmo::test::MovedMonotonicClock;
using velmo::test::platform;
using velmo::test::shown;

std::int64_t nanosecondsOf(const timespec& time) {
  return nanoseconds(seconds(time.tv_sec)).count() + time.tv_nsec;
}

class WaitTest : public testing::Test {
 protected:
  const velmo::test::FakeScope m_fakes;
  MovedMonotonicClock m_clock{seconds(1234) + nanoseconds(999'999'999)};
};

/// Records the pauses of nanosleep, which returns at once.
class WaitPauseTest : public WaitTest {
 protected:
  WaitPauseTest() {
    platform().nanosleep.setFake([this](const timespec* pause, timespec* /*remaining*/) {
      m_pauses.push_back(nanosecondsOf(*pause));
      errno = EINTR;
      return m_result;
    });
  }

  int m_result = 0;
  std::vector<std::int64_t> m_pauses;
};

TEST_F(WaitTest, TimeoutOfZeroIsOverAtOnce) {
  const Wait wait(0, nullptr);
  EXPECT_TRUE(wait.isOver());
  EXPECT_EQ(0, wait.sliceMs());
  EXPECT_EQ(0, nanosecondsOf(wait.slice()));
}

TEST_F(WaitTest, IsOverWhenTheTimeoutHasPassed) {
  const Wait wait(1500, nullptr);
  EXPECT_FALSE(wait.isOver());
  m_clock.advance(milliseconds(1500) - nanoseconds(1));
  EXPECT_FALSE(wait.isOver());
  m_clock.advance(nanoseconds(1));
  EXPECT_TRUE(wait.isOver());
  m_clock.advance(hours(1));
  EXPECT_TRUE(wait.isOver());
}

TEST_F(WaitTest, OnlyTheMonotonicClockIsRead) {
  std::set<clockid_t> clocks;
  platform().clock_gettime.setFake([&clocks](clockid_t clock, timespec* result) {
    clocks.insert(clock);
    return platform().clock_gettime.real(clock, result);
  });
  platform().time.setFake([](time_t* /*result*/) {
    ADD_FAILURE() << "time";
    return time_t{0};
  });
  const Wait wait(1000, nullptr);
  EXPECT_FALSE(wait.isOver());
  EXPECT_EQ(200, wait.sliceMs());
  EXPECT_EQ(std::set<clockid_t>{CLOCK_MONOTONIC}, clocks);
}

TEST_F(WaitTest, NoLimitIsNeverOver) {
  const Wait wait(VELMO_NO_LIMIT, nullptr);
  m_clock.advance(hours(24 * 365 * 100));
  EXPECT_FALSE(wait.isOver());
  EXPECT_EQ(200, wait.sliceMs());
}

TEST_F(WaitTest, LongestTimeoutIsExactAlsoAfterYears) {
  m_clock.advance(hours(24 * 365 * 100));
  const Wait wait(INT_MAX, nullptr);
  m_clock.advance(milliseconds(INT_MAX) - nanoseconds(1));
  EXPECT_FALSE(wait.isOver());
  m_clock.advance(nanoseconds(1));
  EXPECT_TRUE(wait.isOver());
}

TEST_F(WaitTest, SliceIsWhatIsLeft) {
  const Wait wait(150, nullptr);
  EXPECT_EQ(150, wait.sliceMs());
  EXPECT_EQ(150'000'000, nanosecondsOf(wait.slice()));
  m_clock.advance(nanoseconds(100'000'001));
  EXPECT_EQ(49'999'999, nanosecondsOf(wait.slice()));
}

TEST_F(WaitTest, SliceIsAtMost200Milliseconds) {
  for (const int timeout : {200, 201, 30'000, INT_MAX, VELMO_NO_LIMIT}) {
    const Wait wait(timeout, nullptr);
    EXPECT_EQ(200, wait.sliceMs()) << timeout;
    EXPECT_EQ(200'000'000, nanosecondsOf(wait.slice())) << timeout;
  }
}

TEST_F(WaitTest, SliceIsWholeWhileTheDeadlineIs200MillisecondsAway) {
  EXPECT_TRUE(Wait(VELMO_NO_LIMIT, nullptr).hasWholeSlice());
  EXPECT_FALSE(Wait(0, nullptr).hasWholeSlice());
  const Wait wait(201, nullptr);
  m_clock.advance(milliseconds(1));
  EXPECT_TRUE(wait.hasWholeSlice());
  m_clock.advance(nanoseconds(1));
  EXPECT_FALSE(wait.hasWholeSlice());
}

TEST_F(WaitTest, SliceInMillisecondsIsRoundedUp) {
  const Wait wait(2, nullptr);
  m_clock.advance(nanoseconds(1));
  EXPECT_EQ(2, wait.sliceMs());
  m_clock.advance(nanoseconds(999'999));
  EXPECT_EQ(1, wait.sliceMs());
  m_clock.advance(nanoseconds(999'999));
  EXPECT_EQ(1, wait.sliceMs());
  EXPECT_EQ(1, nanosecondsOf(wait.slice()));
  m_clock.advance(nanoseconds(1));
  EXPECT_EQ(0, wait.sliceMs());
}

TEST_F(WaitTest, SliceIsZeroAfterTheDeadline) {
  const Wait wait(100, nullptr);
  m_clock.advance(seconds(5));
  EXPECT_EQ(0, wait.sliceMs());
  EXPECT_EQ(0, nanosecondsOf(wait.slice()));
}

TEST_F(WaitTest, WithoutAFlagItIsNeverStopped) {
  EXPECT_FALSE(Wait(0, nullptr).isStopped());
}

TEST_F(WaitTest, IsStoppedWhileTheFlagIsNotZero) {
  volatile int flag = 0;
  const Wait wait(VELMO_NO_LIMIT, &flag);
  EXPECT_FALSE(wait.isStopped());
  for (const int value : {1, -1, INT_MIN}) {
    flag = value;
    EXPECT_TRUE(wait.isStopped()) << value;
  }
  flag = 0;
  EXPECT_FALSE(wait.isStopped());
}

TEST_F(WaitTest, FlagDoesNotChangeTheDeadline) {
  const int flag = 1;
  const Wait wait(1000, &flag);
  EXPECT_FALSE(wait.isOver());
  EXPECT_EQ(200, wait.sliceMs());
}

TEST_F(WaitPauseTest, SleepsAsLongAsGiven) {
  Wait(1000, nullptr).pause(17'000'001);
  Wait(VELMO_NO_LIMIT, nullptr).pause(1);
  EXPECT_EQ((std::vector<std::int64_t>{17'000'001, 1}), m_pauses);
}

TEST_F(WaitPauseTest, DoesNotSleepBeyondTheSlice) {
  Wait(30, nullptr).pause(50'000'000);
  Wait(VELMO_NO_LIMIT, nullptr).pause(std::numeric_limits<std::int64_t>::max());
  Wait(0, nullptr).pause(50'000'000);
  EXPECT_EQ((std::vector<std::int64_t>{30'000'000, 200'000'000, 0}), m_pauses);
}

TEST_F(WaitPauseTest, SignalEndsThePause) {
  m_result = -1;
  Wait(1000, nullptr).pause(17'000'000);
  EXPECT_EQ(1U, m_pauses.size());
}

TEST(CheckTimeoutTest, ZeroAndAboveAndNoLimitAreTaken) {
  for (const int timeout : {VELMO_NO_LIMIT, 0, 1, INT_MAX}) {
    EXPECT_EQ("OK", shown(checkTimeout(timeout))) << timeout;
  }
}

TEST(CheckTimeoutTest, OtherNegativeNumbersAreRefused) {
  for (const int timeout : {-2, -1000, INT_MIN}) {
    EXPECT_EQ("INVALID_ARGUMENT: timeout_ms is out of range: " + std::to_string(timeout),
              shown(checkTimeout(timeout)));
  }
}

}  // namespace
