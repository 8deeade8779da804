#include "SubmissionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CapturedLog.h"

namespace {

using brix::velmo::Failure;
using brix::velmo::logged;
using brix::velmo::Step;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using velmo::test::CapturedLog;
using velmo::test::LogCycle;

LogCycle line(const std::string& text) {
  return LogCycle{"CreateTaskFile", 1, 152, 3, text};
}

TEST(SubmissionLogTest, SuccessIsNotLogged) {
  const CapturedLog log;
  EXPECT_FALSE(logged(std::nullopt));
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST(SubmissionLogTest, EachStepHasItsLines) {
  const std::vector<std::pair<Failure, std::vector<LogCycle>>> rows{
      {{Step::TakeClass}, {line("Priority type must be given!\n")}},
      {{Step::TakeCommand}, {line("Command type must be given!\n")}},
      {{Step::ReadKey, "SHARED_VELMO_TASKID"},
       {line("createTaskFile getenv(SHARED_VELMO_TASKID) is NULL")}},
      {{Step::LoadHomePriorities, "/h/priorities.cfg"},
       {line("No file in CreateTaskFile::createPriorityMap(), :/h/priorities.cfg")}},
      {{Step::FindClass, "HIGH"}, {line("Velmo unknown priority:HIGH")}},
      {{Step::FindAdjustment, "UP"}, {line("Velmo unknown delta priority:UP")}},
      {{Step::WaitForJobLock, "Semaphore timed out"},
       {line("CreateTaskFile::generateJobID exception: Semaphore timed out")}},
      {{Step::TakeJobLock, "/d/velmo/jobid"},
       {line("CreateTaskFile::generateJobID the jobid file: /d/velmo/jobid couldn't be locked\n")}},
      {{Step::ParseJobCounter}, {line("Job ID file cannot be parsed\n")}},
      {{Step::WriteJobCounter, "/d/velmo/jobid_tmp", ENOENT},
       {line("Job ID file cannot be created!\n"),
        line("Errno: 2 Strerror: No such file or directory\n")}},
      {{Step::ReadServerIdentity, "no"}, {line("Exception at adding servername: no\n")}},
      {{Step::LockSemaphore}, {line("Couldn't lock the semaphore")}},
      {{Step::UnlockSemaphore}, {line("Couldn't unlock the semaphore")}},
      {{Step::GetSegment, "4711", EINVAL}, {line("createTaskFile shmget error")}},
      {{Step::AttachSegment, "6", EACCES}, {line("createTaskFile shmat error")}},
      {{Step::DetachSegment, "6", EINVAL}, {line("createTaskFile shmdt error")}},
      {{Step::WriteTemporaryFile, "/t/name", EISDIR},
       {line("File cannot be created: /t/name\n"), line("Errno: 21 Strerror: Is a directory\n")}},
      {{Step::FindFreeName, "/q/name", EEXIST},
       {line("CreateTaskFile error: /q/name already existed! (possibly same task ID)\n")}},
      {{Step::MoveIntoQueue, "/t/name", EXDEV, "/q/name"},
       {line("CreateTaskFile error: couldn't rename file: /t/name to file /q/name\n")}},
  };
  for (const auto& [failure, cycles] : rows) {
    const CapturedLog log;
    EXPECT_TRUE(logged(failure));
    EXPECT_THAT(log.cycles(), ElementsAreArray(cycles));
  }
}

TEST(SubmissionLogTest, FailureWithoutAnErrorNumberIsLoggedWithTheNumber0) {
  const CapturedLog log;
  errno = EPERM;
  EXPECT_TRUE(logged(Failure{Step::WriteTemporaryFile, "/t/name"}));
  EXPECT_TRUE(logged(Failure{Step::WriteJobCounter, "/d/velmo/jobid_tmp"}));
  EXPECT_THAT(log.lines(),
              ElementsAre("File cannot be created: /t/name\n", "Errno: 0 Strerror: Success\n",
                          "Job ID file cannot be created!\n", "Errno: 0 Strerror: Success\n"));
}

TEST(SubmissionLogTest, EmptySubjectLeavesItsPlaceEmpty) {
  const CapturedLog log;
  EXPECT_TRUE(logged(Failure{Step::FindClass, ""}));
  EXPECT_THAT(log.lines(), ElementsAre("Velmo unknown priority:"));
}

TEST(SubmissionLogTest, PercentSignsOfASubjectAreNoPlaceholders) {
  const CapturedLog log;
  EXPECT_TRUE(logged(Failure{Step::FindClass, "100% %s %n"}));
  EXPECT_TRUE(logged(Failure{Step::MoveIntoQueue, "%s/a%s", EXDEV, "%s/b%%"}));
  EXPECT_THAT(log.lines(),
              ElementsAre("Velmo unknown priority:100% %s %n",
                          "CreateTaskFile error: couldn't rename file: %s/a%s to file %s/b%%\n"));
}

TEST(SubmissionLogTest, LongSubjectIsNotCut) {
  const CapturedLog log;
  const std::string name(20000, 'x');
  EXPECT_TRUE(logged(Failure{Step::FindClass, name}));
  EXPECT_THAT(log.lines(), ElementsAre("Velmo unknown priority:" + name));
}

}  // namespace
