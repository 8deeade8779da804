#include "Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace velmo::standin {
namespace {

const std::string kEuro = "\xe2\x82\xac";
const std::string kSmile = "\xf0\x9f\x98\x80";

TEST(Utf8Test, WellFormedTextIsRecognisedUpToTheLastCodePoint) {
  for (const std::string& text :
       {std::string(), std::string("a\0b", 3), std::string("\x7f\xc2\x80\xdf\xbf"),
        std::string("\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80"),
        std::string("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"), kEuro + kSmile}) {
    EXPECT_TRUE(isUtf8(text)) << text;
  }
}

TEST(Utf8Test, OverlongCharactersSurrogatesAndFragmentsAreNotWellFormed) {
  for (const char* text : {"\x80", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80",
                           "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff",
                           "a\xe2\x82", "\xe2\x82z", "\xe2z\x82", "\xf0\x9f\x98"}) {
    EXPECT_FALSE(isUtf8(text)) << text;
  }
}

TEST(Utf8Test, PrefixEndsWithTheLastCharacterThatFits) {
  EXPECT_EQ("", utf8Prefix("", 3));
  EXPECT_EQ("abc", utf8Prefix("abcd", 3));
  EXPECT_EQ("a", utf8Prefix("a" + kEuro, 3));
  EXPECT_EQ("a" + kEuro, utf8Prefix("a" + kEuro, 4));
  EXPECT_EQ("", utf8Prefix(kSmile + "a", 3));
}

TEST(Utf8Test, InvalidBytesBecomeQuestionMarksInAPrefix) {
  EXPECT_EQ("a?b?", utf8Prefix("a\xff"
                               "b\xe2",
                               9));
  EXPECT_EQ("a?", utf8Prefix("a\xff"
                             "b",
                             2));
}

}  // namespace
}  // namespace velmo::standin
