#include "JsonLine.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

TEST(JsonLineTest, FieldsKeepTheirOrder) {
  EXPECT_EQ("{\"z\":1,\"a\":null}\n", jsonLine({{"z", 1}, {"a", nullptr}}));
}

TEST(JsonLineTest, ControlCharactersAreEscaped) {
  EXPECT_EQ("{\"a\":\"x\\ny\\u001b\"}\n", jsonLine({{"a", "x\ny\x1b"}}));
}

TEST(JsonLineTest, ControlCharactersThatJsonPermitsAreEscapedToo) {
  EXPECT_EQ("{\"a\":\"\\u007f\\u0080\\u009f\xc2\xa0\xc3\x9b\"}\n",
            jsonLine({{"a", "\x7f\xc2\x80\xc2\x9f\xc2\xa0\xc3\x9b"}}));
}

TEST(JsonLineTest, BytesThatAreNotUtf8AreReplaced) {
  EXPECT_EQ("{\"a\":\"x\xef\xbf\xbdy\xc3\xa4\"}\n", jsonLine({{"a", "x\xffy\xc3\xa4"}}));
}

TEST(JsonLineTest, NameHasAllItsFields) {
  const std::string name = "0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh";
  EXPECT_EQ("{\"name\":\"" + name +
                "\",\"priority\":50,\"created\":\"2025-03-03T14:05:09\",\"job\":\"J12\","
                "\"sub_job\":\"0\",\"task\":731,\"relative_priority\":2,\"type\":\"sh\"}\n",
            jsonLine(fieldsOf(name, parseName(name).value())));
}

TEST(JsonLineTest, WordsOfStatusesAreThoseOfTheHeader) {
  EXPECT_EQ("ok", wordOf(Status::ok));
  EXPECT_EQ("invalid_argument", wordOf(Status::invalidArgument));
  EXPECT_EQ("not_configured", wordOf(Status::notConfigured));
  EXPECT_EQ("not_running", wordOf(Status::notRunning));
  EXPECT_EQ("timed_out", wordOf(Status::timedOut));
  EXPECT_EQ("stopped", wordOf(Status::stopped));
  EXPECT_EQ("system_error", wordOf(Status::systemError));
  EXPECT_EQ("out_of_memory", wordOf(Status::outOfMemory));
  EXPECT_EQ("unreachable", wordOf(Status::unreachable));
  EXPECT_EQ("connection_lost", wordOf(Status::connectionLost));
  EXPECT_EQ("refused", wordOf(Status::refused));
  EXPECT_EQ("in_doubt", wordOf(Status::inDoubt));
  EXPECT_EQ("not_found", wordOf(Status::notFound));
  EXPECT_EQ("unexpected_reply", wordOf(Status::unexpectedReply));
}

TEST(JsonLineTest, StatusOfALaterLibraryIsItsNumber) {
  EXPECT_EQ("14", wordOf(static_cast<Status>(14)));
  EXPECT_EQ("-1", wordOf(static_cast<Status>(-1)));
}

}  // namespace
}  // namespace velmo::cli
