// What issuing an identifier allocates.

#include <gtest/gtest.h>

#include <string>

#include "CreateTaskFile.h"
#include "ReplacedAllocation.h"
#include "TaskInstallation.h"

namespace {

using velmo::test::g_made;
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

}  // namespace
