#include "FrameReader.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "WebSocketFrame.h"

namespace {

using velmo::client::FrameReader;
using velmo::client::kLargestReply;
using velmo::test::closePayload;
using velmo::test::frame;
using velmo::test::frames;
using velmo::test::kBinary;
using velmo::test::kClose;
using velmo::test::kContinuation;
using velmo::test::kFinal;
using velmo::test::kLastContinuation;
using velmo::test::kPing;
using velmo::test::kPong;
using velmo::test::kText;

std::string shown(FrameReader::Event event, const FrameReader& reader) {
  const std::string content(reader.content());
  switch (event) {
    case FrameReader::Event::None:
      return "none";
    case FrameReader::Event::Message:
      return "message " + content + "; ";
    case FrameReader::Event::Ping:
      return "ping " + content + "; ";
    case FrameReader::Event::Pong:
      return "pong " + content + "; ";
    case FrameReader::Event::Close:
      return "close " + std::to_string(reader.closeCode()) + " " + content + "; ";
    case FrameReader::Event::TooLarge:
      return "too large";
    case FrameReader::Event::Wrong:
      return "wrong: " + content;
  }
  return "";
}

// All events so far.
std::string eventsOf(FrameReader& reader) {
  std::string text;
  for (;;) {
    const FrameReader::Event event = reader.next();
    if (event == FrameReader::Event::None) {
      return text;
    }
    text += shown(event, reader);
    if (event == FrameReader::Event::TooLarge || event == FrameReader::Event::Wrong) {
      return text;
    }
  }
}

std::string eventsIn(const std::string& bytes) {
  FrameReader reader;
  reader.feed(bytes);
  return eventsOf(reader);
}

// One of each kind.
std::string someFrames() {
  return frame(kFinal | kPing, "p") + frame(kFinal | kBinary, "whole") + frame(kText, "fr") +
         frame(kFinal | kPong, "") + frame(kContinuation, "") + frame(kContinuation, "agm") +
         frame(kLastContinuation, "ents") + frame(kFinal | kBinary, "") +
         frame(kFinal | kBinary, std::string(300, 'x')) +
         frame(kFinal | kClose, closePayload(1001, "bye")) + frame(kFinal | kClose, "");
}

std::string someEvents() {
  return "ping p; message whole; pong ; message fragments; message ; message " +
         std::string(300, 'x') + "; close 1001 bye; close 0 ; ";
}

TEST(FrameReaderTest, EachEventComesInItsOrder) {
  EXPECT_EQ(someEvents(), eventsIn(someFrames()));
}

TEST(FrameReaderTest, PiecesOfAnySizeGiveTheSameEvents) {
  const std::string bytes = someFrames();
  std::mt19937 random{5};  // NOLINT: the same in every run
  for (int i = 0; i < 300; ++i) {
    FrameReader reader;
    std::string events;
    for (std::size_t at = 0; at < bytes.size();) {
      const std::size_t size = i == 0 ? 1 : random() % 40;
      reader.feed(bytes.substr(at, size));
      events += eventsOf(reader);
      at += size;
    }
    ASSERT_EQ(someEvents(), events);
  }
}

TEST(FrameReaderTest, MessageMayHaveOneMebibyteAndNoMore) {
  const std::string most(kLargestReply, 'm');
  EXPECT_EQ("message " + most + "; ", eventsIn(frame(kFinal | kBinary, most)));
  EXPECT_EQ("message " + most + "; ", eventsIn(frames(most, 50000)));
  EXPECT_EQ("too large", eventsIn(frame(kFinal | kBinary, most + "x")));
  EXPECT_EQ("too large", eventsIn(frames(most + "x", 50000)));
}

TEST(FrameReaderTest, TooLargeIsSeenBeforeThePayloadComes) {
  EXPECT_EQ("too large",
            eventsIn(velmo::test::longFrameHeader(kFinal | kBinary, kLargestReply + 1) + "x"));
}

TEST(FrameReaderTest, InsideAMessageAsSoonAsItsFirstByteIsThere) {
  FrameReader reader;
  const auto isInsideAfter = [&reader](const std::string& bytes) {
    reader.feed(bytes);
    eventsOf(reader);
    return reader.isInsideMessage();
  };
  EXPECT_FALSE(isInsideAfter(""));
  EXPECT_FALSE(isInsideAfter(frame(kFinal | kPing, "ping").substr(0, 1)));
  EXPECT_FALSE(isInsideAfter(frame(kFinal | kPing, "ping").substr(1)));
  EXPECT_TRUE(isInsideAfter(frame(kFinal | kPing, "ping") + frame(kBinary, "x").substr(0, 1)));
  EXPECT_TRUE(isInsideAfter(frame(kBinary, "x").substr(1)));
  EXPECT_TRUE(isInsideAfter(frame(kFinal | kPong, "")));
  EXPECT_FALSE(isInsideAfter(frame(kLastContinuation, "x")));
}

TEST(FrameReaderTest, RandomBytesNeitherCrashNorHang) {
  std::mt19937 random{7};  // NOLINT: the same in every run
  for (int i = 0; i < 20000; ++i) {
    std::string bytes(random() % 60, '\0');
    for (char& byte : bytes) {
      byte =
          static_cast<char>(random() % 4 == 0 ? random() : random() % 16 | 0x80U * (random() % 2));
    }
    eventsIn(bytes);
  }
}

}  // namespace
