#include "RequestFrames.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <string>

namespace {

using brix::velmo::RequestFrame;
using brix::velmo::requestFrameAt;

// All frames of a message as "size/flags size/flags".
std::string frames(std::size_t length, std::size_t frameSize) {
  std::string text;
  for (std::size_t offset = 0; offset < length;) {
    const RequestFrame frame = requestFrameAt(length, offset, frameSize);
    text +=
        (offset == 0 ? "" : " ") + std::to_string(frame.size) + "/" + std::to_string(frame.flags);
    offset += frame.size;
  }
  return text;
}

TEST(RequestFramesTest, MessageThatFitsIsOneFinalBinaryFrame) {
  EXPECT_EQ("1/130", frames(1, 8192));
  EXPECT_EQ("8191/130", frames(8191, 8192));
  EXPECT_EQ("8192/130", frames(8192, 8192));
}

TEST(RequestFramesTest, OneByteMoreIsASecondFrame) {
  EXPECT_EQ("8192/2 1/128", frames(8193, 8192));
}

TEST(RequestFramesTest, FullSecondFrameIsTheLast) {
  EXPECT_EQ("8192/2 8191/128", frames(16383, 8192));
  EXPECT_EQ("8192/2 8192/128", frames(16384, 8192));
}

TEST(RequestFramesTest, FramesBetweenFirstAndLastAreBareContinuations) {
  EXPECT_EQ("8192/2 8192/0 1/128", frames(16385, 8192));
  EXPECT_EQ("8192/2 8192/0 3616/128", frames(20000, 8192));
  EXPECT_EQ("1/2 1/0 1/0 1/0 1/128", frames(5, 1));
}

TEST(RequestFramesTest, FrameAfterAShortSendBeginsWhereItStopped) {
  const RequestFrame frame = requestFrameAt(20000, 100, 8192);
  EXPECT_EQ(8192U, frame.size);
  EXPECT_EQ(0, frame.flags);
}

TEST(RequestFramesTest, LargestSizesDoNotOverflow) {
  constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
  EXPECT_EQ(128, requestFrameAt(kMost, kMost - 1, 8192).flags);
  EXPECT_EQ(2, requestFrameAt(kMost, 0, kMost).flags);
  EXPECT_EQ(0, requestFrameAt(kMost, 1, kMost).flags);
}

TEST(RequestFramesTest, FrameIsAsLargeAsTheCallerSaysUpToAnIntLessTheLongestHeader) {
  constexpr std::size_t kLimit = 2147483647 - 14;
  EXPECT_EQ(std::to_string(kLimit) + "/130", frames(kLimit, kLimit));
  EXPECT_EQ(std::to_string(kLimit) + "/2 1/128", frames(kLimit + 1, kLimit + 1));
  EXPECT_EQ("1073741825/130", frames(1073741825, 1073741825));
}

TEST(RequestFramesTest, FrameSizeOf0GivesAnEmptyFrameThatIsNotTheLast) {
  const RequestFrame frame = requestFrameAt(5, 0, 0);
  EXPECT_EQ(0U, frame.size);
  EXPECT_EQ(2, frame.flags);
}

}  // namespace
