#include "IMMemSemaphore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <type_traits>
#include <vector>

#include "CapturedLog.h"
#include "PlatformCalls.h"
#include "SystemVKeys.h"

namespace {

using brix::imutils::IMMemSemaphore;
using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::CapturedLog;
using velmo::test::FakeScope;
using velmo::test::LogCycle;
using velmo::test::platform;
using velmo::test::TestSemaphore;
using velmo::test::UnusedKey;

LogCycle line(const std::string& text) {
  return LogCycle{"IMMemSemaphore", 1, 152, 3, text};
}

class IMMemSemaphoreTest : public testing::Test {
 protected:
  FakeScope fakes;
  CapturedLog log;
};

TEST_F(IMMemSemaphoreTest, IsNotCopyable) {
  EXPECT_FALSE(std::is_copy_constructible_v<IMMemSemaphore>);
  EXPECT_FALSE(std::is_copy_assignable_v<IMMemSemaphore>);
}

TEST_F(IMMemSemaphoreTest, ConstructorAsksForASetOfOneThatEverybodyMayUse) {
  std::vector<int> arguments;
  platform().semget.setFake([&arguments](key_t key, int count, int flags) {
    arguments = {key, count, flags};
    return 5;
  });
  const IMMemSemaphore semaphore(4711, false);
  EXPECT_THAT(arguments, ElementsAre(4711, 1, 950));
  EXPECT_EQ(01666, arguments.at(2));
}

TEST_F(IMMemSemaphoreTest, MissingSetIsCreatedWithTheValue0) {
  const UnusedKey key;
  const IMMemSemaphore semaphore(key.value(), false);
  ASSERT_TRUE(key.hasSemaphore());
  EXPECT_EQ(0, platform().semctl.real(platform().semget.real(key.value(), 1, 0), 0, GETVAL, 0));
}

TEST_F(IMMemSemaphoreTest, InitSetsSemaphore0To1) {
  const TestSemaphore set(0);
  IMMemSemaphore semaphore(set.key(), false);
  EXPECT_TRUE(semaphore.init());
  EXPECT_EQ(1, set.value());
  set.setValue(7);
  EXPECT_TRUE(semaphore.init());
  EXPECT_EQ(1, set.value());
}

TEST_F(IMMemSemaphoreTest, InitPassesItsArguments) {
  const TestSemaphore set(0);
  std::vector<int> arguments;
  platform().semctl.setFake([&arguments](int id, int number, int command, int value) {
    arguments = {id, number, command, value};
    return 0;
  });
  EXPECT_TRUE(IMMemSemaphore(set.key(), false).init());
  EXPECT_THAT(arguments, ElementsAre(set.id(), 0, SETVAL, 1));
}

TEST_F(IMMemSemaphoreTest, LockAndUnlockAreOneOperationEachWithUndo) {
  const TestSemaphore set(1);
  std::vector<std::vector<int>> operations;
  platform().semop.setFake([&operations](int id, sembuf* op, size_t count) {
    operations.push_back({id, op->sem_num, op->sem_op, op->sem_flg, static_cast<int>(count)});
    return 0;
  });
  IMMemSemaphore semaphore(set.key(), false);
  EXPECT_TRUE(semaphore.lock());
  EXPECT_TRUE(semaphore.unlock());
  EXPECT_THAT(operations, ElementsAre(ElementsAre(set.id(), 0, -1, 0x1000, 1),
                                      ElementsAre(set.id(), 0, 1, 0x1000, 1)));
}

TEST_F(IMMemSemaphoreTest, LockTakesTheValueAndUnlockGivesItBack) {
  const TestSemaphore set(1);
  IMMemSemaphore semaphore(set.key(), false);
  EXPECT_TRUE(semaphore.lock());
  EXPECT_EQ(0, set.value());
  EXPECT_TRUE(semaphore.unlock());
  EXPECT_EQ(1, set.value());
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(IMMemSemaphoreTest, UnlockWithoutLockRaisesTheValue) {
  const TestSemaphore set(1);
  IMMemSemaphore semaphore(set.key(), false);
  EXPECT_TRUE(semaphore.unlock());
  EXPECT_EQ(2, set.value());
}

TEST_F(IMMemSemaphoreTest, CloseRemovesTheSetWithNumber1) {
  const TestSemaphore set(1);
  std::vector<int> arguments;
  platform().semctl.setFake([&arguments](int id, int number, int command, int value) {
    arguments = {id, number, command};
    return platform().semctl.real(id, number, command, value);
  });
  IMMemSemaphore semaphore(set.key(), false);
  EXPECT_TRUE(semaphore.close());
  EXPECT_THAT(arguments, ElementsAre(set.id(), 1, IPC_RMID));
  EXPECT_EQ(-1, platform().semget.real(set.key(), 1, 0));
}

TEST_F(IMMemSemaphoreTest, DestructorUnlocksWithAutoUnlock) {
  const TestSemaphore set(1);
  {
    IMMemSemaphore semaphore(set.key(), true);
    EXPECT_TRUE(semaphore.lock());
  }
  EXPECT_EQ(1, set.value());
}

TEST_F(IMMemSemaphoreTest, DestructorWithoutAutoUnlockLeavesTheLock) {
  const TestSemaphore set(1);
  {
    IMMemSemaphore semaphore(set.key(), false);
    EXPECT_TRUE(semaphore.lock());
  }
  EXPECT_EQ(0, set.value());
  EXPECT_NE(-1, platform().semget.real(set.key(), 1, 0));
}

TEST_F(IMMemSemaphoreTest, DestructorIgnoresAFailedUnlock) {
  const TestSemaphore set(1);
  const int id = set.id();
  {
    const IMMemSemaphore semaphore(set.key(), true);
    set.remove();
  }
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("Semaphore unlock - semop failed for id:" + std::to_string(id))));
}

// --- failures ---

TEST_F(IMMemSemaphoreTest, SetThatCannotBeCreatedIsLoggedAndEveryOperationFails) {
  platform().semget.setFake([](key_t, int, int) {
    errno = ENOSPC;
    return -1;
  });
  IMMemSemaphore semaphore(-4711, false);
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("Semaphore constructor - semget failed for key-4711")));
  log.clear();
  EXPECT_FALSE(semaphore.lock());
  EXPECT_FALSE(semaphore.unlock());
  EXPECT_FALSE(semaphore.init());
  EXPECT_FALSE(semaphore.close());
  EXPECT_THAT(log.cycles(), ElementsAre(line("Semaphore lock - semop failed for id:-1"),
                                        line("Semaphore unlock - semop failed for id:-1"),
                                        line("Semaphore init - semctl failed for id:-1"),
                                        line("Semaphore close - semctl failed for id:-1")));
}

TEST_F(IMMemSemaphoreTest, LongestNumberIsLoggedWhole) {
  platform().semget.setFake([](key_t, int, int) { return -1; });
  const IMMemSemaphore semaphore(-2147483647 - 1, false);
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("Semaphore constructor - semget failed for key-2147483648")));
}

TEST_F(IMMemSemaphoreTest, RemovedSetFailsEveryOperationWithItsIdentifier) {
  const TestSemaphore set(1);
  IMMemSemaphore semaphore(set.key(), false);
  set.remove();
  EXPECT_FALSE(semaphore.lock());
  EXPECT_FALSE(semaphore.unlock());
  EXPECT_FALSE(semaphore.init());
  EXPECT_FALSE(semaphore.close());
  const std::string id = std::to_string(set.id());
  EXPECT_THAT(log.cycles(), ElementsAre(line("Semaphore lock - semop failed for id:" + id),
                                        line("Semaphore unlock - semop failed for id:" + id),
                                        line("Semaphore init - semctl failed for id:" + id),
                                        line("Semaphore close - semctl failed for id:" + id)));
}

TEST_F(IMMemSemaphoreTest, FailureIsBelow0ForTheSetAndMinus1ForItsOperations) {
  platform().semget.setFake([](key_t, int, int) { return -2; });
  platform().semctl.setFake([](int, int, int, int) { return -2; });
  platform().semop.setFake([](int, sembuf*, size_t) { return -2; });
  IMMemSemaphore semaphore(4711, false);
  EXPECT_FALSE(semaphore.init());
  EXPECT_TRUE(semaphore.lock());
  EXPECT_TRUE(semaphore.unlock());
  EXPECT_TRUE(semaphore.close());
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore constructor - semget failed for key4711",
                                       "Semaphore init - semctl failed for id:-2"));
}

TEST_F(IMMemSemaphoreTest, InterruptedLockFails) {
  const TestSemaphore set(1);
  platform().semop.setFake([](int, sembuf*, size_t) {
    errno = EINTR;
    return -1;
  });
  IMMemSemaphore semaphore(set.key(), false);
  EXPECT_FALSE(semaphore.lock());
  EXPECT_THAT(log.lines(),
              ElementsAre("Semaphore lock - semop failed for id:" + std::to_string(set.id())));
}

TEST_F(IMMemSemaphoreTest, KernelGivesBackTheLockOfAProcessThatDies) {
  const TestSemaphore set(1);
  const pid_t child = fork();
  if (child == 0) {
    IMMemSemaphore semaphore(set.key(), false);
    semaphore.lock();
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(1, set.value());
  EXPECT_TRUE(IMMemSemaphore(set.key(), true).lock());
}

TEST_F(IMMemSemaphoreTest, LockWhoseReleaseFailedBlocksItsOwnProcessUntilThatEnds) {
  const TestSemaphore set(1);
  const pid_t child = fork();
  if (child == 0) {
    bool wouldBlock = false;
    platform().semop.setFake([&wouldBlock](int id, sembuf* op, size_t count) {
      if (op->sem_op > 0) {
        return -1;
      }
      op->sem_flg |= IPC_NOWAIT;
      const int result = platform().semop.real(id, op, count);
      wouldBlock = result == -1 && errno == EAGAIN;
      return result;
    });
    IMMemSemaphore semaphore(set.key(), false);
    const bool isTaken = semaphore.lock() && !semaphore.unlock();
    semaphore.lock();
    _exit(isTaken && wouldBlock ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  EXPECT_EQ(1, set.value());
}

}  // namespace
