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

TEST(OneLineTest, CharacterThatIsCutOffStaysAsItIs) {
  EXPECT_EQ("a\xc2", oneLine("a\xc2"));
}

TEST(OneLineTest, BytesBeyondAsciiStayAsTheyAre) {
  EXPECT_EQ("caf\xc3\xa9", oneLine("caf\xc3\xa9"));
}

}  // namespace
}  // namespace velmo::tools
