#include "LineOutcome.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

TEST(LineOutcomeTest, QueuedLineHasTheNameOfItsTask) {
  const LineOutcome outcome{Status::ok, "NAME"};
  EXPECT_EQ("3\tok\tNAME\n", textLine(3, outcome));
  EXPECT_EQ("{\"line\":3,\"status\":\"ok\",\"name\":\"NAME\"}\n", jsonLineOf(3, outcome));
}

TEST(LineOutcomeTest, FailedLineHasTheReason) {
  const LineOutcome outcome{Status::refused, "", "no"};
  EXPECT_EQ("4\trefused\tno\n", textLine(4, outcome));
  EXPECT_EQ("{\"line\":4,\"status\":\"refused\",\"message\":\"no\"}\n", jsonLineOf(4, outcome));
}

TEST(LineOutcomeTest, LineInDoubtHasItsNameIfItIsKnown) {
  const LineOutcome outcome{Status::inDoubt, "NAME", "perhaps"};
  EXPECT_EQ("5\tin_doubt\tperhaps\n", textLine(5, outcome));
  EXPECT_EQ("{\"line\":5,\"status\":\"in_doubt\",\"name\":\"NAME\",\"message\":\"perhaps\"}\n",
            jsonLineOf(5, outcome));
}

TEST(LineOutcomeTest, ControlCharactersBecomeQuestionMarks) {
  EXPECT_EQ("1\tok\ta?b\n", textLine(1, {Status::ok,
                                         "a\x1b"
                                         "b"}));
}

}  // namespace
}  // namespace velmo::cli
