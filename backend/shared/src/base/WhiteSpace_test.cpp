#include "WhiteSpace.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

using brix::imutils::isWhiteSpace;

TEST(WhiteSpaceTest, SixCharactersAreWhiteSpaceAndNoOther) {
  const std::string six = " \t\n\v\f\r";
  for (int character = 0; character < 256; ++character) {
    const bool expected = six.find(static_cast<char>(character)) != std::string::npos;
    EXPECT_EQ(expected, isWhiteSpace(character)) << character;
  }
}

TEST(WhiteSpaceTest, EndOfFileIsNotWhiteSpace) {
  EXPECT_FALSE(isWhiteSpace(EOF));
}

}  // namespace
