#include "TemporaryTaskCounter.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cstdint>
#include <memory>
#include <string>

#include "SystemVObjects.h"

namespace velmo::standin {
namespace {

TEST(TemporaryTaskCounterTest, VariablesContainTwoPositiveKeysInDecimal) {
  const TemporaryTaskCounter counter;
  const tools::Variables variables = counter.variables();
  ASSERT_EQ(2U, variables.size());
  EXPECT_EQ("SHARED_VELMO_TASKID", variables[0].first);
  EXPECT_EQ("SEMAPHORE_VELMO_TASKID", variables[1].first);
  EXPECT_EQ(std::to_string(counter.segmentKey()), variables[0].second);
  EXPECT_EQ(std::to_string(counter.semaphoreKey()), variables[1].second);
  EXPECT_GT(counter.segmentKey(), 0);
  EXPECT_GT(counter.semaphoreKey(), 0);
}

TEST(TemporaryTaskCounterTest, SegmentIsPrivateAndContainsZero) {
  const TemporaryTaskCounter counter;
  const int segment = shmget(counter.segmentKey(), 0, 0);
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
  const int semaphore = semget(counter.semaphoreKey(), 1, 0);
  EXPECT_EQ(1, semctl(semaphore, 0, GETVAL));
  semid_ds status{};
  ASSERT_EQ(0, semctl(semaphore, 0, IPC_STAT, &status));
  EXPECT_EQ(0600, status.sem_perm.mode & 0777);
  EXPECT_EQ(1U, status.sem_nsems);
}

TEST(TemporaryTaskCounterTest, BothAreRemovedWithTheObject) {
  auto counter = std::make_unique<TemporaryTaskCounter>();
  const int segment = counter->segmentKey();
  const int semaphore = counter->semaphoreKey();
  counter.reset();
  EXPECT_FALSE(velmo::test::segmentExists(segment));
  EXPECT_FALSE(velmo::test::semaphoreExists(semaphore));
}

TEST(TemporaryTaskCounterTest, TwoCountersHaveDifferentKeys) {
  const TemporaryTaskCounter first;
  const TemporaryTaskCounter second;
  EXPECT_NE(first.segmentKey(), second.segmentKey());
  EXPECT_NE(first.semaphoreKey(), second.semaphoreKey());
}

}  // namespace
}  // namespace velmo::standin
