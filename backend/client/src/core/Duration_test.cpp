#include "Duration.h"

#include <gtest/gtest.h>

namespace velmo::client {
namespace {

TEST(DurationTest, DurationIsInTheLargestUnitOfWhichItHasTwo) {
  EXPECT_EQ("119 s", roughly(119));
  EXPECT_EQ("2 min", roughly(120));
  EXPECT_EQ("119 min", roughly(7199));
  EXPECT_EQ("2 h", roughly(7200));
  EXPECT_EQ("47 h", roughly(172799));
  EXPECT_EQ("2 days", roughly(172800));
}

}  // namespace
}  // namespace velmo::client
