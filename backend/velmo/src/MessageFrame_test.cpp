#include "MessageFrame.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <string>

namespace {

using brix::velmo::frameAt;
using brix::velmo::MessageFrame;

// All frames of a message as "size/flags size/flags".
std::string frames(std::size_t length, std::size_t frameSize) {
  std::string text;
  for (std::size_t offset = 0; offset < length;) {
    const MessageFrame frame = frameAt(length, offset, frameSize);
    text +=
        (offset == 0 ? "" : " ") + std::to_string(frame.size) + "/" + std::to_string(frame.flags);
    offset += frame.size;
  }
  return text;
}

TEST(MessageFrameTest, MessageThatFitsIsOneFinalBinaryFrame) {
  EXPECT_EQ("1/130", frames(1, 8192));
  EXPECT_EQ("8191/130", frames(8191, 8192));
  EXPECT_EQ("8192/130", frames(8192, 8192));
}

TEST(MessageFrameTest, OneByteMoreIsASecondFrame) {
  EXPECT_EQ("8192/2 1/128", frames(8193, 8192));
}

TEST(MessageFrameTest, FullSecondFrameIsTheLast) {
  EXPECT_EQ("8192/2 8191/128", frames(16383, 8192));
  EXPECT_EQ("8192/2 8192/128", frames(16384, 8192));
}

TEST(MessageFrameTest, FramesBetweenFirstAndLastAreBareContinuations) {
  EXPECT_EQ("8192/2 8192/0 1/128", frames(16385, 8192));
  EXPECT_EQ("8192/2 8192/0 3616/128", frames(20000, 8192));
  EXPECT_EQ("1/2 1/0 1/0 1/0 1/128", frames(5, 1));
}

TEST(MessageFrameTest, FrameAfterAShortSendBeginsWhereItStopped) {
  const MessageFrame frame = frameAt(20000, 100, 8192);
  EXPECT_EQ(8192U, frame.size);
  EXPECT_EQ(0, frame.flags);
}

TEST(MessageFrameTest, LargestSizesDoNotOverflow) {
  constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
  EXPECT_EQ(128, frameAt(kMost, kMost - 1, 8192).flags);
  EXPECT_EQ(2, frameAt(kMost, 0, kMost).flags);
  EXPECT_EQ(0, frameAt(kMost, 1, kMost).flags);
}

TEST(MessageFrameTest, FrameIsAsLargeAsTheCallerSaysUpToAnIntLessTheLongestHeader) {
  constexpr std::size_t kLimit = 2147483647 - 14;
  EXPECT_EQ(std::to_string(kLimit) + "/130", frames(kLimit, kLimit));
  EXPECT_EQ(std::to_string(kLimit) + "/2 1/128", frames(kLimit + 1, kLimit + 1));
  EXPECT_EQ("1073741825/130", frames(1073741825, 1073741825));
}

TEST(MessageFrameTest, FrameSizeOf0GivesAnEmptyFrameThatIsNotTheLast) {
  const MessageFrame frame = frameAt(5, 0, 0);
  EXPECT_EQ(0U, frame.size);
  EXPECT_EQ(2, frame.flags);
}

}  // namespace
