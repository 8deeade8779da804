#include "OneLine.h"

#include <gtest/gtest.h>

namespace velmo::tools {
namespace {

TEST(OneLineTest, ControlCharactersBecomeQuestionMarks) {
  EXPECT_EQ("a?b?c?d", oneLine("a\nb\x1b"
                               "c\x7f"
                               "d"));
}

TEST(OneLineTest, BytesBeyondAsciiStayAsTheyAre) {
  EXPECT_EQ("caf\xc3\xa9", oneLine("caf\xc3\xa9"));
}

}  // namespace
}  // namespace velmo::tools
