#include "MissingTaskCounter.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <memory>
#include <string>

#include "SystemVObjects.h"

namespace velmo::standin {
namespace {

using velmo::test::segmentExists;
using velmo::test::semaphoreExists;

TEST(MissingTaskCounterTest, VariablesContainTwoKeysUnderWhichNothingExists) {
  const MissingTaskCounter counter;
  const tools::Variables expected{
      {"SHARED_VELMO_TASKID", std::to_string(counter.segmentKey())},
      {"SEMAPHORE_VELMO_TASKID", std::to_string(counter.semaphoreKey())}};
  EXPECT_EQ(expected, counter.variables());
  EXPECT_GT(counter.segmentKey(), 0);
  EXPECT_GT(counter.semaphoreKey(), 0);
  EXPECT_FALSE(segmentExists(counter.segmentKey()));
  EXPECT_FALSE(semaphoreExists(counter.semaphoreKey()));
}

TEST(MissingTaskCounterTest, WhatAProgramCreatedThereIsRemovedWithTheObject) {
  auto counter = std::make_unique<MissingTaskCounter>();
  const int segment = counter->segmentKey();
  const int semaphore = counter->semaphoreKey();
  ASSERT_GE(shmget(segment, 4, IPC_CREAT | IPC_EXCL | 0600), 0);
  ASSERT_GE(semget(semaphore, 1, IPC_CREAT | IPC_EXCL | 0600), 0);
  counter.reset();
  EXPECT_FALSE(segmentExists(segment));
  EXPECT_FALSE(semaphoreExists(semaphore));
}

}  // namespace
}  // namespace velmo::standin
