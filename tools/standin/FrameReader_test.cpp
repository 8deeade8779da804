#include "FrameReader.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace velmo::standin {
namespace {

const std::string kMask = "\x01\x02\x03\x04";

// "abc" under the mask.
const std::string kMasked = "\x60\x60\x60";

void expectRefused(const std::string& bytes, CloseCode code, const char* why) {
  FrameReader reader;
  reader.add(bytes);
  try {
    reader.next();
    ADD_FAILURE() << "taken: " << why;
  } catch (const Refusal& refusal) {
    EXPECT_EQ(code, refusal.code()) << why;
    EXPECT_STREQ(why, refusal.what());
  }
}

TEST(FrameReaderTest, FrameIsCompleteWithItsLastByteWhereverItsBytesAreCut) {
  const std::string bytes = "\x82\x83" + kMask + kMasked;
  FrameReader reader;
  for (const char byte : bytes) {
    EXPECT_EQ(std::nullopt, reader.next() ? std::optional<int>(1) : std::nullopt);
    reader.add({&byte, 1});
    EXPECT_FALSE(reader.isEmpty());
  }
  const std::optional<Frame> frame = reader.next();
  ASSERT_TRUE(frame);
  EXPECT_EQ(0x82, frame->flags);
  EXPECT_EQ("abc", frame->payload);
  EXPECT_TRUE(reader.isEmpty());
}

TEST(FrameReaderTest, FramesThatArriveTogetherAreReturnedInOrder) {
  FrameReader reader;
  reader.add("\x02\x83" + kMask + kMasked + "\x80\x81" + kMask + "\x01");
  EXPECT_EQ("abc", reader.next()->payload);
  EXPECT_EQ("\0"s, reader.next()->payload);
  EXPECT_FALSE(reader.next());
}

TEST(FrameReaderTest, FrameWithoutFlagsAndPayloadIsAFrame) {
  FrameReader reader;
  reader.add("\0\x80"s + kMask);
  const std::optional<Frame> frame = reader.next();
  ASSERT_TRUE(frame);
  EXPECT_EQ(0, frame->flags);
  EXPECT_EQ("", frame->payload);
}

TEST(FrameReaderTest, LongerLengthsAreReadFromTwoOrEightBytes) {
  FrameReader reader;
  reader.add("\x82\xfe\x01\x00"s + "\0\0\0\0"s + std::string(256, 'x'));
  EXPECT_EQ(std::string(256, 'x'), reader.next()->payload);
  reader.add("\x82\xff\0\0\0\0\0\x10\0\0"s + "\0\0\0\0"s);
  reader.add(std::string(kLongestMessage, 'y'));
  EXPECT_EQ(kLongestMessage, reader.next()->payload.size());
}

TEST(FrameReaderTest, FrameWithoutAMaskIsRefusedFromItsFirstTwoBytes) {
  expectRefused("\x82\x03", CloseCode::kProtocolError, "a frame without a mask");
  expectRefused("\x88\x00"s, CloseCode::kProtocolError, "a frame without a mask");
}

TEST(FrameReaderTest, PayloadBeyondTheLimitIsRefusedFromItsLength) {
  expectRefused("\x82\xff\0\0\0\0\0\x10\0\x01"s, CloseCode::kTooBig, "longer than 1048576 bytes");
  expectRefused("\x82\xff\xff\xff\xff\xff\xff\xff\xff\xff", CloseCode::kTooBig,
                "longer than 1048576 bytes");
}

TEST(FrameReaderTest, ControlFrameIsShortAndWholeAndHasNoReservedBits) {
  expectRefused("\x89\xfe", CloseCode::kProtocolError, "a control frame of more than 125 bytes");
  expectRefused("\x08\x80", CloseCode::kProtocolError, "a fragmented control frame");
  expectRefused("\xc8\x80", CloseCode::kProtocolError, "a frame with the flags 200");
}

}  // namespace
}  // namespace velmo::standin
