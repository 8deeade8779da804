#include "Report.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace standin {
namespace {

TEST(ReportTest, LineBeginsWithTheProgramAndEndsWithALineFeed) {
  EXPECT_EQ("velmo-standin: all is well\n", reportLine("all is well"));
}

TEST(ReportTest, ControlCharactersBecomeQuestionMarksSoThatAReportStaysOneLine) {
  EXPECT_EQ("velmo-standin: a?b?c?d\n", reportLine("a\nb\x1b"
                                                   "c\x7f"
                                                   "d"));
}

TEST(ReportTest, BytesOfOtherLanguagesStayAsTheyAre) {
  EXPECT_EQ("velmo-standin: caf\xc3\xa9\n", reportLine("caf\xc3\xa9"));
}

TEST(ReportTest, LineOfOutputStandsBehindAMarkWithItsBytesAsTheyAre) {
  testing::internal::CaptureStderr();
  reportOutput("a\tb\x1b");
  EXPECT_EQ("velmo-standin: | a\tb\x1b\n", testing::internal::GetCapturedStderr());
}

TEST(ReportTest, SystemErrorTellsWhatFailedAndWhy) {
  errno = ENOENT;
  EXPECT_STREQ("cannot open x: No such file or directory", systemError("cannot open x").what());
}

}  // namespace
}  // namespace standin
