#include "TaskCounter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "FailureMatcher.h"
#include "PlatformCalls.h"
#include "SystemVKeys.h"

namespace {

using brix::velmo::followingTaskId;
using brix::velmo::Step;
using brix::velmo::TaskCounter;
using testing::ElementsAre;
using velmo::test::FakeScope;
using velmo::test::isFailure;
using velmo::test::platform;
using velmo::test::TestSegment;
using velmo::test::TestSemaphore;
using velmo::test::UnusedKey;

// --- followingTaskId ---

TEST(FollowingTaskIdTest, IdentifierAfter2147483646Is0) {
  EXPECT_EQ(2147483646, followingTaskId(2147483645));
  EXPECT_EQ(0, followingTaskId(2147483646));
}

TEST(FollowingTaskIdTest, IdentifierAfterTheLargestIntIsTheSmallest) {
  EXPECT_EQ(INT_MIN, followingTaskId(2147483647));
  EXPECT_EQ(INT_MIN + 1, followingTaskId(INT_MIN));
}

TEST(FollowingTaskIdTest, IdentifierIsOneMoreOtherwise) {
  EXPECT_EQ(1, followingTaskId(0));
  EXPECT_EQ(731, followingTaskId(730));
  EXPECT_EQ(-4, followingTaskId(-5));
  EXPECT_EQ(0, followingTaskId(-1));
}

// --- the semaphore ---

class TaskCounterTest : public testing::Test {
 protected:
  std::string setId() const {
    return std::to_string(semaphore.id());
  }

  // As the kernel answers a lock that would wait.
  static void failInsteadOfWaiting() {
    // cppcheck-suppress constParameter  // the signature is the platform's
    platform().semop.setFake([](int id, sembuf* operation, size_t count) {
      sembuf attempt = *operation;
      attempt.sem_flg |= IPC_NOWAIT;
      return platform().semop.real(id, &attempt, count);
    });
  }

  const FakeScope fakes;
  const TestSemaphore semaphore{1};
  const TestSegment segment{4};
  TaskCounter counter{semaphore.key()};
};

TEST_F(TaskCounterTest, SetOfOneSemaphoreIsOpenedOrCreatedForEverybody) {
  std::vector<int> arguments;
  platform().semget.setFake([&arguments](key_t key, int count, int flags) {
    arguments = {key, count, flags};
    return 5;
  });
  EXPECT_EQ(std::nullopt, TaskCounter(4711).openFailure());
  EXPECT_THAT(arguments, ElementsAre(4711, 1, 950));
}

TEST_F(TaskCounterTest, SetThatIsMissingIsCreatedWithTheValue0WhichBlocks) {
  const UnusedKey key;
  TaskCounter unset(key.value());
  EXPECT_EQ(std::nullopt, unset.openFailure());
  EXPECT_TRUE(key.hasSemaphore());
  failInsteadOfWaiting();
  const int id = platform().semget.real(key.value(), 1, 0);
  EXPECT_THAT(unset.lock(), isFailure(Step::LockSemaphore, std::to_string(id), EAGAIN));
}

TEST_F(TaskCounterTest, SetThatExistsKeepsItsValue) {
  platform().semctl.setFake([](int, int, int, int) {
    ADD_FAILURE() << "the semaphore is the service's";
    return 0;
  });
  semaphore.setValue(7);
  const TaskCounter another(semaphore.key());
  EXPECT_EQ(7, semaphore.value());
}

TEST_F(TaskCounterTest, SetThatCannotBeOpenedIsAFailureAndSoIsEveryOperation) {
  platform().semget.setFake([](key_t, int, int) {
    errno = EACCES;
    return -1;
  });
  TaskCounter closed(-4711);
  EXPECT_THAT(closed.openFailure(), isFailure(Step::GetSemaphore, "-4711", EACCES));
  EXPECT_THAT(closed.lock(), isFailure(Step::LockSemaphore, "-1", EINVAL));
  EXPECT_THAT(closed.unlock(), isFailure(Step::UnlockSemaphore, "-1", EINVAL));
}

TEST_F(TaskCounterTest, AnyNegativeAnswerOfSemgetIsAFailure) {
  platform().semget.setFake([](key_t, int, int) {
    errno = ENOSPC;
    return -2;
  });
  EXPECT_THAT(TaskCounter(1).openFailure(), isFailure(Step::GetSemaphore, "1", ENOSPC));
}

TEST_F(TaskCounterTest, LockAndUnlockAreOneOperationEachWithUndo) {
  std::vector<std::vector<int>> operations;
  platform().semop.setFake([&operations](int id, sembuf* operation, size_t count) {
    operations.push_back(
        {id, operation->sem_num, operation->sem_op, operation->sem_flg, static_cast<int>(count)});
    return 0;
  });
  EXPECT_EQ(std::nullopt, counter.lock());
  EXPECT_EQ(std::nullopt, counter.unlock());
  EXPECT_THAT(operations, ElementsAre(ElementsAre(semaphore.id(), 0, -1, SEM_UNDO, 1),
                                      ElementsAre(semaphore.id(), 0, 1, SEM_UNDO, 1)));
}

TEST_F(TaskCounterTest, LockTakesTheSemaphoreAndUnlockReleasesIt) {
  EXPECT_EQ(std::nullopt, counter.lock());
  EXPECT_EQ(0, semaphore.value());
  EXPECT_EQ(std::nullopt, counter.unlock());
  EXPECT_EQ(1, semaphore.value());
}

TEST_F(TaskCounterTest, LockWaitsWhileTheSemaphoreIs0) {
  failInsteadOfWaiting();
  semaphore.setValue(0);
  EXPECT_THAT(counter.lock(), isFailure(Step::LockSemaphore, setId(), EAGAIN));
  semaphore.setValue(1);
  EXPECT_EQ(std::nullopt, counter.lock());
}

TEST_F(TaskCounterTest, SignalThatInterruptsTheWaitIsAFailureAndIsNotRepeated) {
  int calls = 0;
  platform().semop.setFake([&calls](int, sembuf*, size_t) {
    ++calls;
    errno = EINTR;
    return -1;
  });
  EXPECT_THAT(counter.lock(), isFailure(Step::LockSemaphore, setId(), EINTR));
  EXPECT_EQ(1, calls);
}

TEST_F(TaskCounterTest, RemovedSetFailsLockAndUnlockWithItsIdentifier) {
  semaphore.remove();
  EXPECT_THAT(counter.lock(), isFailure(Step::LockSemaphore, setId(), EINVAL));
  EXPECT_THAT(counter.unlock(), isFailure(Step::UnlockSemaphore, setId(), EINVAL));
}

TEST_F(TaskCounterTest, KernelReleasesTheSemaphoreOfAProcessThatDies) {
  const pid_t child = fork();
  if (child == 0) {
    counter.lock();
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(1, semaphore.value());
}

// --- the segment ---

TEST_F(TaskCounterTest, SegmentOf4BytesIsOpenedOrCreatedForEverybodyAndAttachedAnywhere) {
  std::vector<std::string> calls;
  platform().shmget.setFake([&calls](key_t key, size_t size, int flags) {
    calls.push_back("shmget " + std::to_string(size) + " " + std::to_string(flags));
    return platform().shmget.real(key, size, flags);
  });
  platform().shmat.setFake([&calls](int id, const void* address, int flags) {
    EXPECT_EQ(nullptr, address);
    calls.push_back("shmat " + std::to_string(flags));
    return platform().shmat.real(id, address, flags);
  });
  EXPECT_EQ(std::nullopt, counter.advance(segment.key()).failure);
  EXPECT_THAT(calls, ElementsAre("shmget 4 950", "shmat 0"));
  EXPECT_EQ(0U, segment.attachments());
}

TEST_F(TaskCounterTest, FirstIdentifierOfANewSegmentIs1) {
  EXPECT_EQ(1, counter.advance(segment.key()).taskId);
  EXPECT_EQ(2, counter.advance(segment.key()).taskId);
  EXPECT_EQ(2, segment.value());
}

TEST_F(TaskCounterTest, MissingSegmentIsCreated) {
  const UnusedKey key;
  EXPECT_EQ(1, counter.advance(key.value()).taskId);
  EXPECT_TRUE(key.hasSegment());
  EXPECT_EQ(2, counter.advance(key.value()).taskId);
}

TEST_F(TaskCounterTest, IdentifierFollowsTheSegmentAndIsStoredThere) {
  const std::vector<std::pair<int, int>> rows{
      {730, 731}, {2147483645, 2147483646}, {2147483646, 0}, {2147483647, INT_MIN}, {-1, 0}};
  for (const auto& [before, taskId] : rows) {
    segment.setValue(before);
    const TaskCounter::Issued issued = counter.advance(segment.key());
    EXPECT_EQ(taskId, issued.taskId);
    EXPECT_EQ(std::nullopt, issued.failure);
    EXPECT_EQ(taskId, segment.value());
  }
}

TEST_F(TaskCounterTest, LargerSegmentServesWithItsFirst4Bytes) {
  const TestSegment large(10000);
  large.setValue(41);
  EXPECT_EQ(42, counter.advance(large.key()).taskId);
  EXPECT_EQ(42, large.value());
}

TEST_F(TaskCounterTest, SegmentThatIsTooSmallIsAFailure) {
  const TestSegment small(1);
  EXPECT_THAT(counter.advance(small.key()).failure,
              isFailure(Step::GetSegment, std::to_string(small.key()), EINVAL));
}

TEST_F(TaskCounterTest, AnyNegativeAnswerOfShmgetIsAFailure) {
  platform().shmget.setFake([](key_t, size_t, int) {
    errno = ENOSPC;
    return -2;
  });
  EXPECT_THAT(counter.advance(-4711).failure, isFailure(Step::GetSegment, "-4711", ENOSPC));
}

TEST_F(TaskCounterTest, FailedAttachIsAFailureThatNamesTheSegmentAndTheCounterStays) {
  std::string id;
  platform().shmat.setFake([&id](int segmentId, const void*, int) {
    id = std::to_string(segmentId);
    errno = EACCES;
    return reinterpret_cast<void*>(-1L);  // NOLINT(performance-no-int-to-ptr): how shmat fails
  });
  segment.setValue(730);
  const TaskCounter::Issued issued = counter.advance(segment.key());
  EXPECT_THAT(issued.failure, isFailure(Step::AttachSegment, id, EACCES));
  EXPECT_EQ(730, segment.value());
}

TEST_F(TaskCounterTest, FailedDetachIsAFailureAlthoughTheCounterAdvanced) {
  platform().shmdt.setFake([](const void* address) {
    platform().shmdt.real(address);
    errno = EINVAL;
    return -1;
  });
  const std::string id = std::to_string(platform().shmget.real(segment.key(), 4, 0));
  EXPECT_THAT(counter.advance(segment.key()).failure, isFailure(Step::DetachSegment, id, EINVAL));
  EXPECT_EQ(1, segment.value());
}

}  // namespace
