// What issuing an identifier allocates.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

#include "CreateTaskFile.h"
#include "PlatformCalls.h"
#include "ReplacedAllocation.h"
#include "TaskInstallation.h"

namespace {

using velmo::test::FakeScope;
using velmo::test::g_failsForGood;
using velmo::test::g_made;
using velmo::test::g_untilFailure;
using velmo::test::platform;
using velmo::test::TaskInstallation;

long allocationsOf(const TaskInstallation& installation, const std::string& counter) {
  installation.writeJobCounter(counter);
  const long before = g_made;
  EXPECT_EQ("J0", CreateTaskFile().generateJobID());
  return g_made - before;
}

// While the counter is read, all clients of the machine wait for its lock.
TEST(CreateTaskFileAllocationTest, JobCounterOfAnyLengthTakesTheSameMemory) {
  const TaskInstallation installation;
  const long few = allocationsOf(installation, "999999");
  EXPECT_EQ(few, allocationsOf(installation, std::string(1000000, '9')));
}

// Captures the last line in memory that is there already.
std::array<char, 200> g_line;

class NoMemory {
 public:
  NoMemory() {
    platform().syslog.setFake([](int /*priority*/, const char* text) {
      std::snprintf(g_line.data(), g_line.size(), "%s", text);
    });
    platform().shmget.setFake([](key_t, size_t, int) { return -1; });
    g_failsForGood = true;
    g_untilFailure = 0;
  }
  ~NoMemory() {
    g_failsForGood = false;
    g_untilFailure = -1;
  }
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
};

TEST(CreateTaskFileAllocationTest, RefusedCallIsLoggedWithoutMemory) {
  const FakeScope fakes;
  int result = -2;
  {
    const NoMemory noMemory;
    result = createTaskFile(nullptr, "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0);
  }
  EXPECT_EQ(1, result);
  EXPECT_STREQ("Priority type must be given!\n", g_line.data());
}

TEST(CreateTaskFileAllocationTest, FailureOfTheTaskCounterIsLoggedWithoutMemory) {
  const TaskInstallation installation;
  const FakeScope fakes;
  int taskId = 0;
  {
    const NoMemory noMemory;
    taskId = CreateTaskFile().generateTaskID();
  }
  EXPECT_EQ(-1, taskId);
  EXPECT_STREQ("createTaskFile shmget error", g_line.data());
  EXPECT_EQ(1, installation.semaphore.value());
}

}  // namespace
