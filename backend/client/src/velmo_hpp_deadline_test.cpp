#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cmath>
#include <limits>
#include <ratio>
#include <type_traits>

#include "velmo.hpp"

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using velmo::Deadline;

// The time that has passed between making a deadline and reading it, for the tests below.
constexpr int kSlackMs = 5000;

void expectAbout(int milliseconds, const Deadline& deadline) {
  EXPECT_LE(deadline.milliseconds(), milliseconds);
  EXPECT_GT(deadline.milliseconds(), milliseconds - kSlackMs);
}

TEST(VelmoHppDeadlineTest, DurationCountsFromNow) {
  expectAbout(10'000, 10s);
  expectAbout(3'600'000, 1h);
  expectAbout(10'500, 10.5s);
  expectAbout(10'500, std::chrono::duration<float>(10.5F));
}

TEST(VelmoHppDeadlineTest, DurationInFractionsIsRoundedUp) {
  // What is left of a fraction of a millisecond is one whole, unless it has passed.
  const steady_clock::time_point until = steady_clock::now() + 100us;
  const int left = Deadline(until).milliseconds();
  EXPECT_TRUE(left == 1 || steady_clock::now() >= until) << left;
}

TEST(VelmoHppDeadlineTest, DurationBelowTheTicksOfTheClockIsNotLost) {
  const auto before = steady_clock::now();
  const Deadline deadline = std::chrono::duration<int, std::pico>(1);
  EXPECT_TRUE(deadline.milliseconds() == 1 || steady_clock::now() > before);
}

TEST(VelmoHppDeadlineTest, ThirdsOfASecondCount) {
  expectAbout(20'000, std::chrono::duration<int, std::ratio<1, 3>>(60));
}

TEST(VelmoHppDeadlineTest, ZeroAndNegativeDurationsHavePassed) {
  EXPECT_EQ(0, Deadline(0s).milliseconds());
  EXPECT_EQ(0, Deadline(-1ns).milliseconds());
  EXPECT_EQ(0, Deadline(std::chrono::nanoseconds::min()).milliseconds());
  EXPECT_EQ(0, Deadline(std::chrono::hours::min()).milliseconds());
  EXPECT_EQ(0, Deadline(-0.5s).milliseconds());
}

TEST(VelmoHppDeadlineTest, NotANumberHasPassed) {
  using Seconds = std::chrono::duration<double>;
  EXPECT_EQ(0, Deadline(Seconds(std::nan(""))).milliseconds());
  EXPECT_EQ(0, Deadline(Seconds(-std::numeric_limits<double>::infinity())).milliseconds());
}

TEST(VelmoHppDeadlineTest, DurationBeyondTheClockIsNever) {
  using Seconds = std::chrono::duration<double>;
  EXPECT_EQ(VELMO_NO_LIMIT, Deadline(std::chrono::nanoseconds::max()).milliseconds());
  EXPECT_EQ(VELMO_NO_LIMIT, Deadline(std::chrono::milliseconds::max()).milliseconds());
  EXPECT_EQ(VELMO_NO_LIMIT, Deadline(std::chrono::hours::max()).milliseconds());
  EXPECT_EQ(VELMO_NO_LIMIT,
            Deadline(Seconds(std::numeric_limits<double>::infinity())).milliseconds());
  EXPECT_EQ(VELMO_NO_LIMIT, Deadline(Seconds(1e300)).milliseconds());
  EXPECT_EQ(VELMO_NO_LIMIT, Deadline(std::chrono::duration<int, std::exa>(1)).milliseconds());
}

TEST(VelmoHppDeadlineTest, DurationJustBelowTheEndOfTheClockIsATime) {
  const auto left = steady_clock::time_point::max() - steady_clock::now();
  EXPECT_EQ(INT_MAX, Deadline(left - 1h).milliseconds());
}

TEST(VelmoHppDeadlineTest, MoreMillisecondsThanAnIntCountAsTheMost) {
  EXPECT_EQ(INT_MAX, Deadline(std::chrono::milliseconds(INT_MAX) + 1h).milliseconds());
  expectAbout(INT_MAX, std::chrono::milliseconds(INT_MAX));
}

TEST(VelmoHppDeadlineTest, TimePointIsTheDeadlineItself) {
  const steady_clock::time_point now = steady_clock::now();
  expectAbout(60'000, now + 60s);
  EXPECT_EQ(0, Deadline(now).milliseconds());
  EXPECT_EQ(0, Deadline(now - 1h).milliseconds());
  EXPECT_EQ(0, Deadline(steady_clock::time_point::min()).milliseconds());
  EXPECT_EQ(0, Deadline(steady_clock::time_point()).milliseconds());
  EXPECT_EQ(VELMO_NO_LIMIT, Deadline(steady_clock::time_point::max()).milliseconds());
}

TEST(VelmoHppDeadlineTest, NeverHasNoLimit) {
  EXPECT_EQ(VELMO_NO_LIMIT, Deadline::never().milliseconds());
}

TEST(VelmoHppDeadlineTest, TwoCallsShareWhatIsLeft) {
  const Deadline deadline = 10s;
  const int first = deadline.milliseconds();
  const steady_clock::time_point later = steady_clock::now() + 3ms;
  while (steady_clock::now() < later) {
  }
  EXPECT_LE(deadline.milliseconds(), first - 2);
}

TEST(VelmoHppDeadlineTest, PlainNumbersDoNotConvert) {
  EXPECT_FALSE((std::is_convertible_v<int, Deadline>));
  EXPECT_FALSE((std::is_convertible_v<std::nullptr_t, Deadline>));
}

}  // namespace
