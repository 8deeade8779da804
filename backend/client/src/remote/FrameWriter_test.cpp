#include "FrameWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "WebSocketFrame.h"

namespace {

using velmo::client::FrameWriter;
using velmo::test::readFrame;
using velmo::test::WebSocketFrame;

// Reads frames to the end of the bytes.
std::vector<WebSocketFrame> framesIn(const std::string& wire) {
  std::vector<WebSocketFrame> frames;
  for (std::size_t at = 0; at < wire.size();) {
    frames.push_back(readFrame([&](std::size_t count) {
      at += count;
      return wire.substr(at - count, count);
    }));
  }
  return frames;
}

std::string shown(const std::string& wire) {
  std::string text;
  for (const WebSocketFrame& frame : framesIn(wire)) {
    text += std::to_string(frame.flags) + (frame.isMasked ? "m" : "") + " " +
            std::to_string(frame.payload.size()) + "; ";
  }
  return text;
}

TEST(FrameWriterTest, MessageIsSplitAt8192Bytes) {
  struct Row {
    std::size_t size;
    std::string frames;
  };
  const std::vector<Row> rows{
      {0, "130m 0; "},
      {1, "130m 1; "},
      {125, "130m 125; "},
      {126, "130m 126; "},
      {8192, "130m 8192; "},
      {8193, "2m 8192; 128m 1; "},
      {16384, "2m 8192; 128m 8192; "},
      {20000, "2m 8192; 0m 8192; 128m 3616; "},
  };
  FrameWriter writer;
  for (const Row& row : rows) {
    std::string message(row.size, '\0');
    std::generate(message.begin(), message.end(),
                  [n = 0]() mutable { return static_cast<char>(n++ % 251); });
    std::string wire;
    ASSERT_FALSE(writer.appendMessage(wire, message));
    EXPECT_EQ(row.frames, shown(wire));
    std::string payload;
    for (const WebSocketFrame& frame : framesIn(wire)) {
      payload += frame.payload;
    }
    EXPECT_EQ(message, payload) << row.size;
  }
}

TEST(FrameWriterTest, EachFrameHasAnotherMask) {
  FrameWriter writer;
  std::string wire;
  ASSERT_FALSE(writer.appendMessage(wire, std::string(409600, 'x')));
  std::set<std::string> masks;
  for (std::size_t at = 4; at < wire.size(); at += 8192 + 8) {
    masks.insert(wire.substr(at, 4));
  }
  EXPECT_EQ(50U, masks.size());
}

TEST(FrameWriterTest, FramesAreAppended) {
  FrameWriter writer;
  std::string wire;
  ASSERT_FALSE(writer.appendPong(wire, "ping"));
  ASSERT_FALSE(writer.appendClose(wire, 1000));
  ASSERT_FALSE(writer.appendClose(wire, 0));
  const std::vector<WebSocketFrame> frames = framesIn(wire);
  EXPECT_EQ("138m 4; 136m 2; 136m 0; ", shown(wire));
  EXPECT_EQ("ping", frames[0].payload);
  EXPECT_EQ(velmo::test::closePayload(1000), frames[1].payload);
}

}  // namespace
