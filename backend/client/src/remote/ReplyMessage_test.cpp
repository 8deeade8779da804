#include "ReplyMessage.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "WireMessages.h"

namespace {

using velmo::client::parseReply;
using velmo::client::ReplyMessage;
using velmo::test::numberField;
using velmo::test::responseNaming;
using velmo::test::textField;

std::string shown(const std::string& bytes) {
  const ReplyMessage reply = parseReply(bytes);
  switch (reply.kind) {
    case ReplyMessage::Kind::Named:
      return "named " + std::string(reply.name);
    case ReplyMessage::Kind::Malformed:
      return "malformed";
    case ReplyMessage::Kind::OtherKind:
      return "other";
    case ReplyMessage::Kind::Nameless:
      return "nameless";
  }
  return "";
}

TEST(ReplyMessageTest, NameIsTaken) {
  EXPECT_EQ("named task", shown(responseNaming("task")));
  EXPECT_EQ("named ", shown(responseNaming("")));
}

TEST(ReplyMessageTest, ResponseWithoutANameIsNameless) {
  EXPECT_EQ("nameless", shown(textField(2, "")));
  EXPECT_EQ("nameless", shown(textField(2, numberField(1, 5))));
}

TEST(ReplyMessageTest, OtherMessagesAreOfAnotherKind) {
  EXPECT_EQ("other", shown(""));
  EXPECT_EQ("other", shown(textField(1, "")));
  EXPECT_EQ("other", shown(textField(3, textField(1, "n"))));
  EXPECT_EQ("other", shown(numberField(2, 1)));
}

TEST(ReplyMessageTest, UnknownFieldsAreSkipped) {
  const std::string unknown = numberField(9, -1) + textField(10, "x") +
                              "\x59"
                              "12345678" +
                              "\x5d"
                              "1234" +
                              "\x63\x68\x01\x64";
  EXPECT_EQ("named n",
            shown(unknown + textField(2, unknown + textField(1, "n") + unknown) + unknown));
}

TEST(ReplyMessageTest, LastNameCounts) {
  EXPECT_EQ("named b", shown(textField(2, textField(1, "a") + textField(1, "b"))));
  EXPECT_EQ("named b", shown(responseNaming("a") + responseNaming("b")));
}

TEST(ReplyMessageTest, SecondResponseIsMergedIntoTheFirst) {
  EXPECT_EQ("named a", shown(responseNaming("a") + textField(2, "")));
}

TEST(ReplyMessageTest, RequestBehindTheResponseReplacesIt) {
  EXPECT_EQ("other", shown(responseNaming("a") + textField(1, "")));
  EXPECT_EQ("nameless", shown(responseNaming("a") + textField(1, "") + textField(2, "")));
}

TEST(ReplyMessageTest, CutMessageIsMalformed) {
  const std::string whole = responseNaming("task");
  for (std::size_t size = 1; size < whole.size(); ++size) {
    EXPECT_EQ("malformed", shown(whole.substr(0, size))) << size;
  }
}

TEST(ReplyMessageTest, WrongBytesAreMalformed) {
  const std::vector<std::string> rows{
      std::string(1, '\0'),                       // field 0
      "\x0c",                                     // the end of no group
      "\x2b\x34",                                 // the end of another group
      "\x0f",                                     // wire type 7
      "\x08" + std::string(10, '\xff') + "\x01",  // a number of 11 bytes
      "\x0a" + std::string(5, '\x80') + "\x01",   // a length of 6 bytes
      textField(1, "\x0a"),                       // a request that is cut
      std::string("\x12\x05\x0a\x01n", 5),        // longer than what is there
  };
  for (const std::string& row : rows) {
    EXPECT_EQ("malformed", shown(responseNaming("n") + row));
  }
}

TEST(ReplyMessageTest, DeepGroupsAreMalformedAndDoNotExhaustTheStack) {
  EXPECT_EQ("malformed", shown(std::string(1000000, '\x2b')));
}

}  // namespace
