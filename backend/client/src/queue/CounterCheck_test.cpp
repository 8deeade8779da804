#include "CounterCheck.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <string>
#include <vector>

#include "Findings.h"
#include "HeldProcess.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "SystemVKeys.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::checkJobCounter;
using velmo::client::checkTaskCounter;
using velmo::client::Settings;
using velmo::test::FakeScope;
using velmo::test::Findings;
using velmo::test::HeldProcess;
using velmo::test::platform;
using velmo::test::TemporaryDirectory;
using velmo::test::TestSegment;
using velmo::test::TestSemaphore;
using velmo::test::UnprivilegedFiles;
using velmo::test::UnusedKey;

using Lines = std::vector<std::string>;

// --- checkJobCounter ---

class JobCounterCheckTest : public testing::Test {
 protected:
  JobCounterCheckTest() {
    directory.makeDirectory("data/velmo");
    settings.data.value = directory.path("data");
    settings.lockVar.value = directory.makeDirectory("lock");
  }

  Lines found() const {
    Findings findings;
    checkJobCounter(settings, findings.report());
    return findings.lines();
  }

  const TemporaryDirectory directory;
  const std::string counter = directory.path("data/velmo/jobid");
  const std::string lock = directory.path("lock/semaphore_velmo_jobid");
  Settings settings;
};

TEST_F(JobCounterCheckTest, CounterThatIsMissingOrANumberIsWell) {
  EXPECT_EQ(Lines(), found());
  directory.writeFile("data/velmo/jobid", "16");
  EXPECT_EQ(Lines(), found());
}

TEST_F(JobCounterCheckTest, CounterWithoutANumberIsFound) {
  directory.writeFile("data/velmo/jobid", "garbage");
  EXPECT_EQ(Lines{"the job counter does not hold a number: \"" + counter +
                  "\"; write the last number of a job into it"},
            found());
}

TEST_F(JobCounterCheckTest, CounterThatCannotBeReadIsFound) {
  directory.writeFile("data/velmo/jobid", "16");
  chmod(counter.c_str(), 0);
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ(Lines{"cannot read the job counter \"" + counter +
                  "\": Permission denied; permit the user of the program to read it"},
            found());
}

TEST_F(JobCounterCheckTest, CopyThatWasLeftBehindIsFound) {
  directory.writeFile("data/velmo/jobid_tmp", "17");
  EXPECT_EQ(
      Lines{"a program left a copy of the job counter behind: \"" + counter + "_tmp\"; delete it"},
      found());
}

TEST_F(JobCounterCheckTest, CopyUnderTheLockIsInUse) {
  directory.writeFile("data/velmo/jobid_tmp", "17");
  directory.writeFile("lock/semaphore_velmo_jobid", "");
  ASSERT_EQ(1U, found().size());
  EXPECT_EQ(0U, found()[0].find("the job counter is locked: "));
}

TEST_F(JobCounterCheckTest, LockFileIsFoundWithItsHolder) {
  HeldProcess ended([] {});
  ended.kill();
  directory.writeFile("lock/semaphore_velmo_jobid", std::to_string(ended.pid()) + "\n");
  ASSERT_EQ(1U, found().size());
  EXPECT_EQ(0U, found()[0].find("the job counter is locked: \"" + lock + "\" has existed since "));
  const std::string end = ", made by process " + std::to_string(ended.pid()) +
                          ", which has ended; delete the file if no running program is taking a "
                          "job number";
  EXPECT_EQ(end, found()[0].substr(found()[0].size() - end.size()));
  EXPECT_TRUE(velmo::test::exists(lock));
}

TEST_F(JobCounterCheckTest, VariablesThatAreUnusableAreNotLookedAt) {
  directory.writeFile("data/velmo/jobid", "garbage");
  directory.writeFile("lock/semaphore_velmo_jobid", "");
  settings = Settings();
  EXPECT_EQ(Lines(), found());
}

// --- checkTaskCounter ---

class TaskCounterCheckTest : public testing::Test {
 protected:
  TaskCounterCheckTest() {
    settings.semaphoreTaskId.value = key;
    settings.sharedTaskId.value = std::to_string(segment.key());
  }

  Lines found() const {
    Findings findings;
    checkTaskCounter(settings, root.path().string(), findings.report());
    return findings.lines();
  }

  const FakeScope fakes;
  const TemporaryDirectory root;
  const TestSemaphore semaphore{1};
  const TestSegment segment{4};
  const std::string key = std::to_string(semaphore.key());
  Settings settings;
};

TEST_F(TaskCounterCheckTest, NothingIsFoundWhenAllIsWell) {
  EXPECT_EQ(Lines(), found());
  EXPECT_EQ(1, semaphore.value());
  EXPECT_EQ(0, segment.value());
  EXPECT_EQ(0U, segment.attachments());
}

TEST_F(TaskCounterCheckTest, UnusableKeysAreFound) {
  settings.sharedTaskId.value = "0";
  settings.semaphoreTaskId.value.clear();
  EXPECT_EQ(
      (Lines{"SHARED_VELMO_TASKID is not a decimal key other than 0: \"0\"; set it to the key that "
             "the service uses",
             "SEMAPHORE_VELMO_TASKID is not set; set it in the environment of the program, or in "
             "its settings"}),
      found());
}

TEST_F(TaskCounterCheckTest, MissingObjectsAreFoundAndNotCreated) {
  const UnusedKey unused;
  settings.sharedTaskId.value = settings.semaphoreTaskId.value = unused.text();
  EXPECT_EQ((Lines{"the service is not running: its task counter, key " + unused.text() +
                       ", is missing; start the service",
                   "the service is not running: the semaphore of its task counter, key " +
                       unused.text() + ", is missing; start the service"}),
            found());
  EXPECT_FALSE(unused.hasSegment());
  EXPECT_FALSE(unused.hasSemaphore());
}

TEST_F(TaskCounterCheckTest, SemaphoreThatWasNeverInitialisedIsFound) {
  const TestSemaphore fresh(0);
  settings.semaphoreTaskId.value = std::to_string(fresh.key());
  EXPECT_EQ(Lines{"the service is not running: the semaphore of its task counter, key " +
                  settings.semaphoreTaskId.value + ", was never initialised; restart the service"},
            found());
}

TEST_F(TaskCounterCheckTest, SemaphoreThatIsTakenIsFoundWithItsTaker) {
  const HeldProcess taker([this] {
    sembuf take{0, -1, SEM_UNDO};
    ASSERT_EQ(0, semop(semaphore.id(), &take, 1));
  });
  EXPECT_EQ(
      Lines{"the task counter is locked: semaphore with the key " + key + ", process " +
            std::to_string(taker.pid()) + " took it last; if it stays so, restart the service"},
      found());
}

TEST_F(TaskCounterCheckTest, SemaphoreAbove1IsFound) {
  semaphore.setValue(2);
  EXPECT_EQ(Lines{"the semaphore of the task counter, key " + key +
                  ", has the value 2, so that several programs can take a number at once; restart "
                  "the service"},
            found());
}

TEST_F(TaskCounterCheckTest, SetOfSeveralSemaphoresIsFound) {
  const UnusedKey unused;
  ASSERT_GE(semget(unused.value(), 3, IPC_CREAT | 0600), 0);
  settings.semaphoreTaskId.value = unused.text();
  EXPECT_EQ(Lines{"the semaphore with the key " + unused.text() +
                  " is not that of a task counter: its set has 3 semaphores; set the key that the "
                  "service uses"},
            found());
}

TEST_F(TaskCounterCheckTest, SegmentThatIsTooSmallIsFound) {
  const TestSegment small(2);
  settings.sharedTaskId.value = std::to_string(small.key());
  EXPECT_EQ(Lines{"the shared memory with the key " + settings.sharedTaskId.value +
                  " is not a task counter: it has 2 bytes; set the key that the service uses"},
            found());
}

TEST_F(TaskCounterCheckTest, ObjectsThatTheUserMayNotUseAreFound) {
  const auto refuse = [] {
    errno = EACCES;
    return -1;
  };
  platform().shmget.setFake([&](key_t, size_t, int) { return refuse(); });
  platform().semget.setFake([&](key_t, int, int) { return refuse(); });
  EXPECT_EQ((Lines{"cannot use the shared memory with the key " + settings.sharedTaskId.value +
                       ": Permission denied; permit the user of the program to read and write it",
                   "cannot use the semaphore with the key " + key +
                       ": Permission denied; permit the user of the program to read and alter it"}),
            found());
}

TEST_F(TaskCounterCheckTest, ObjectsOfAnOrdinaryUserAreFoundWhereSystemdRemovesThem) {
  const uid_t owner = geteuid() == 0 ? 1234 : geteuid();  // only root can give objects away
  shmid_ds status{};
  const int id = shmget(segment.key(), 0, 0);
  ASSERT_EQ(0, shmctl(id, IPC_STAT, &status));
  status.shm_perm.uid = owner;
  ASSERT_EQ(0, shmctl(id, IPC_SET, &status));
  EXPECT_EQ(Lines(), found());
  root.makeDirectory("run/systemd/system");
  EXPECT_EQ("the task counter belongs to the user with the number " + std::to_string(owner) +
                ", and systemd removes it when this user logs out; set RemoveIPC=no in "
                "\"/etc/systemd/logind.conf\", or run the service as a system user",
            found().at(0));
}

}  // namespace
