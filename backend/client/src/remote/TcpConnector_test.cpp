#include "TcpConnector.h"

#include <gtest/gtest.h>

namespace {

using velmo::client::headStartMs;

TEST(TcpConnectorTest, HeadStartsFitIntoTheTimeout) {
  EXPECT_EQ(100, headStartMs(-1, 3));
  EXPECT_EQ(100, headStartMs(60000, 3));
  EXPECT_EQ(66, headStartMs(200, 2));
  EXPECT_EQ(5, headStartMs(20, 3));
  EXPECT_EQ(0, headStartMs(0, 1));
}

}  // namespace
