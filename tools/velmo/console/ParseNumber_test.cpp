#include "ParseNumber.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

TEST(ParseNumberTest, WholeTextIsTheNumber) {
  int number = 0;
  EXPECT_TRUE(parseNumber("-2147483648", number));
  EXPECT_EQ(-2147483647 - 1, number);
}

TEST(ParseNumberTest, OtherTextLeavesTheNumber) {
  int number = 7;
  for (const char* text : {"", "1x", " 1", "1 ", "+1", "x", "2147483648", "1.5"}) {
    EXPECT_FALSE(parseNumber(text, number)) << text;
  }
  EXPECT_EQ(7, number);
}

TEST(ParseNumberTest, FormatMayExcludeAnExponent) {
  double number = 0;
  EXPECT_TRUE(parseNumber("0.25", number, std::chars_format::fixed));
  EXPECT_EQ(0.25, number);
  EXPECT_FALSE(parseNumber("1e3", number, std::chars_format::fixed));
}

}  // namespace
}  // namespace velmo::cli
