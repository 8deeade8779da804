#include "LocalTime.h"

#include <gtest/gtest.h>

#include "Environment.h"

namespace velmo::cli {
namespace {

TEST(LocalTimeTest, FourteenDigitsBecomeDateAndTime) {
  EXPECT_EQ("2025-03-03 14:05:09", withSeparators("20250303140509"));
  EXPECT_EQ("2025-03-03T14:05:09", withSeparators("20250303140509", 'T'));
}

TEST(LocalTimeTest, MomentIsInLocalTime) {
  test::Environment environment;
  environment.set("TZ", "UTC-1");
  tzset();
  EXPECT_EQ(1741010709, momentOf("20250303150509"));
}

TEST(LocalTimeTest, DigitsThatAreNoDateHaveNoMoment) {
  EXPECT_FALSE(momentOf("20251399999999"));
  EXPECT_FALSE(momentOf(""));
}

TEST(LocalTimeTest, DurationIsInTheLargestUnitOfWhichItHasTwo) {
  EXPECT_EQ("119 s", roughly(119));
  EXPECT_EQ("2 min", roughly(120));
  EXPECT_EQ("119 min", roughly(7199));
  EXPECT_EQ("2 h", roughly(7200));
  EXPECT_EQ("47 h", roughly(172799));
  EXPECT_EQ("2 d", roughly(172800));
}

}  // namespace
}  // namespace velmo::cli
