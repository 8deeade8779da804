#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sem.h>

#include <cerrno>
#include <climits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "CreateTaskFileTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::CreateTaskFileTest;
using velmo::test::LogCycle;
using velmo::test::platform;
using velmo::test::TestSegment;
using velmo::test::TestSemaphore;
using velmo::test::UnusedKey;

class TaskIdentifierTest : public CreateTaskFileTest {
 protected:
  // What became of the semaphore and the segment after a failure: both released.
  void expectReleased() {
    EXPECT_EQ(1, installation.semaphore.value());
    EXPECT_EQ(0U, installation.counter.attachments());
  }
};

// --- generateTaskID ---

TEST_F(TaskIdentifierTest, FirstIdentifierOfANewSegmentIs1) {
  EXPECT_EQ(1, creator.generateTaskID());
  EXPECT_EQ(2, creator.generateTaskID());
  EXPECT_EQ(2, installation.counter.value());
  expectReleased();
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(TaskIdentifierTest, CounterSetToTheTopOrBelowMinus1FailsWithoutALineUntilItReaches0) {
  for (const int counter : {INT_MAX, -3}) {
    installation.counter.setValue(counter);
    EXPECT_EQ(-1, submit("NORMAL")) << counter;
    EXPECT_EQ(-1, submit("NORMAL")) << counter;
  }
  EXPECT_THAT(installation.queue(), IsEmpty());
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_EQ(0, installation.counter.value());
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(TaskIdentifierTest, CounterIsAdvancedBetweenLockAndUnlock) {
  std::vector<std::string> steps;
  platform().semget.setFake([&](key_t key, int count, int flags) {
    steps.emplace_back("semget");
    return platform().semget.real(key, count, flags);
  });
  platform().semctl.setFake([](int, int, int, int) {
    ADD_FAILURE() << "the semaphore is the service's";
    return 0;
  });
  platform().semop.setFake([&](int id, sembuf* op, size_t count) {
    steps.push_back("semop " + std::to_string(op->sem_op));
    return platform().semop.real(id, op, count);
  });
  platform().shmget.setFake([&](key_t key, size_t size, int flags) {
    EXPECT_EQ(installation.counter.key(), key);
    steps.emplace_back("shmget");
    return platform().shmget.real(key, size, flags);
  });
  platform().shmdt.setFake([&](const void* address) {
    steps.emplace_back("shmdt");
    return platform().shmdt.real(address);
  });
  EXPECT_EQ(1, creator.generateTaskID());
  EXPECT_THAT(steps, ElementsAre("semget", "semop -1", "shmget", "shmdt", "semop 1"));
}

TEST_F(TaskIdentifierTest, UnsetSegmentKeyIsLogged) {
  installation.environment.unset("SHARED_VELMO_TASKID");
  installation.environment.unset("SEMAPHORE_VELMO_TASKID");
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("createTaskFile getenv(SHARED_VELMO_TASKID) is NULL")));
}

TEST_F(TaskIdentifierTest, UnsetSemaphoreKeyIsLoggedAndTheSegmentNotTouched) {
  const UnusedKey key;
  installation.environment.set("SHARED_VELMO_TASKID", key.text());
  installation.environment.unset("SEMAPHORE_VELMO_TASKID");
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("createTaskFile getenv(SEMAPHORE_VELMO_TASKID) is NULL")));
  EXPECT_FALSE(key.hasSegment());
}

TEST_F(TaskIdentifierTest, KeysAreReadAsNumbersAtEveryCall) {
  const TestSegment other(4);
  other.setValue(99);
  EXPECT_EQ(1, creator.generateTaskID());
  installation.environment.set("SHARED_VELMO_TASKID", " " + std::to_string(other.key()) + "x");
  EXPECT_EQ(100, creator.generateTaskID());

  const TestSemaphore otherSemaphore(1);
  int operations = 0;
  platform().semop.setFake([&](int id, sembuf* op, size_t count) {
    operations += id == otherSemaphore.id() ? 1 : 0;
    return platform().semop.real(id, op, count);
  });
  installation.environment.set("SEMAPHORE_VELMO_TASKID", std::to_string(otherSemaphore.key()));
  EXPECT_EQ(101, creator.generateTaskID());
  EXPECT_EQ(2, operations);
}

TEST_F(TaskIdentifierTest, KeyThatIsNoNumberIs0) {
  std::vector<int> keys;
  platform().semget.setFake([&keys](key_t key, int, int) {
    keys.push_back(key);
    return 1;
  });
  platform().semop.setFake([](int, sembuf*, size_t) { return 0; });
  platform().shmget.setFake([&keys](key_t key, size_t, int) {
    keys.push_back(key);
    return -1;
  });
  installation.environment.set("SHARED_VELMO_TASKID", "abc");
  installation.environment.set("SEMAPHORE_VELMO_TASKID", "");
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(keys, ElementsAre(0, 0));
}

// --- the semaphore ---

TEST_F(TaskIdentifierTest, RemovedSemaphoreFailsTheLock) {
  platform().semget.setFake([this](key_t key, int count, int flags) {
    const int id = platform().semget.real(key, count, flags);
    installation.semaphore.remove();
    return id;
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  const std::string id = std::to_string(installation.semaphore.id());
  EXPECT_THAT(log.cycles(), ElementsAre(LogCycle{"IMMemSemaphore", 1, 152, 3,
                                                 "Semaphore lock - semop failed for id:" + id},
                                        line("Couldn't lock the semaphore")));
  EXPECT_EQ(0, installation.counter.value());
}

TEST_F(TaskIdentifierTest, SemaphoreThatCannotBeCreatedFailsTheLock) {
  platform().semget.setFake([](key_t, int, int) {
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore constructor - semget failed for key" +
                                           std::to_string(installation.semaphore.key()),
                                       "Semaphore lock - semop failed for id:-1",
                                       "Couldn't lock the semaphore"));
}

TEST_F(TaskIdentifierTest, SemaphoreThatCannotBeCreatedIsLoggedBeforeTheLockIsTried) {
  platform().semget.setFake([](key_t, int, int) { return -1; });
  std::vector<std::string> linesBefore;
  platform().semop.setFake([&](int, sembuf*, size_t) {
    linesBefore = log.lines();
    return -1;
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(linesBefore, ElementsAre("Semaphore constructor - semget failed for key" +
                                       std::to_string(installation.semaphore.key())));
}

TEST_F(TaskIdentifierTest, SignalThatInterruptsTheWaitFailsTheSubmissionAndTheNextOneSucceeds) {
  bool isInterrupted = true;
  platform().semop.setFake([&isInterrupted](int id, sembuf* op, size_t count) {
    if (std::exchange(isInterrupted, false)) {
      errno = EINTR;
      return -1;
    }
    return platform().semop.real(id, op, count);
  });
  EXPECT_EQ(-1, submit("NORMAL"));
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore lock - semop failed for id:" +
                                           std::to_string(installation.semaphore.id()),
                                       "Couldn't lock the semaphore"));
  EXPECT_THAT(installation.temporary(), IsEmpty());
  EXPECT_THAT(installation.queue(), IsEmpty());
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_THAT(installation.queue(), ElementsAre(firstName));
}

// --- failures under the semaphore ---

TEST_F(TaskIdentifierTest, SegmentThatIsTooSmallFailsShmget) {
  const TestSegment small(1);
  installation.environment.set("SHARED_VELMO_TASKID", std::to_string(small.key()));
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("createTaskFile shmget error")));
  expectReleased();
}

TEST_F(TaskIdentifierTest, ExceptionUnderTheSemaphoreReleasesIt) {
  platform().shmget.setFake([](key_t, size_t, int) { return -1; });
  platform().syslog.setFake([](int, const char*) { throw std::bad_alloc(); });
  platform().openlog.setFake([](const char*, int, int) {});
  EXPECT_THROW(creator.generateTaskID(), std::bad_alloc);
  EXPECT_EQ(1, installation.semaphore.value());
}

TEST_F(TaskIdentifierTest, FailedAttachIsLoggedAndTheSemaphoreReleased) {
  platform().shmat.setFake([](int, const void*, int) {
    return reinterpret_cast<void*>(-1L);  // NOLINT(performance-no-int-to-ptr): how shmat fails
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("createTaskFile shmat error")));
  expectReleased();
}

TEST_F(TaskIdentifierTest, FailedDetachIsLoggedAlthoughTheCounterAdvanced) {
  platform().shmdt.setFake([](const void* address) {
    platform().shmdt.real(address);
    return -1;
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("createTaskFile shmdt error")));
  EXPECT_EQ(1, installation.counter.value());
  expectReleased();
}

TEST_F(TaskIdentifierTest, FailedUnlockGivesTheIdentifierUp) {
  platform().semop.setFake([](int id, sembuf* op, size_t count) {
    if (op->sem_op > 0) {
      errno = EIDRM;
      return -1;
    }
    return platform().semop.real(id, op, count);
  });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.lines(), ElementsAre("Semaphore unlock - semop failed for id:" +
                                           std::to_string(installation.semaphore.id()),
                                       "Couldn't unlock the semaphore"));
  EXPECT_EQ(1, installation.counter.value());
}

TEST_F(TaskIdentifierTest, FailedUnlockAfterAnotherFailureIsLoggedToo) {
  platform().shmget.setFake([](key_t, size_t, int) { return -1; });
  platform().semop.setFake([](int, sembuf* op, size_t) { return op->sem_op > 0 ? -1 : 0; });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(log.lines(), ElementsAre("createTaskFile shmget error",
                                       "Semaphore unlock - semop failed for id:" +
                                           std::to_string(installation.semaphore.id()),
                                       "Couldn't unlock the semaphore"));
}

TEST_F(TaskIdentifierTest, FailureUnderTheSemaphoreIsLoggedBeforeTheRelease) {
  std::vector<std::string> linesBefore;
  platform().semop.setFake([&](int id, sembuf* op, size_t count) {
    linesBefore = log.lines();
    return platform().semop.real(id, op, count);
  });
  platform().shmget.setFake([](key_t, size_t, int) { return -1; });
  EXPECT_EQ(-1, creator.generateTaskID());
  EXPECT_THAT(linesBefore, ElementsAre("createTaskFile shmget error"));
  expectReleased();
}

}  // namespace
