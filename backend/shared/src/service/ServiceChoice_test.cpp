#include "ServiceChoice.h"

#include <gtest/gtest.h>

namespace {

using brix::velmo::kNoPort;
using brix::velmo::ServiceChoice;

TEST(ServiceChoiceTest, LastHostCounts) {
  ServiceChoice choice;
  choice.add("first", 1);
  choice.add("last", 2);
  ASSERT_TRUE(choice.chosen());
  EXPECT_EQ("last", choice.chosen()->hostname);
  EXPECT_EQ(2, choice.chosen()->port);
}

TEST(ServiceChoiceTest, WithoutAHostThereIsNothingToChoose) {
  EXPECT_FALSE(ServiceChoice().chosen());
}

TEST(ServiceChoiceTest, UnusableLastHostDoesNotFallBackToAnEarlierOne) {
  ServiceChoice withoutPort;
  withoutPort.add("first", 1);
  withoutPort.add("last", kNoPort);
  EXPECT_FALSE(withoutPort.chosen());

  ServiceChoice withoutName;
  withoutName.add("first", 1);
  withoutName.add("", 2);
  EXPECT_FALSE(withoutName.chosen());
}

TEST(ServiceChoiceTest, RangeOfThePortIsNotChecked) {
  for (const int port : {0, -2, 65536, 70000}) {
    ServiceChoice choice;
    choice.add("host", port);
    ASSERT_TRUE(choice.chosen());
    EXPECT_EQ(port, choice.chosen()->port);
  }
}

}  // namespace
