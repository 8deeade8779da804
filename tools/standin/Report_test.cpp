#include "Report.h"

#include <gtest/gtest.h>

namespace velmo::standin {
namespace {

TEST(ReportTest, LineBeginsWithTheProgramAndEndsWithALineFeed) {
  EXPECT_EQ("velmo-standin: all is well\n", reportLine("all is well"));
}

TEST(ReportTest, ReportStaysOneLine) {
  EXPECT_EQ("velmo-standin: a?b\n", reportLine("a\nb"));
}

TEST(ReportTest, LineOfOutputIsMarkedAndItsBytesAreUnchanged) {
  testing::internal::CaptureStderr();
  reportOutput("a\tb\x1b");
  EXPECT_EQ("velmo-standin: | a\tb\x1b\n", testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace velmo::standin
