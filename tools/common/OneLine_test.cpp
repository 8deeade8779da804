#include "OneLine.h"

#include <gtest/gtest.h>

namespace velmo::tools {
namespace {

TEST(OneLineTest, ControlCharactersBecomeQuestionMarks) {
  EXPECT_EQ("a?b?c?d", oneLine("a\nb\x1b"
                               "c\x7f"
                               "d"));
}

TEST(OneLineTest, ControlCharactersBeyondAsciiBecomeQuestionMarksToo) {
  EXPECT_EQ("a?b?c\xc2\xa0", oneLine("a\xc2\x80"
                                     "b\xc2\x9f"
                                     "c\xc2\xa0"));
}

TEST(OneLineTest, CharactersBeyondAsciiStayAsTheyAre) {
  for (const char* text : {"caf\xc3\xa9", "\xe4\xb8\xad", "\xf0\x9f\x98\x80"}) {
    EXPECT_EQ(text, oneLine(text));
  }
}

TEST(OneLineTest, BytesThatAreNotUtf8BecomeQuestionMarks) {
  EXPECT_EQ("a?", oneLine("a\xc2"));
  EXPECT_EQ("?31m?", oneLine("\x9b"
                             "31m\xff"));
  EXPECT_EQ("???x", oneLine("\xe4\xb8\xc3x"));
}

TEST(OneLineTest, LongFormsSurrogatesAndCodesOutOfRangeAreNotUtf8) {
  EXPECT_EQ("??", oneLine("\xc0\x80"));
  EXPECT_EQ("???", oneLine("\xe0\x82\x9b"));
  EXPECT_EQ("????", oneLine("\xf0\x80\x82\x9b"));
  EXPECT_EQ("???", oneLine("\xed\xa0\x80"));
  EXPECT_EQ("????", oneLine("\xf4\x90\x80\x80"));
}

}  // namespace
}  // namespace velmo::tools
