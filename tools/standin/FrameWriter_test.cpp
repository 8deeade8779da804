#include "FrameWriter.h"

#include <gtest/gtest.h>

#include <string>

#include "Frame.h"
#include "FrameReader.h"

using namespace std::string_literals;

namespace velmo::standin {
namespace {

TEST(FrameWriterTest, ServersFrameIsFinalAndHasNoMask) {
  EXPECT_EQ(
      "\x82\x03"
      "abc",
      serverFrame(kBinary, "abc"));
  EXPECT_EQ("\x89\0"s, serverFrame(kPing, ""));
}

TEST(FrameWriterTest, LengthHasItsShortestForm) {
  const auto startFor = [](std::size_t length, std::size_t count) {
    return serverFrame(kBinary, std::string(length, 'x')).substr(0, count);
  };
  EXPECT_EQ("\x82\x7dx", startFor(125, 3));
  EXPECT_EQ("\x82\x7e\0\x7ex"s, startFor(126, 5));
  EXPECT_EQ("\x82\x7e\xff\xffx", startFor(65535, 5));
  EXPECT_EQ("\x82\x7f\0\0\0\0\0\x01\0\0x"s, startFor(65536, 11));
}

TEST(FrameWriterTest, MaskedFrameHasTheBitTheMaskAndThePayloadUnderIt) {
  EXPECT_EQ("\x82\x85\x01\x02\x03\x04\x60\x60\x60\x60\x64",
            maskedFrame(kBinary, "abcde", "\x01\x02\x03\x04"));
}

TEST(FrameWriterTest, MaskedFrameIsReadBack) {
  const std::string payload(70000, 'x');
  FrameReader reader;
  reader.add(maskedFrame(kBinary, payload, "abcd"));
  EXPECT_EQ(payload, reader.next()->payload);
  EXPECT_TRUE(reader.isEmpty());
}

}  // namespace
}  // namespace velmo::standin
