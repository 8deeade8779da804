// The lock of the job counter never returns false. The branch for that case stays, and is reached
// by a program that puts another lock in front of the library's, as this one does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/IMSemaphore.h>

#include "CapturedLog.h"
#include "TaskInstallation.h"

bool brix::imutils::IMSemaphore::lock(int timeoutSeconds) {
  EXPECT_EQ(30, timeoutSeconds);
  return false;
}

namespace {

TEST(RefusedJobLockTest, LockThatIsNotTakenIsLoggedAndGivesAnEmptyIdentifier) {
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

}  // namespace
