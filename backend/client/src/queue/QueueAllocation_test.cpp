// Memory runs out at each allocation in turn.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <new>
#include <string>

#include "JobNumber.h"
#include "PlatformCalls.h"
#include "ReplacedAllocation.h"
#include "TaskCounter.h"
#include "TaskFile.h"
#include "TaskInstallation.h"

namespace {

using testing::IsEmpty;
using testing::TestParamInfo;
using velmo::client::drawJobNumber;
using velmo::client::drawTaskId;
using velmo::client::Placement;
using velmo::client::placeTaskFile;
using velmo::client::Result;
using velmo::client::Wait;
using velmo::test::FakeScope;
using velmo::test::g_failsForGood;
using velmo::test::g_untilFailure;
using velmo::test::namesIn;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::TaskInstallation;

bool blocksSignals() {
  sigset_t mask{};
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, SIGINT) == 1;
}

/// Whether only one allocation fails, or all after it too.
class QueueAllocationTest : public testing::TestWithParam<bool> {
 protected:
  // Runs `work` again and again, with one more allocation each time, until there are enough.
  // `look` looks at what each run that failed has left behind. Returns how many failed.
  static int runOutOfMemory(const std::function<void()>& work, const std::function<void()>& look) {
    const std::size_t descriptors = openDescriptors();
    for (int failures = 0;; ++failures) {
      bool isOut = false;
      g_failsForGood = GetParam();
      g_untilFailure = failures;
      try {
        work();
      } catch (const std::bad_alloc&) {
        isOut = true;
      }
      g_untilFailure = -1;
      if (!isOut) {
        return failures;
      }
      EXPECT_EQ(descriptors, openDescriptors());
      EXPECT_FALSE(blocksSignals());
      look();
    }
  }

  const TaskInstallation installation;
  const FakeScope fakes;
  const std::string tmp = installation.directory.path("tmp");
  const std::string queue = installation.directory.path("var/taskqueue");
  const std::string data = installation.directory.path("data");
  const std::string lock = installation.directory.path("lock");
  const std::string name = "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh";
  const std::string contents = "true\n";
};

TEST_P(QueueAllocationTest, TaskThatIsNotPlacedForLackOfMemoryIsNowhere) {
  bool isPlaced = false;
  const auto place = [&] {
    const Result<Placement> result = placeTaskFile(tmp, queue, name, contents, true);
    isPlaced = result.isOk() && result.value().isPlaced;
  };
  EXPECT_GT(runOutOfMemory(place,
                           [this] {
                             EXPECT_THAT(installation.temporary(), IsEmpty());
                             EXPECT_THAT(installation.queue(), IsEmpty());
                           }),
            0);
  EXPECT_TRUE(isPlaced);
  EXPECT_EQ(contents, installation.onlyTask());
}

TEST_P(QueueAllocationTest, TaskInDoubtNeverBecomesOneThatIsNotQueued) {
  platform().fsync.setFake([](int descriptor) {
    errno = EIO;
    return (fcntl(descriptor, F_GETFL) & O_DIRECTORY) != 0 ? -1 : 0;
  });
  velmo_status status = VELMO_OK;
  const auto place = [&] {
    const Result<Placement> result = placeTaskFile(tmp, queue, name, contents, true);
    status = result.isOk() ? VELMO_OK : statusOf(result.fault());
  };
  EXPECT_GT(runOutOfMemory(place, [this] { EXPECT_THAT(installation.queue(), IsEmpty()); }), 0);
  EXPECT_EQ(VELMO_IN_DOUBT, status);
  EXPECT_EQ(contents, installation.onlyTask());
}

TEST_P(QueueAllocationTest, NameThatIsTakenLeavesTheOtherFileAlone) {
  installation.directory.writeFile("var/taskqueue/" + name, "another");
  EXPECT_GT(
      runOutOfMemory(
          [&] { EXPECT_FALSE(placeTaskFile(tmp, queue, name, contents, false).value().isPlaced); },
          [this] { EXPECT_EQ("another", installation.onlyTask()); }),
      0);
  EXPECT_EQ("another", installation.onlyTask());
  EXPECT_THAT(installation.temporary(), IsEmpty());
}

TEST_P(QueueAllocationTest, JobNumberThatIsNotIssuedForLackOfMemoryIsNotLost) {
  installation.writeJobCounter("16");
  int number = 0;
  EXPECT_GT(
      runOutOfMemory([&] { number = drawJobNumber(data, lock, true, Wait(0, nullptr)).value(); },
                     [this] {
                       EXPECT_EQ("16", installation.jobCounter());
                       EXPECT_THAT(namesIn(installation.directory.path("data/velmo")),
                                   testing::ElementsAre("jobid"));
                       EXPECT_THAT(namesIn(installation.directory.path("lock")), IsEmpty());
                     }),
      0);
  EXPECT_EQ(17, number);
}

TEST_P(QueueAllocationTest, FailureOfTheJobCounterReleasesTheLock) {
  installation.writeJobCounter("no number");
  std::string failure;
  EXPECT_GT(runOutOfMemory(
                [&] {
                  const Result<int> number = drawJobNumber(data, lock, true, Wait(0, nullptr));
                  failure = number.isOk() ? "" : "failed";
                },
                [this] { EXPECT_THAT(namesIn(installation.directory.path("lock")), IsEmpty()); }),
            0);
  EXPECT_EQ("failed", failure);
}

TEST_P(QueueAllocationTest, LockOfAnotherProcessStays) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "1\n");
  EXPECT_GT(
      runOutOfMemory(
          [&] { EXPECT_FALSE(drawJobNumber(data, lock, true, Wait(0, nullptr)).isOk()); }, [] {}),
      0);
  EXPECT_EQ(1U, namesIn(installation.directory.path("lock")).size());
}

TEST_P(QueueAllocationTest, TaskIdentifierNeedsNoMemory) {
  EXPECT_EQ(0, runOutOfMemory(
                   [this] {
                     EXPECT_TRUE(drawTaskId(installation.counter.key(),
                                            installation.semaphore.key(), Wait(0, nullptr))
                                     .isOk());
                   },
                   [] {}));
}

TEST_P(QueueAllocationTest, TimeoutOfTheTaskCounterLeavesTheSemaphoreAlone) {
  sembuf take{0, -1, SEM_UNDO};
  EXPECT_EQ(0, platform().semop.real(installation.semaphore.id(), &take, 1));
  EXPECT_GT(runOutOfMemory(
                [this] {
                  EXPECT_FALSE(drawTaskId(installation.counter.key(), installation.semaphore.key(),
                                          Wait(0, nullptr))
                                   .isOk());
                },
                [this] { EXPECT_EQ(0, installation.semaphore.value()); }),
            0);
}

INSTANTIATE_TEST_SUITE_P(Memory, QueueAllocationTest, testing::Values(false, true),
                         [](const TestParamInfo<bool>& run) {
                           return run.param ? "FailsForGood" : "FailsOnce";
                         });

}  // namespace
