#include "TaskRow.h"

#include <gtest/gtest.h>

#include "LocalTime.h"

namespace velmo::cli {
namespace {

const char* const kCreated = "20250303140509";

TEST(AgeAtTest, AgeIsInItsLargestUnit) {
  const std::time_t created = momentOf(kCreated).value();
  EXPECT_EQ("0 s", ageAt(created, created));
  EXPECT_EQ("3 min", ageAt(created + 200, created));
}

TEST(AgeAtTest, TimeInTheFutureHasAMinusSign) {
  EXPECT_EQ("-90 s", ageAt(910, 1000));
}

TEST(AgeAtTest, TimeThatIsNotADateHasNoAge) {
  EXPECT_EQ("?", ageAt(0, std::nullopt));
}

TEST(TaskRowTest, CellsAreThoseOfTheColumns) {
  TaskRow row(momentOf(kCreated).value() + 5);
  const TaskName task{-5, 731, 2, kCreated, "J12", "0", "sh"};
  EXPECT_EQ((std::vector<std::string>{"-5", "5 s", "J12", "0", "731", "2", "sh"}), row.cells(task));
  EXPECT_EQ(taskColumns().size(), row.cells(task).size());
}

TEST(TaskRowTest, AgeFollowsTheTimeOfEachTask) {
  TaskRow row(momentOf(kCreated).value() + 5);
  EXPECT_EQ("5 s", row.cells({0, 0, 0, kCreated, "J", "0", "sh"}).at(1));
  EXPECT_EQ("3 s", row.cells({0, 0, 0, "20250303140511", "J", "0", "sh"}).at(1));
}

}  // namespace
}  // namespace velmo::cli
