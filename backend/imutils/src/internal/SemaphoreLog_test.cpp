#include "SemaphoreLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "CapturedLog.h"

namespace {

using brix::imutils::logSemaphoreFailure;
using brix::imutils::SemaphoreCall;
using testing::ElementsAre;
using velmo::test::CapturedLog;
using velmo::test::LogCycle;

TEST(SemaphoreLogTest, EachCallHasItsLineWithTheNumberAtItsEnd) {
  const CapturedLog log;
  logSemaphoreFailure(SemaphoreCall::Get, "4711");
  logSemaphoreFailure(SemaphoreCall::Init, "5");
  logSemaphoreFailure(SemaphoreCall::Lock, "5");
  logSemaphoreFailure(SemaphoreCall::Unlock, "5");
  logSemaphoreFailure(SemaphoreCall::Close, "-1");
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore constructor - semget failed for key4711",
                                       "Semaphore init - semctl failed for id:5",
                                       "Semaphore lock - semop failed for id:5",
                                       "Semaphore unlock - semop failed for id:5",
                                       "Semaphore close - semctl failed for id:-1"));
}

TEST(SemaphoreLogTest, LineIsACycleOfTheSemaphoresIdentity) {
  const CapturedLog log;
  logSemaphoreFailure(SemaphoreCall::Lock, "5");
  EXPECT_THAT(log.cycles(), ElementsAre(LogCycle{"IMMemSemaphore", 1, 152, 3,
                                                 "Semaphore lock - semop failed for id:5"}));
}

TEST(SemaphoreLogTest, LongestNumberIsLoggedWhole) {
  const CapturedLog log;
  logSemaphoreFailure(SemaphoreCall::Get, "-2147483648");
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore constructor - semget failed for key-2147483648"));
}

}  // namespace
