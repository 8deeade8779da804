#include "TaskCounter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "HeldProcess.h"
#include "Later.h"
#include "MovedMonotonicClock.h"
#include "ParallelProcesses.h"
#include "PlatformCalls.h"
#include "ShownResult.h"
#include "Stopwatch.h"
#include "SystemVKeys.h"
#include "TimerSignals.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using velmo::client::drawTaskId;
using velmo::client::Wait;
using velmo::test::FakeScope;
using velmo::test::HeldProcess;
using velmo::test::inProcesses;
using velmo::test::Later;
using velmo::test::MovedMonotonicClock;
using velmo::test::platform;
using velmo::test::shown;
using velmo::test::Stopwatch;
using velmo::test::TestSegment;
using velmo::test::TestSemaphore;
using velmo::test::TimerSignals;
using velmo::test::UnusedKey;

constexpr int kForEver = VELMO_NO_LIMIT;

class DrawTaskIdTest : public testing::Test {
 protected:
  // The identifier, or the failure, as text.
  std::string draw(int timeoutMs = 0, const volatile int* stop = nullptr) const {
    return shown(drawTaskId(segment.key(), semaphore.key(), Wait(timeoutMs, stop)));
  }

  std::string drawFrom(int segmentKey, int semaphoreKey, int timeoutMs = kForEver) const {
    return shown(drawTaskId(segmentKey, semaphoreKey, Wait(timeoutMs, nullptr)));
  }

  // Changes the semaphore as another client of the service does.
  void change(int by) const {
    sembuf operation{0, static_cast<short>(by), SEM_UNDO};
    EXPECT_EQ(0, platform().semop.real(semaphore.id(), &operation, 1));
  }

  std::string key() const {
    return std::to_string(semaphore.key());
  }

  // The failure of a wait that ran out, while this process holds the semaphore.
  std::string timedOutText() const {
    return "TIMED_OUT: the task counter is locked: semaphore with the key " + key() + ", process " +
           std::to_string(getpid()) + " took it last";
  }

  const FakeScope fakes;
  const TestSemaphore semaphore{1};
  const TestSegment segment{4};
};

// --- the counter ---

TEST_F(DrawTaskIdTest, IdentifierFollowsTheLastOneAndIsStored) {
  const std::vector<std::pair<int, int>> rows{
      {0, 1}, {730, 731}, {2147483645, 2147483646}, {2147483646, 0}, {-1, 0}};
  for (const auto& [last, taskId] : rows) {
    segment.setValue(last);
    EXPECT_EQ(std::to_string(taskId), draw());
    EXPECT_EQ(taskId, segment.value());
    EXPECT_EQ(1, semaphore.value());
  }
  EXPECT_EQ(0U, segment.attachments());
}

TEST_F(DrawTaskIdTest, IdentifierBelow0IsRefusedAndNotStored) {
  for (const int last : {2147483647, -2, -2147483647 - 1}) {
    segment.setValue(last);
    EXPECT_EQ("NOT_CONFIGURED: the task counter, shared memory with the key " +
                  std::to_string(segment.key()) + ", cannot be advanced: it holds " +
                  std::to_string(last),
              draw());
    EXPECT_EQ(last, segment.value());
    EXPECT_EQ(1, semaphore.value());
  }
  EXPECT_EQ(0U, segment.attachments());
}

TEST_F(DrawTaskIdTest, LargerSegmentServesWithItsFirst4Bytes) {
  const TestSegment large(10000);
  large.setValue(41);
  EXPECT_EQ("42", drawFrom(large.key(), semaphore.key()));
}

TEST_F(DrawTaskIdTest, SegmentThatIsTooSmallIsRefused) {
  const TestSegment small(3);
  EXPECT_EQ("NOT_CONFIGURED: the shared memory with the key " + std::to_string(small.key()) +
                " is not a task counter: it has 3 bytes",
            drawFrom(small.key(), semaphore.key()));
  EXPECT_EQ(1, semaphore.value());
}

TEST_F(DrawTaskIdTest, MissingSegmentIsNotRunningAndNotCreated) {
  const UnusedKey missing;
  EXPECT_EQ("NOT_RUNNING: the service is not running: its task counter, key " + missing.text() +
                ", is missing",
            drawFrom(missing.value(), semaphore.key()));
  EXPECT_FALSE(missing.hasSegment());
  EXPECT_EQ(1, semaphore.value());
}

TEST_F(DrawTaskIdTest, MissingSegmentIsReportedBeforeAWaitForTheSemaphore) {
  const UnusedKey missing;
  change(-1);
  EXPECT_EQ("NOT_RUNNING: the service is not running: its task counter, key " + missing.text() +
                ", is missing",
            drawFrom(missing.value(), semaphore.key(), kForEver));
}

TEST_F(DrawTaskIdTest, SegmentThatIsReplacedDuringTheWaitIsLookedUpAnew) {
  std::vector<int> ids;
  platform().shmget.setFake([&ids](key_t key, size_t size, int flags) {
    ids.push_back(platform().shmget.real(key, size, flags));
    return ids.size() == 1 ? 4711 : ids.back();
  });
  change(-1);
  const Later release(20, [this] { change(1); });
  EXPECT_EQ("1", draw(kForEver));
  EXPECT_EQ(2U, ids.size());
}

TEST_F(DrawTaskIdTest, FailedSegmentCallIsASystemErrorAndTheSemaphoreIsReleased) {
  const std::string failure = "SYSTEM_ERROR: cannot use the shared memory with the key " +
                              std::to_string(segment.key()) + ": ";
  platform().shmget.setFake([](key_t, size_t, int) {
    errno = ENFILE;
    return -1;
  });
  EXPECT_EQ(failure + "Too many open files in system", draw());
  platform().reset();
  platform().shmat.setFake([](int, const void*, int) {
    errno = EACCES;
    return reinterpret_cast<void*>(-1L);  // NOLINT(performance-no-int-to-ptr): how shmat fails
  });
  EXPECT_EQ(failure + "Permission denied", draw());
  EXPECT_EQ(0, segment.value());
  platform().reset();
  platform().shmdt.setFake([](const void* address) {
    platform().shmdt.real(address);
    errno = EINVAL;
    return -1;
  });
  EXPECT_EQ(failure + "Invalid argument", draw());
  EXPECT_EQ(1, semaphore.value());
}

TEST_F(DrawTaskIdTest, SegmentThatIsRemovedBeforeItIsAttachedIsNotRunning) {
  for (const int error : {EIDRM, EINVAL}) {
    platform().shmat.setFake([error](int, const void*, int) {
      errno = error;
      return reinterpret_cast<void*>(-1L);  // NOLINT(performance-no-int-to-ptr): how shmat fails
    });
    EXPECT_EQ(std::string("NOT_RUNNING: the service is not running: its task counter, key ") +
                  std::to_string(segment.key()) + ", is missing: " + std::strerror(error),
              draw());
    EXPECT_EQ(1, semaphore.value());
  }
}

// --- the semaphore ---

TEST_F(DrawTaskIdTest, SemaphoreIsTakenAndReleasedWithUndoAndWithoutAWait) {
  std::vector<int> operations;
  platform().semop.setFake([&operations](int id, sembuf* operation, size_t count) {
    EXPECT_EQ(1U, count);
    EXPECT_EQ(0, operation->sem_num);
    EXPECT_EQ(SEM_UNDO | IPC_NOWAIT, operation->sem_flg);
    operations.push_back(operation->sem_op);
    return platform().semop.real(id, operation, count);
  });
  platform().semtimedop.setFake([](int, sembuf*, size_t, const timespec*) {
    ADD_FAILURE() << "waits";
    return -1;
  });
  EXPECT_EQ("1", draw());
  EXPECT_THAT(operations, ElementsAre(-1, 1));
}

TEST_F(DrawTaskIdTest, MissingSemaphoreIsNotRunningAndNotCreated) {
  const UnusedKey missing;
  EXPECT_EQ("NOT_RUNNING: the service is not running: the semaphore of its task counter, key " +
                missing.text() + ", is missing",
            drawFrom(segment.key(), missing.value()));
  EXPECT_FALSE(missing.hasSemaphore());
}

TEST_F(DrawTaskIdTest, SemaphoreThatWasNeverInitialisedIsNotRunningAtOnce) {
  const TestSemaphore fresh{0};
  EXPECT_EQ("NOT_RUNNING: the service is not running: the semaphore of its task counter, key " +
                std::to_string(fresh.key()) + ", was never initialised",
            drawFrom(segment.key(), fresh.key(), kForEver));
}

TEST_F(DrawTaskIdTest, ValueIsReadBeforeTheTimeOfTheLastOperation) {
  std::vector<int> commands;
  platform().semctl.setFake([&commands](int id, int number, int command, long argument) {
    commands.push_back(command);
    return platform().semctl.real(id, number, command, argument);
  });
  change(-1);
  draw();
  EXPECT_THAT(commands, ElementsAre(IPC_STAT, GETVAL, IPC_STAT, GETPID));
}

TEST_F(DrawTaskIdTest, SemaphoreThatIsReleasedBetweenAttemptAndQuestionIsWaitedFor) {
  int attempts = 0;
  platform().semop.setFake([&attempts](int id, sembuf* operation, size_t count) {
    errno = EAGAIN;
    return ++attempts == 1 ? -1 : platform().semop.real(id, operation, count);
  });
  EXPECT_EQ("1", draw(kForEver));  // of value 1, but never operated on
}

TEST_F(DrawTaskIdTest, SetOfSeveralSemaphoresIsNotThatOfACounter) {
  const UnusedKey key;
  ASSERT_GE(semget(key.value(), 2, IPC_CREAT | IPC_EXCL | 0600), 0);
  EXPECT_EQ("NOT_CONFIGURED: the semaphore with the key " + key.text() +
                " is not that of a task counter: its set has 2 semaphores",
            drawFrom(segment.key(), key.value()));
}

TEST_F(DrawTaskIdTest, SemaphoreWithoutPermissionIsASystemError) {
  const std::string failure =
      "SYSTEM_ERROR: cannot use the semaphore with the key " + key() + ": Permission denied";
  platform().semget.setFake([](key_t, int, int) {
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(failure, draw());
  platform().reset();
  platform().semop.setFake([](int, sembuf*, size_t) {
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(failure, draw());
  platform().reset();
  platform().semctl.setFake([](int, int, int, long) {
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(failure, draw());
}

TEST_F(DrawTaskIdTest, SemaphoreThatIsRemovedBeforeItIsTakenIsNotRunning) {
  for (const int error : {EIDRM, EINVAL}) {
    platform().semop.setFake([error](int, sembuf*, size_t) {
      errno = error;
      return -1;
    });
    EXPECT_EQ("NOT_RUNNING: the service has ended: the semaphore of its task counter, key " +
                  key() + ", was removed: " + std::strerror(error),
              draw());
  }
}

TEST_F(DrawTaskIdTest, FailedReleaseIsAFailureAndNotRepeated) {
  int releases = 0;
  platform().semop.setFake([&releases](int id, sembuf* operation, size_t count) {
    releases += operation->sem_op > 0 ? 1 : 0;
    errno = EIDRM;
    return operation->sem_op > 0 ? -1 : platform().semop.real(id, operation, count);
  });
  EXPECT_EQ(
      "SYSTEM_ERROR: cannot release the semaphore with the key " + key() + ": Identifier removed",
      draw());
  EXPECT_EQ(1, releases);
}

TEST_F(DrawTaskIdTest, FailureOfTheCounterComesBeforeThatOfTheRelease) {
  platform().semop.setFake([](int id, sembuf* operation, size_t count) {
    errno = EIDRM;
    return operation->sem_op > 0 ? -1 : platform().semop.real(id, operation, count);
  });
  const UnusedKey missing;
  EXPECT_EQ("NOT_RUNNING: the service is not running: its task counter, key " + missing.text() +
                ", is missing",
            drawFrom(missing.value(), semaphore.key()));
}

// --- waits ---

TEST_F(DrawTaskIdTest, TimeoutOf0NeverWaits) {
  platform().semtimedop.setFake([](int, sembuf*, size_t, const timespec*) {
    ADD_FAILURE() << "waits";
    return -1;
  });
  change(-1);
  EXPECT_EQ(timedOutText(), draw(0));
  EXPECT_EQ(0, segment.value());
}

TEST_F(DrawTaskIdTest, WaitLastsUntilTheDeadline) {
  change(-1);
  const Stopwatch watch;
  EXPECT_EQ(timedOutText(), draw(60));
  EXPECT_GE(watch.elapsedMs(), 60);
}

TEST_F(DrawTaskIdTest, SignalsDoNotShortenTheWait) {
  change(-1);
  const TimerSignals signals;
  const Stopwatch watch;
  EXPECT_EQ(timedOutText(), draw(80));
  EXPECT_GE(watch.elapsedMs(), 80);
  EXPECT_GE(signals.delivered(), 1);
}

TEST_F(DrawTaskIdTest, WaitIsASliceOf200MsOrLess) {
  std::vector<long> slices;
  platform().semtimedop.setFake([&slices](int, sembuf* operation, size_t, const timespec* limit) {
    EXPECT_EQ(-1, operation->sem_op);
    EXPECT_EQ(SEM_UNDO, operation->sem_flg);
    slices.push_back(limit->tv_sec * 1000 + limit->tv_nsec / 1000000);
    errno = slices.size() < 3 ? EAGAIN : EIDRM;
    return -1;
  });
  change(-1);
  EXPECT_EQ("NOT_RUNNING: the service has ended: the semaphore of its task counter, key " + key() +
                ", was removed: Identifier removed",
            draw(kForEver));
  EXPECT_THAT(slices, ElementsAre(200, 200, 200));
}

TEST_F(DrawTaskIdTest, SlicesEndAtTheDeadline) {
  MovedMonotonicClock clock{std::chrono::hours(1)};
  std::vector<long> slices;
  platform().semtimedop.setFake([&](int, sembuf*, size_t, const timespec* limit) {
    const std::chrono::nanoseconds slice(limit->tv_nsec);
    slices.push_back(slice / std::chrono::milliseconds(1));
    clock.advance(slice);
    errno = EAGAIN;
    return -1;
  });
  change(-1);
  EXPECT_EQ(timedOutText(), draw(450));
  EXPECT_THAT(slices, ElementsAre(200, 200, 50));
}

TEST_F(DrawTaskIdTest, SemaphoreThatIsReleasedDuringTheWaitIsTaken) {
  change(-1);
  const Later release(20, [this] { change(1); });
  EXPECT_EQ("1", draw(kForEver));
  EXPECT_EQ(1, semaphore.value());
}

TEST_F(DrawTaskIdTest, SemaphoreThatIsRemovedDuringTheWaitIsNotRunning) {
  change(-1);
  const Later removal(20, [this] { semaphore.remove(); });
  EXPECT_EQ("NOT_RUNNING: the service has ended: the semaphore of its task counter, key " + key() +
                ", was removed: Identifier removed",
            draw(kForEver));
}

TEST_F(DrawTaskIdTest, StopFlagEndsTheWait) {
  volatile int stop = 0;
  change(-1);
  const Later setStop(20, [&stop] { stop = 1; });
  EXPECT_EQ("STOPPED: stopped while waiting for the semaphore with the key " + key(),
            draw(kForEver, &stop));
  EXPECT_TRUE(stop == 1);
}

TEST_F(DrawTaskIdTest, StopFlagIsLookedAtAfterASignal) {
  volatile int stop = 0;
  platform().semtimedop.setFake([&stop](int, sembuf*, size_t, const timespec*) {
    stop = 1;
    errno = EINTR;
    return -1;
  });
  change(-1);
  EXPECT_EQ("STOPPED: stopped while waiting for the semaphore with the key " + key(),
            draw(kForEver, &stop));
}

TEST_F(DrawTaskIdTest, StopFlagDoesNotMatterWithoutAWait) {
  const volatile int stop = 1;
  EXPECT_EQ("1", draw(kForEver, &stop));
}

// --- other processes ---

TEST_F(DrawTaskIdTest, HolderThatHasEndedWithoutUndoIsNamed) {
  HeldProcess holder([this] {
    sembuf operation{0, -1, 0};
    platform().semop.real(semaphore.id(), &operation, 1);
  });
  holder.kill();
  EXPECT_EQ("TIMED_OUT: the task counter is locked: semaphore with the key " + key() +
                ", process " + std::to_string(holder.pid()) + ", which has ended, took it last",
            draw());
}

TEST_F(DrawTaskIdTest, HolderThatIsKilledLetsTheWaiterOn) {
  HeldProcess holder([this] { change(-1); });
  const Later killing(20, [&holder] { holder.kill(); });
  EXPECT_EQ("1", draw(kForEver));
  EXPECT_EQ(1, semaphore.value());
}

TEST_F(DrawTaskIdTest, ProcessThatDiesInTheMiddleReleasesTheSemaphore) {
  EXPECT_THAT(
      inProcesses(1,
                  [this](int) {
                    platform().shmdt.setFake([](const void*) { return raise(SIGKILL); });
                    return drawTaskId(segment.key(), semaphore.key(), Wait(0, nullptr)).isOk();
                  }),
      Each(-SIGKILL));
  EXPECT_EQ(1, semaphore.value());
  EXPECT_EQ("2", draw());
}

TEST_F(DrawTaskIdTest, ProcessesGetAllDifferentIdentifiers) {
  EXPECT_THAT(inProcesses(4,
                          [this](int) {
                            int last = 0;
                            for (int i = 0; i < 200; ++i) {
                              const int taskId = std::stoi(draw(kForEver));
                              if (taskId <= last) {
                                return 1;
                              }
                              last = taskId;
                            }
                            return 0;
                          }),
              Each(0));
  EXPECT_EQ(800, segment.value());
  EXPECT_EQ(1, semaphore.value());
  EXPECT_EQ(0U, segment.attachments());
}

TEST_F(DrawTaskIdTest, ForkedChildDrawsLikeItsParent) {
  EXPECT_EQ("1", draw());
  EXPECT_THAT(inProcesses(1, [this](int) { return std::stoi(draw()); }), Each(2));
  EXPECT_EQ("3", draw());
}

}  // namespace
