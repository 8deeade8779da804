// Requests and replies, against a peer that does all right.

#include <gtest/gtest.h>
#include <velmo/velmo.h>

#include <string>
#include <vector>

#include "ConnectionTest.h"

namespace {

using velmo::test::answering;
using velmo::test::ConnectionTest;
using velmo::test::envelopeOf;
using velmo::test::kBinary;
using velmo::test::kContinuation;
using velmo::test::kFinal;
using velmo::test::naming;
using velmo::test::PeerConnection;
using velmo::test::tellTest;
using velmo::test::WebSocketFrame;

class ExchangeTest : public ConnectionTest {};

TEST_F(ExchangeTest, ReplyNamesTheTask) {
  connectTo({answering({naming("first")})});
  EXPECT_EQ("OK first", send());
  EXPECT_TRUE(isUsable());
}

}  // namespace
