#include "SystemLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "CapturedLog.h"

namespace {

using testing::ElementsAre;
using velmo::test::CapturedLog;
using velmo::test::LogCycle;

TEST(SystemLogTest, EachLineIsACompleteCycle) {
  const CapturedLog log;
  brix::imutils::logError("Someone", "one");
  brix::imutils::logError("Else", "two\n");
  EXPECT_THAT(log.cycles(), ElementsAre(LogCycle{"Someone", 1, 152, 3, "one"},
                                        LogCycle{"Else", 1, 152, 3, "two\n"}));
}

TEST(SystemLogTest, PercentSignsOfALineAreNotAFormat) {
  const CapturedLog log;
  brix::imutils::logError("Someone", "100% %s %n %m");
  EXPECT_THAT(log.lines(), ElementsAre("100% %s %n %m"));
}

TEST(SystemLogTest, LongLineIsNotCut) {
  const CapturedLog log;
  const std::string text(20000, 'x');
  brix::imutils::logError("Someone", text.c_str());
  EXPECT_THAT(log.lines(), ElementsAre(text));
}

TEST(SystemLogTest, ErrnoLineHasNumberAndText) {
  const CapturedLog log;
  errno = EPERM;
  brix::imutils::logErrno("Someone", ENOENT);
  EXPECT_THAT(log.cycles(),
              ElementsAre(LogCycle{"Someone", 1, 152, 3,
                                   "Errno: 2 Strerror: No such file or directory\n"}));
}

}  // namespace
