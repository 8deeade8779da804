// A program that interposes both locks of the library, so that neither can be taken. The library's
// own job lock never returns false; the branch for that case exists for such programs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/IMMemSemaphore.h>
#include <velmo/IMSemaphore.h>

#include "CapturedLog.h"
#include "TaskInstallation.h"

bool brix::imutils::IMSemaphore::lock(int timeoutSeconds) {
  EXPECT_EQ(30, timeoutSeconds);
  return false;
}

bool brix::imutils::IMMemSemaphore::lock() {
  return false;
}

namespace {

TEST(RefusedLocksTest, JobLockThatIsNotTakenIsLoggedAndGivesAnEmptyIdentifier) {
  const velmo::test::TaskInstallation installation;
  const velmo::test::CapturedLog log;
  EXPECT_EQ("", CreateTaskFile().generateJobID());
  EXPECT_THAT(log.cycles(),
              testing::ElementsAre(velmo::test::LogCycle{
                  "CreateTaskFile", 1, 152, 3,
                  "CreateTaskFile::generateJobID the jobid file: " +
                      installation.directory.path("data/velmo/jobid") + " couldn't be locked\n"}));
  EXPECT_FALSE(velmo::test::exists(installation.directory.path("data/velmo/jobid")));
}

TEST(RefusedLocksTest, TaskLockThatIsNotTakenIsLoggedAndGivesNoIdentifier) {
  const velmo::test::TaskInstallation installation;
  const velmo::test::CapturedLog log;
  EXPECT_EQ(-1, CreateTaskFile().generateTaskID());
  EXPECT_THAT(log.cycles(), testing::ElementsAre(velmo::test::LogCycle{
                                "CreateTaskFile", 1, 152, 3, "Couldn't lock the semaphore"}));
  EXPECT_EQ(0, installation.counter.value());
  EXPECT_EQ(1, installation.semaphore.value());
}

}  // namespace
