#include "RequestMessage.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "WireMessages.h"

namespace {

using velmo::client::requestMessage;
using velmo::client::WireTaskType;
using velmo::test::envelopeOf;

TEST(RequestMessageTest, FieldsHaveTheirNumbersAndOrder) {
  EXPECT_EQ(
      "\x0a\x16\x0a\x01p\x12\x01"
      "c\x18\x02\x22\x01"
      "d\x2a\x01j\x32\x01s\x3a\x01i\x40\x05",
      requestMessage({"p", "c", WireTaskType::ShellScript, "d", "j", "s", "i", 5}));
}

TEST(RequestMessageTest, EmptyFieldsAreThere) {
  EXPECT_EQ(std::string("\x0a\x10\x0a\0\x12\0\x18\x01\x22\0\x2a\0\x32\0\x3a\0\x40\0", 18),
            requestMessage({"", "", WireTaskType::JavaClass, "", "", "", "", 0}));
}

TEST(RequestMessageTest, NegativeNumberTakesTenBytes) {
  for (const int number : {-1, INT_MIN, INT_MAX, 127, 128}) {
    EXPECT_EQ(envelopeOf({"p", "c", 2, "", "", "", "", number}),
              requestMessage({"p", "c", WireTaskType::ShellScript, "", "", "", "", number}));
  }
}

TEST(RequestMessageTest, LengthsGrowAtSevenBits) {
  for (const std::size_t size : {100U, 127U, 128U, 16383U, 16384U}) {
    const std::string text(size, 'c');
    EXPECT_EQ(envelopeOf({"p", text, 2, "", "", "", "", 0}),
              requestMessage({"p", text, WireTaskType::ShellScript, "", "", "", "", 0}));
  }
}

}  // namespace
