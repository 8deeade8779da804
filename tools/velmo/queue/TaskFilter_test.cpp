#include "TaskFilter.h"

#include <gtest/gtest.h>

#include "Environment.h"
#include "LocalTime.h"

namespace velmo::cli {
namespace {

const char* const kCreated = "20250303140509";

TaskName task() {
  return {50, 731, 2, kCreated, "J12", "0", "sh"};
}

TEST(TaskFilterTest, EmptyFilterPassesEverything) {
  EXPECT_TRUE(TaskFilter{}.isEmpty());
  EXPECT_TRUE(TaskFilter{}.passes(task()));
}

TEST(TaskFilterTest, EachPartMustBeEqual) {
  EXPECT_TRUE((TaskFilter{"J12", "0", "sh", {}}.passes(task())));
  EXPECT_FALSE((TaskFilter{"J1", {}, {}, {}}.passes(task())));
  EXPECT_FALSE((TaskFilter{{}, "", {}, {}}.passes(task())));
  EXPECT_FALSE((TaskFilter{{}, {}, "java", {}}.passes(task())));
}

TEST(TaskFilterTest, TaskOfTheVeryMomentIsOldEnough) {
  const std::time_t created = momentOf(kCreated).value();
  EXPECT_TRUE((TaskFilter{{}, {}, {}, created}.passes(task())));
  EXPECT_FALSE((TaskFilter{{}, {}, {}, created - 1}.passes(task())));
}

// The platform looks at the time zone for each moment that it is asked for.
TEST(TaskFilterTest, MomentsAreKeptForTheNextTask) {
  test::Environment environment;
  environment.set("TZ", "UTC");
  TaskFilter filter{{}, {}, {}, momentOf(kCreated).value()};
  EXPECT_TRUE(filter.passes(task()));
  environment.set("TZ", "UTC+5");
  EXPECT_TRUE(filter.passes(task()));
}

TEST(TaskFilterTest, TimeThatIsNotADateIsNeverOldEnough) {
  TaskName odd = task();
  odd.created = "00000000000000";
  EXPECT_TRUE(TaskFilter{}.passes(odd));
  EXPECT_FALSE((TaskFilter{{}, {}, {}, 1 << 30}.passes(odd)));
}

}  // namespace
}  // namespace velmo::cli
