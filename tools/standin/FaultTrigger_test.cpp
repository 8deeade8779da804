#include "FaultTrigger.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

namespace velmo::standin {
namespace {

Fault fault(const std::string& name) {
  return std::get<Fault>(parseFault(name));
}

TEST(FaultTriggerTest, WithoutAFaultNothingStrikes) {
  FaultTrigger trigger(std::nullopt, std::nullopt);
  EXPECT_EQ(nullptr, trigger.strike(FaultPlace::kRequest));
  EXPECT_EQ(nullptr, trigger.strike(FaultPlace::kHandshake));
}

TEST(FaultTriggerTest, FaultStrikesInItsPlaceEveryTime) {
  FaultTrigger trigger(fault("silent"), std::nullopt);
  for (int i = 0; i < 3; ++i) {
    const Fault* struck = trigger.strike(FaultPlace::kRequest);
    ASSERT_NE(nullptr, struck);
    EXPECT_EQ(FaultKind::kSilent, struck->kind);
    EXPECT_EQ(nullptr, trigger.strike(FaultPlace::kHandshake));
  }
}

TEST(FaultTriggerTest, CountedFaultStrikesTheFirstTimesOnly) {
  FaultTrigger trigger(fault("http-503"), 2);
  EXPECT_EQ(nullptr, trigger.strike(FaultPlace::kRequest));  // does not count
  EXPECT_NE(nullptr, trigger.strike(FaultPlace::kHandshake));
  EXPECT_NE(nullptr, trigger.strike(FaultPlace::kHandshake));
  EXPECT_EQ(nullptr, trigger.strike(FaultPlace::kHandshake));
  EXPECT_EQ(nullptr, trigger.strike(FaultPlace::kHandshake));
}

}  // namespace
}  // namespace velmo::standin
