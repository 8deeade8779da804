#include "MessageAssembler.h"

#include <gtest/gtest.h>

#include <string>

namespace velmo::standin {
namespace {

constexpr int kLastContinuation = kFinalFrame | kContinuation;

TEST(MessageAssemblerTest, FinalBinaryFrameIsAWholeMessageAlsoWhenEmpty) {
  MessageAssembler assembler;
  EXPECT_EQ("one", assembler.add({kFinalFrame | kBinary, "one"}));
  EXPECT_EQ("", assembler.add({kFinalFrame | kBinary, ""}));
  EXPECT_FALSE(assembler.isBegun());
}

TEST(MessageAssemblerTest, ContinuationsAreAppendedUpToTheFinalOne) {
  MessageAssembler assembler;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(std::nullopt, assembler.add({kBinary, "a"}));
    EXPECT_TRUE(assembler.isBegun());
    EXPECT_EQ(std::nullopt, assembler.add({kContinuation, ""}));
    EXPECT_EQ(std::nullopt, assembler.add({kContinuation, "b"}));
    EXPECT_EQ("abc", assembler.add({kLastContinuation, "c"}));
    EXPECT_FALSE(assembler.isBegun());
  }
}

TEST(MessageAssemblerTest, MessageMayReachTheLimitButNotExceedIt) {
  const std::string half(kLongestMessage / 2, 'x');
  MessageAssembler assembler;
  assembler.add({kBinary, half});
  EXPECT_EQ(half + half, assembler.add({kLastContinuation, half}));

  assembler.add({kBinary, half});
  assembler.add({kContinuation, half});
  try {
    assembler.add({kLastContinuation, "x"});
    FAIL() << "taken";
  } catch (const Refusal& refusal) {
    EXPECT_EQ(CloseCode::kTooBig, refusal.code());
    EXPECT_STREQ("longer than 1048576 bytes", refusal.what());
  }
}

TEST(MessageAssemblerTest, FrameThatMayNotComeHereIsRefused) {
  struct Row {
    const char* why;
    int flags;
    CloseCode code;
    bool begun;
  };
  const Row rows[] = {
      {"text, where binary frames belong", 0x81, CloseCode::kUnsupported, false},
      {"text, where binary frames belong", 0x81, CloseCode::kUnsupported, true},
      {"a continuation that continues nothing", 0x80, CloseCode::kProtocolError, false},
      {"a message within a message", 0x82, CloseCode::kProtocolError, true},
      {"a frame with the flags 146", 0x92, CloseCode::kProtocolError, false},
      {"a frame with the flags 139", 0x8b, CloseCode::kProtocolError, false},
  };
  for (const Row& row : rows) {
    MessageAssembler assembler;
    if (row.begun) {
      assembler.add({kBinary, "x"});
    }
    try {
      assembler.add({row.flags, "x"});
      ADD_FAILURE() << "taken: " << row.why;
    } catch (const Refusal& refusal) {
      EXPECT_EQ(row.code, refusal.code()) << row.why;
      EXPECT_STREQ(row.why, refusal.what());
    }
  }
}

}  // namespace
}  // namespace velmo::standin
