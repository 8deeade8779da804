#include "DecimalText.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>

namespace {

using brix::imutils::DecimalText;

std::string written(long number, std::size_t width = 0) {
  const DecimalText text(number, width);
  return std::string(std::string_view(text));
}

std::string asPrintfWrites(long number, int width) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%0*ld", width, number);
  return text.data();
}

TEST(DecimalTextTest, NumberHasNoMoreDigitsThanItNeeds) {
  EXPECT_EQ("0", written(0));
  EXPECT_EQ("7", written(7));
  EXPECT_EQ("-7", written(-7));
  EXPECT_EQ("2147483647", written(INT_MAX));
  EXPECT_EQ("-2147483648", written(INT_MIN));
  EXPECT_EQ("9223372036854775807", written(LONG_MAX));
  EXPECT_EQ("-9223372036854775808", written(LONG_MIN));
}

TEST(DecimalTextTest, ZerosFillTheWidthBehindTheSign) {
  EXPECT_EQ("0000", written(0, 4));
  EXPECT_EQ("0007", written(7, 4));
  EXPECT_EQ("-007", written(-7, 4));
}

TEST(DecimalTextTest, WidthCutsNothing) {
  EXPECT_EQ("12345", written(12345, 4));
  EXPECT_EQ("-12345", written(-12345, 4));
}

TEST(DecimalTextTest, WidthIsAtMost20) {
  EXPECT_EQ("00000000000000000007", written(7, 21));
  EXPECT_EQ("-0000000000000000007", written(-7, 1000));
}

TEST(DecimalTextTest, NumbersReadAsPrintfWritesThem) {
  std::mt19937_64 random(20261122);
  for (int i = 0; i < 100000; ++i) {
    const auto number = static_cast<long>(random()) >> (random() % 64);
    const auto width = static_cast<int>(random() % 21);
    ASSERT_EQ(asPrintfWrites(number, width), written(number, static_cast<std::size_t>(width)));
  }
}

}  // namespace
