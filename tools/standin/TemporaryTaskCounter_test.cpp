#include "TemporaryTaskCounter.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>

namespace velmo::standin {
namespace {

struct Keys {
  explicit Keys(const TemporaryTaskCounter& counter)
      : segment(std::stoi(counter.variables().at(0).second)),
        semaphore(std::stoi(counter.variables().at(1).second)) {}

  int segment;
  int semaphore;
};

TEST(TemporaryTaskCounterTest, VariablesContainTwoPositiveKeysInDecimal) {
  const TemporaryTaskCounter counter;
  const tools::Variables variables = counter.variables();
  ASSERT_EQ(2U, variables.size());
  EXPECT_EQ("SHARED_VELMO_TASKID", variables[0].first);
  EXPECT_EQ("SEMAPHORE_VELMO_TASKID", variables[1].first);
  const Keys keys(counter);
  EXPECT_GT(keys.segment, 0);
  EXPECT_GT(keys.semaphore, 0);
}

TEST(TemporaryTaskCounterTest, SegmentIsPrivateAndContainsZero) {
  const TemporaryTaskCounter counter;
  const int segment = shmget(Keys(counter).segment, 0, 0);
  shmid_ds status{};
  ASSERT_EQ(0, shmctl(segment, IPC_STAT, &status));
  EXPECT_EQ(sizeof(std::int32_t), status.shm_segsz);
  EXPECT_EQ(0600, status.shm_perm.mode & 0777);
  void* address = shmat(segment, nullptr, SHM_RDONLY);
  EXPECT_EQ(0, *static_cast<const std::int32_t*>(address));
  shmdt(address);
}

TEST(TemporaryTaskCounterTest, SemaphoreIsPrivateAndFree) {
  const TemporaryTaskCounter counter;
  const int semaphore = semget(Keys(counter).semaphore, 1, 0);
  EXPECT_EQ(1, semctl(semaphore, 0, GETVAL));
  semid_ds status{};
  ASSERT_EQ(0, semctl(semaphore, 0, IPC_STAT, &status));
  EXPECT_EQ(0600, status.sem_perm.mode & 0777);
  EXPECT_EQ(1U, status.sem_nsems);
}

TEST(TemporaryTaskCounterTest, BothAreRemovedWithTheObject) {
  auto counter = std::make_unique<TemporaryTaskCounter>();
  const Keys keys(*counter);
  counter.reset();
  EXPECT_EQ(-1, shmget(keys.segment, 0, 0));
  EXPECT_EQ(ENOENT, errno);
  EXPECT_EQ(-1, semget(keys.semaphore, 1, 0));
  EXPECT_EQ(ENOENT, errno);
}

TEST(TemporaryTaskCounterTest, TwoCountersHaveDifferentKeys) {
  const TemporaryTaskCounter first;
  const TemporaryTaskCounter second;
  EXPECT_NE(Keys(first).segment, Keys(second).segment);
  EXPECT_NE(Keys(first).semaphore, Keys(second).semaphore);
}

}  // namespace
}  // namespace velmo::standin
