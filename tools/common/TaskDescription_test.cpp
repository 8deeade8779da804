#include "TaskDescription.h"

#include <gtest/gtest.h>

namespace velmo::tools {
namespace {

std::string descriptionOf(const char* name) {
  return describe(parseName(name).value());
}

TEST(TaskDescriptionTest, EveryPartOfTheNameIsNamedInOrder) {
  EXPECT_EQ(
      "priority 0050, created 2025-03-03 14:05:09, job J12, sub-job 0, task 731, relative 2, type "
      "sh",
      descriptionOf("0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh"));
}

TEST(TaskDescriptionTest, PriorityIsShownWithTheDigitsThatTheNameHas) {
  EXPECT_EQ(
      "priority -005, created 2016-12-31 23:59:60, job db.example-J-6, sub-job 4_x, task "
      "2147483646, relative -5, type java",
      descriptionOf("-005.20161231235960.db.example-J-6.S4_x.T20161231235960-2147483646.R-005."
                    "java"));
  EXPECT_EQ(
      "priority 12000, created 2025-03-03 14:05:09, job J12, sub-job 0, task 0, relative 123456, "
      "type sh",
      descriptionOf("12000.20250303140509.J12.S0.T20250303140509-0.R123456.sh"));
}

TEST(TaskDescriptionTest, EmptySubJobAndTypeAreShownAsNothing) {
  EXPECT_EQ(
      "priority 0050, created 2025-03-03 14:05:09, job J12, sub-job , task 1, relative 0, type ",
      descriptionOf("0050.20250303140509.J12.S.T20250303140509-1.R0000."));
}

}  // namespace
}  // namespace velmo::tools
