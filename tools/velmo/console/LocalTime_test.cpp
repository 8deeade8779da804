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

TEST(LocalTimeTest, DayThatTheMonthDoesNotHaveHasNoMoment) {
  EXPECT_FALSE(momentOf("20250231120000"));
  EXPECT_FALSE(momentOf("20250229120000"));
  EXPECT_FALSE(momentOf("20250431235959"));
  EXPECT_TRUE(momentOf("20240229120000"));
  EXPECT_TRUE(momentOf("20251231235960"));
}

}  // namespace
}  // namespace velmo::cli
