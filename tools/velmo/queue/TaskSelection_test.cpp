#include "TaskSelection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmo::cli {
namespace {

std::string name(int priority, const std::string& job = "J1") {
  return "00" + std::to_string(priority) + ".20250303140509." + job +
         ".S0.T20250303140509-1.R0000.sh";
}

TEST(TaskSelectionTest, NamesAreInTheOrderOfTheService) {
  TaskSelection selection({}, std::nullopt);
  for (const int priority : {30, 10, 20}) {
    selection.add(name(priority));
  }
  EXPECT_EQ((std::vector<std::string>{name(10), name(20), name(30)}), selection.takeNames());
}

TEST(TaskSelectionTest, FirstOfThemAreKeptWhateverOrderTheyComeIn) {
  const std::vector<std::vector<int>> orders{
      {10, 20, 30, 40}, {40, 30, 20, 10}, {20, 40, 10, 30}, {30, 10, 40, 20}};
  for (const std::vector<int>& order : orders) {
    TaskSelection selection({}, 2);
    for (const int priority : order) {
      selection.add(name(priority));
    }
    EXPECT_EQ(4U, selection.count());
    EXPECT_EQ((std::vector<std::string>{name(10), name(20)}), selection.takeNames());
  }
}

TEST(TaskSelectionTest, TasksThatDoNotPassCountForNothing) {
  TaskSelection selection({"J2", {}, {}, {}}, 1);
  selection.add(name(10));
  selection.add(name(30, "J2"));
  selection.add(name(20, "J2"));
  EXPECT_EQ(2U, selection.count());
  EXPECT_EQ(std::vector<std::string>{name(20, "J2")}, selection.takeNames());
}

}  // namespace
}  // namespace velmo::cli
