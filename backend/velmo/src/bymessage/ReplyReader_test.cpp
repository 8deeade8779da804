#include "ReplyReader.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "WireMessages.h"

namespace {

using brix::velmo::endsMessage;
using brix::velmo::ReplyReader;
using velmo::test::envelopeOf;
using velmo::test::numberField;
using velmo::test::responseNaming;
using velmo::test::responseWithoutName;
using velmo::test::textField;
using velmo::test::WireRequest;

// First bytes of frames, as they are on the wire.
constexpr int kFirst = 0x02;
constexpr int kMiddle = 0x00;
constexpr int kLast = 0x80;
constexpr int kText = 0x81;
constexpr int kBinary = 0x82;
constexpr int kClose = 0x88;
constexpr int kPing = 0x89;
constexpr int kPong = 0x8A;
constexpr int kPingWithoutEnd = 0x09;

constexpr std::size_t kFrameSize = 8192;

bool take(ReplyReader& reader, const std::string& payload, int flags) {
  return reader.take(payload.data(), static_cast<int>(payload.size()), flags);
}

// Of a reply in one frame.
std::optional<std::string> nameIn(const std::string& reply) {
  ReplyReader reader;
  EXPECT_EQ(true, take(reader, reply, kBinary));
  return reader.taskName();
}

// --- frames ---

TEST(ReplyReaderTest, MessageEndsWithAFinalFrameWhateverItsOpcode) {
  for (const int flags : {kLast, kText, kBinary, kClose, kPing, kPong, 0x8F, 0xF2}) {
    EXPECT_TRUE(endsMessage(1, flags)) << flags;
  }
  for (const int flags : {kFirst, kMiddle, kPingWithoutEnd, 0x7F}) {
    EXPECT_FALSE(endsMessage(1, flags)) << flags;
  }
}

TEST(ReplyReaderTest, MessageEndsWithAnEmptyFrameAndWithTheConnection) {
  for (const int flags : {kFirst, kMiddle, kLast, kPingWithoutEnd}) {
    EXPECT_TRUE(endsMessage(0, flags)) << flags;
    EXPECT_TRUE(endsMessage(-1, flags)) << flags;
  }
}

TEST(ReplyReaderTest, OneFrameIsAReply) {
  for (const int flags : {kBinary, kText, kLast}) {
    ReplyReader reader;
    EXPECT_TRUE(take(reader, responseNaming("T1"), flags));
    EXPECT_EQ("T1", reader.taskName());
  }
}

TEST(ReplyReaderTest, FramesAreJoinedInAnyNumber) {
  const std::string reply = responseNaming("T1.with-a-longer-name");
  for (std::size_t size = 1; size < reply.size(); ++size) {
    ReplyReader reader;
    for (std::size_t from = 0; from < reply.size(); from += size) {
      const bool isLast = from + size >= reply.size();
      EXPECT_EQ(isLast, take(reader, reply.substr(from, size), isLast ? kLast : kMiddle)) << size;
    }
    EXPECT_EQ("T1.with-a-longer-name", reader.taskName()) << size;
  }
}

TEST(ReplyReaderTest, ReplyAbove8192BytesOverSeveralFramesIsReadWhole) {
  for (const std::size_t length : {kFrameSize, 3 * kFrameSize, std::size_t{1000000}}) {
    const std::string name(length, 'n');
    const std::string reply = responseNaming(name);
    ReplyReader reader;
    std::size_t from = 0;
    for (; reply.size() - from > kFrameSize; from += kFrameSize) {
      EXPECT_FALSE(take(reader, reply.substr(from, kFrameSize), from == 0 ? kFirst : kMiddle));
    }
    EXPECT_TRUE(take(reader, reply.substr(from), kLast));
    EXPECT_EQ(name, reader.taskName());
  }
}

TEST(ReplyReaderTest, PingInFrontOfTheReplyIsTakenForIt) {
  ReplyReader reader;
  EXPECT_TRUE(take(reader, "are you there", kPing));
  EXPECT_EQ(std::nullopt, reader.taskName());
}

TEST(ReplyReaderTest, PayloadOfAControlFrameIsAPartOfTheReply) {
  for (const int flags : {kPing, kPong, kClose}) {
    ReplyReader reader;
    EXPECT_FALSE(take(reader, responseNaming("T1"), kFirst));
    EXPECT_TRUE(take(reader, responseNaming("T2"), flags));
    EXPECT_EQ("T2", reader.taskName()) << "the last of two names in one message counts";
  }
  ReplyReader reader;
  EXPECT_FALSE(take(reader, responseNaming("T1").substr(0, 3), kPingWithoutEnd));
  EXPECT_TRUE(take(reader, responseNaming("T1").substr(3), kPong));
  EXPECT_EQ("T1", reader.taskName());
}

TEST(ReplyReaderTest, EmptyFrameEndsTheReplyAndKeepsWhatCameBefore) {
  for (const int size : {0, -1}) {
    ReplyReader reader;
    EXPECT_FALSE(take(reader, responseNaming("T1"), kFirst));
    EXPECT_TRUE(reader.take("not read", size, kMiddle));
    EXPECT_EQ("T1", reader.taskName());
  }
}

TEST(ReplyReaderTest, ReplyWithoutFramesOrWithAnEmptyOneIsOfTheWrongType) {
  EXPECT_EQ(std::nullopt, ReplyReader().taskName());
  EXPECT_EQ(std::nullopt, nameIn(""));
}

TEST(ReplyReaderTest, NulBytesAreParts) {
  const std::string name("a\0b", 3);
  EXPECT_EQ(name, nameIn(responseNaming(name)));
}

// --- the name ---

TEST(ReplyReaderTest, ReplyOfAnotherTypeHasNoName) {
  EXPECT_EQ(std::nullopt, nameIn(envelopeOf(WireRequest())));
  EXPECT_EQ(std::nullopt, nameIn(textField(1, "")));
  EXPECT_EQ(std::nullopt, nameIn(textField(3, "T1"))) << "a field that is not known";
  EXPECT_EQ(std::nullopt, nameIn(numberField(2, 1))) << "a number in the place of the response";
}

TEST(ReplyReaderTest, LastOfTwoTypesCounts) {
  EXPECT_EQ(std::nullopt, nameIn(responseNaming("T1") + envelopeOf(WireRequest())));
  EXPECT_EQ("T1", nameIn(envelopeOf(WireRequest()) + responseNaming("T1")));
}

TEST(ReplyReaderTest, ReplyWithoutANameHasTheEmptyName) {
  EXPECT_EQ("", nameIn(responseWithoutName()));
  EXPECT_EQ("", nameIn(responseNaming("")));
  EXPECT_EQ("", nameIn(textField(2, textField(9, "T1")))) << "a field that is not known";
}

TEST(ReplyReaderTest, UnknownFieldsAreSkipped) {
  EXPECT_EQ("T1", nameIn(textField(7, "x") + textField(2, numberField(9, -1) + textField(1, "T1")) +
                         numberField(8, 5)));
}

// --- malformed replies ---

TEST(ReplyReaderTest, MalformedBytesAfterAValidBeginningAreIgnored) {
  const std::vector<std::string> endings{"\xFF\xFF\xFF", "\x1A", "\x1A\x09x",         "\x12",
                                         "\x12\x7F",     "\x07", std::string(1, '\0')};
  for (const std::string& ending : endings) {
    EXPECT_EQ("T1", nameIn(responseNaming("T1") + ending));
  }
}

TEST(ReplyReaderTest, MalformedBytesInFrontHideTheName) {
  EXPECT_EQ(std::nullopt, nameIn("\xFF\xFE\xFD" + responseNaming("T1")));
}

TEST(ReplyReaderTest, ResponseThatSaysItIsLongerIsReadToItsEnd) {
  EXPECT_EQ("T1", nameIn("\x12\x09\x0A\x02T1"));
}

TEST(ReplyReaderTest, NameThatIsCutHasItsFullLength) {
  const std::string reply = responseNaming("T1.20250303");
  const std::optional<std::string> name = nameIn(reply.substr(0, reply.size() - 3));
  ASSERT_TRUE(name);
  EXPECT_EQ(11U, name->size());
}

TEST(ReplyReaderTest, NameThatIsNotUtf8IsGivenAsItIs) {
  EXPECT_EQ("\xC3\x28\xFF", nameIn(responseNaming("\xC3\x28\xFF")));
}

}  // namespace
