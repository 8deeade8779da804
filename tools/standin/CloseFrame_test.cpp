#include "CloseFrame.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace velmo::standin {
namespace {

std::string withCode(int code, const std::string& reason) {
  return std::string{static_cast<char>(code / 256), static_cast<char>(code % 256)} + reason;
}

void expectRefused(const std::string& payload, const char* why) {
  try {
    closeAnswer(payload);
    ADD_FAILURE() << "answered: " << why;
  } catch (const Refusal& refusal) {
    EXPECT_EQ(CloseCode::kProtocolError, refusal.code()) << why;
    EXPECT_STREQ(why, refusal.what());
  }
}

TEST(CloseFrameTest, PayloadIsTheCodeInTwoBytesAndTheReason) {
  EXPECT_EQ("\x03\xe9the end", closePayload(CloseCode::kGoingAway, "the end"));
}

TEST(CloseFrameTest, ReasonIsCutAtTheLastCharacterThatFitsInto123Bytes) {
  const std::string ascii(122, 'x');
  EXPECT_EQ("\x03\xf0" + ascii + "y", closePayload(CloseCode::kPolicy, ascii + "yz"));
  EXPECT_EQ("\x03\xf0" + ascii, closePayload(CloseCode::kPolicy, ascii + "\xc3\xa9"));
}

TEST(CloseFrameTest, AnswerIsTheCodeAndReasonOfTheClient) {
  for (const int code : {1000, 1001, 1003, 1007, 1011, 1014, 3000, 4999}) {
    EXPECT_EQ(withCode(code, "caf\xc3\xa9"), closeAnswer(withCode(code, "caf\xc3\xa9"))) << code;
  }
}

TEST(CloseFrameTest, AnswerToACloseWithoutACodeIs1000) {
  EXPECT_EQ("\x03\xe8", closeAnswer(""));
}

TEST(CloseFrameTest, MalformedCloseIsRefused) {
  expectRefused("\x03", "a close frame of one byte");
  expectRefused(withCode(1000, "caf\xc3"), "a close frame whose reason is not UTF-8");
  expectRefused("\0\0"s, "a close frame with the code 0");
  expectRefused(withCode(999, ""), "a close frame with the code 999");
  expectRefused(withCode(1004, ""), "a close frame with the code 1004");
  expectRefused(withCode(1005, ""), "a close frame with the code 1005");
  expectRefused(withCode(1006, ""), "a close frame with the code 1006");
  expectRefused(withCode(1015, ""), "a close frame with the code 1015");
  expectRefused(withCode(2999, ""), "a close frame with the code 2999");
  expectRefused(withCode(5000, ""), "a close frame with the code 5000");
}

}  // namespace
}  // namespace velmo::standin
