#include "TextArray.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

using velmo::client::copyInto;
using velmo::client::copyName;
using velmo::client::textIn;

TEST(CopyIntoTest, TextEndsWithNulAndTheRestIsUntouched) {
  char array[6] = {'#', '#', '#', '#', '#', '#'};
  copyInto(array, "ab");
  EXPECT_EQ(std::string("ab\0###", 6), std::string(array, sizeof array));
  copyInto(array, "");
  EXPECT_STREQ("", array);
}

TEST(CopyIntoTest, LongestTextLeavesRoomForTheNul) {
  char array[4] = {};
  copyInto(array, "abc");
  EXPECT_STREQ("abc", array);
}

TEST(CopyNameTest, NameOf255BytesFits) {
  std::array<char, VELMO_NAME_SIZE> array{};
  array.fill('#');
  const std::string name(255, 'x');
  copyName(array.data(), name);
  EXPECT_EQ(name, array.data());
}

TEST(CopyNameTest, NullGetsNothing) {
  copyName(nullptr, "name");
}

TEST(TextInTest, TextEndsAtTheFirstNul) {
  const char array[6] = {'a', 'b', '\0', 'c', '\0', 'd'};
  EXPECT_EQ("ab", textIn(array));
}

TEST(TextInTest, ArrayWithoutNulIsTakenWhole) {
  const char array[3] = {'a', 'b', 'c'};
  EXPECT_EQ("abc", textIn(array));
}

}  // namespace
