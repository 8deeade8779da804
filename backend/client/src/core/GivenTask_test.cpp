#include "GivenTask.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ShownResult.h"

namespace {

using velmo::client::checkIdentifier;
using velmo::client::Fault;
using velmo::client::GivenTask;
using velmo::client::isPlainText;
using velmo::client::isUtf8;
using velmo::client::mistakesIn;
using velmo::client::readTask;
using velmo::client::Result;
using velmo::client::takeTask;
using velmo::client::textOf;
using velmo::test::shown;

velmo_task leastTask() {
  velmo_task task{};
  task.size = sizeof task;
  task.priority_class = "Normal";
  task.command = "/bin/true";
  return task;
}

std::string shownTask(const velmo_task& task) {
  const Result<GivenTask> result = takeTask(&task);
  return result.isOk() ? "OK" : shown(result.fault());
}

using Field = const char* velmo_task::*;

struct NamedField {
  const char* name;
  Field field;
};

const std::vector<NamedField> kRequired{{"priority_class", &velmo_task::priority_class},
                                        {"command", &velmo_task::command}};
const std::vector<NamedField> kLines{{"priority_class", &velmo_task::priority_class},
                                     {"command", &velmo_task::command},
                                     {"adjustment", &velmo_task::adjustment},
                                     {"information", &velmo_task::information}};
const std::vector<NamedField> kIdentifiers{
    {"type", &velmo_task::type}, {"job", &velmo_task::job}, {"sub_job", &velmo_task::sub_job}};

// What becomes of a task whose field is set to `text`.
std::string shownWith(Field field, const char* text) {
  velmo_task task = leastTask();
  task.*field = text;
  return shownTask(task);
}

TEST(GivenTaskTest, NullIsRefused) {
  const Result<GivenTask> result = takeTask(nullptr);
  ASSERT_FALSE(result.isOk());
  EXPECT_EQ("INVALID_ARGUMENT: task is missing", shown(result.fault()));
}

TEST(GivenTaskTest, TextsAreTheCallers) {
  const velmo_task task{sizeof task, "Normal", "echo %s", "java", "Urgent",
                        "J17",       "3_x",    "user=a",  INT_MIN};
  const Result<GivenTask> result = takeTask(&task);
  ASSERT_TRUE(result.isOk());
  const GivenTask& given = result.value();
  EXPECT_EQ("Normal", given.priorityClass);
  EXPECT_EQ("echo %s", given.command);
  EXPECT_EQ(task.command, given.command.data());
  EXPECT_EQ("java", given.type);
  EXPECT_EQ("Urgent", given.adjustment);
  EXPECT_EQ("J17", given.job);
  EXPECT_EQ("3_x", given.subJob);
  EXPECT_EQ("user=a", given.information);
  EXPECT_EQ(INT_MIN, given.relativePriority);
}

TEST(GivenTaskTest, NullAndEmptyTextsGetTheDefaults) {
  for (const char* const nothing : {static_cast<const char*>(nullptr), ""}) {
    const velmo_task task{sizeof task, "Normal", "echo",  nothing, nothing,
                          nothing,     nothing,  nothing, 0};
    const Result<GivenTask> result = takeTask(&task);
    ASSERT_TRUE(result.isOk());
    const GivenTask& given = result.value();
    EXPECT_EQ("sh", given.type);
    EXPECT_EQ("", given.adjustment);
    EXPECT_EQ("", given.job);
    EXPECT_EQ("0", given.subJob);
    EXPECT_EQ("", given.information);
    EXPECT_EQ(0, given.relativePriority);
  }
}

TEST(GivenTaskTest, ClassAndCommandAreRequired) {
  for (const auto& [name, field] : kRequired) {
    const std::string expected = std::string("INVALID_ARGUMENT: ") + name + " is missing";
    EXPECT_EQ(expected, shownWith(field, nullptr));
    EXPECT_EQ(expected, shownWith(field, ""));
  }
}

TEST(GivenTaskTest, LineFeedIsRefusedAndTheTextNotRepeated) {
  for (const auto& [name, field] : kLines) {
    const std::string expected = std::string("INVALID_ARGUMENT: ") + name + " contains a line feed";
    for (const char* const text : {"\n", "secret\n", "\nsecret", "a\nb\nc"}) {
      EXPECT_EQ(expected, shownWith(field, text));
    }
  }
}

TEST(GivenTaskTest, OtherBytesOfALineAreTaken) {
  for (const auto& [name, field] : kLines) {
    EXPECT_EQ("OK", shownWith(field, "\r\t\x01/ %%=#;\x7F\xFF")) << name;
  }
}

TEST(GivenTaskTest, SlashInAnIdentifierIsRefused) {
  for (const auto& [name, field] : kIdentifiers) {
    const std::string expected = std::string("INVALID_ARGUMENT: ") + name + " contains \"/\": \"";
    for (const std::string text : {"/", "a/b", "/a", "a/"}) {
      EXPECT_EQ(expected + text + "\"", shownWith(field, text.c_str()));
    }
  }
}

TEST(GivenTaskTest, ControlByteInAnIdentifierIsRefused) {
  const std::vector<std::pair<std::string, std::string>> texts{{"\x01", "\\x01"},
                                                               {"a\n", "a\\x0A"},
                                                               {"a\tb", "a\\x09b"},
                                                               {"\x1F", "\\x1F"},
                                                               {"\x7F", "\\x7F"}};
  for (const auto& [name, field] : kIdentifiers) {
    for (const auto& [text, written] : texts) {
      EXPECT_EQ(std::string("INVALID_ARGUMENT: ") + name + " contains a control character: \"" +
                    written + "\"",
                shownWith(field, text.c_str()));
    }
  }
}

TEST(GivenTaskTest, OtherBytesOfAnIdentifierAreTaken) {
  for (const auto& [name, field] : kIdentifiers) {
    EXPECT_EQ("OK", shownWith(field, " ~a.b-c_d\\\"\x80\xFF")) << name;
  }
}

TEST(GivenTaskTest, IdentifierHasAtMost255Bytes) {
  const std::string longest(255, 'x');
  const std::string tooLong(256, 'x');
  for (const auto& [name, field] : kIdentifiers) {
    EXPECT_EQ("OK", shownWith(field, longest.c_str())) << name;
    EXPECT_EQ(std::string("INVALID_ARGUMENT: ") + name + " is too long: 256 bytes",
              shownWith(field, tooLong.c_str()));
  }
}

TEST(GivenTaskTest, CommandMayHaveAnyLength) {
  EXPECT_EQ("OK", shownWith(&velmo_task::command, std::string(1'000'000, 'x').c_str()));
}

TEST(GivenTaskTest, WrongSizeIsRefusedBeforeTheTexts) {
  velmo_task task{};
  EXPECT_EQ("INVALID_ARGUMENT: the size of velmo_task is 0: set it to the sizeof of the struct",
            shownTask(task));
  task.size = SIZE_MAX;
  EXPECT_EQ(
      "INVALID_ARGUMENT: velmo_task has fields that this version of the library does not know "
      "(size " +
          std::to_string(SIZE_MAX) + ")",
      shownTask(task));
}

TEST(GivenTaskTest, FirstOfSeveralMistakesIsReported) {
  velmo_task task{sizeof task, nullptr, nullptr, "/", "\n", "/", "/", "\n", 0};
  const std::vector<NamedField> fields{{"priority_class", &velmo_task::priority_class},
                                       {"command", &velmo_task::command},
                                       {"adjustment", &velmo_task::adjustment},
                                       {"information", &velmo_task::information},
                                       {"type", &velmo_task::type},
                                       {"job", &velmo_task::job},
                                       {"sub_job", &velmo_task::sub_job}};
  for (const auto& [name, field] : fields) {
    const std::string start = std::string("INVALID_ARGUMENT: ") + name + " ";
    EXPECT_EQ(start, shownTask(task).substr(0, start.size()));
    task.*field = "x";
  }
  EXPECT_EQ("OK", shownTask(task));
}

TEST(ReadTaskTest, OnlyTheSizeIsChecked) {
  velmo_task task{sizeof task, nullptr, "a\nb", "/", "\n", "/", nullptr, "\n", 3};
  const Result<GivenTask> given = readTask(&task);
  ASSERT_TRUE(given.isOk());
  EXPECT_EQ("", given.value().priorityClass);
  EXPECT_EQ("a\nb", given.value().command);
  EXPECT_EQ("0", given.value().subJob);
  EXPECT_EQ(3, given.value().relativePriority);

  task.size = 1;
  EXPECT_EQ("INVALID_ARGUMENT: the size of velmo_task is 1: set it to the sizeof of the struct",
            shown(readTask(&task).fault()));
  EXPECT_EQ("INVALID_ARGUMENT: task is missing", shown(readTask(nullptr).fault()));
}

TEST(MistakesInTest, EveryMistakeIsReportedInTheOrderOfTheFields) {
  const velmo_task task{sizeof task, nullptr, "\n", "a/b", "\n", "a/b", "\x01", "\n", 0};
  std::vector<std::string> mistakes;
  for (const Fault& mistake : mistakesIn(readTask(&task).value())) {
    mistakes.push_back(shown(mistake));
  }
  EXPECT_THAT(mistakes, testing::ElementsAre(
                            "INVALID_ARGUMENT: priority_class is missing",
                            "INVALID_ARGUMENT: command contains a line feed",
                            "INVALID_ARGUMENT: adjustment contains a line feed",
                            "INVALID_ARGUMENT: information contains a line feed",
                            "INVALID_ARGUMENT: type contains \"/\": \"a/b\"",
                            "INVALID_ARGUMENT: job contains \"/\": \"a/b\"",
                            "INVALID_ARGUMENT: sub_job contains a control character: \"\\x01\""));
}

TEST(MistakesInTest, TaskThatCanBeSubmittedHasNone) {
  const velmo_task task = leastTask();
  EXPECT_THAT(mistakesIn(readTask(&task).value()), testing::IsEmpty());
}

TEST(TextOfTest, NullIsEmpty) {
  EXPECT_EQ("", textOf(nullptr));
  EXPECT_EQ("", textOf(""));
  EXPECT_EQ("text", textOf("text"));
}

TEST(CheckIdentifierTest, SlashComesBeforeControlBytesAndLength) {
  EXPECT_EQ("OK", shown(checkIdentifier("key", "")));
  EXPECT_EQ("INVALID_ARGUMENT: key contains \"/\": \"\\x01/\"",
            shown(checkIdentifier("key", "\x01/")));
  EXPECT_EQ("INVALID_ARGUMENT: key contains a control character: \"\\x00\"",
            shown(checkIdentifier("key", std::string(1, '\0'))));
}

TEST(IsPlainTextTest, SlashAndControlCharactersAreNotPlainWhereverTheyAre) {
  EXPECT_TRUE(isPlainText(""));
  for (int byte = 0; byte < 256; ++byte) {
    const bool isPlain = byte != '/' && byte >= 0x20 && byte != 0x7F;
    for (std::size_t at = 0; at < 3; ++at) {
      std::string text("abc");
      text[at] = static_cast<char>(byte);
      EXPECT_EQ(isPlain, isPlainText(text)) << byte;
    }
  }
}

struct Utf8Row {
  std::string bytes;
  const char* what;
};

TEST(IsUtf8Test, WellFormedTextIsTaken) {
  const std::vector<Utf8Row> rows{
      {"", "empty"},
      {"\x01~\x7F", "ASCII"},
      {std::string(1, '\0'), "U+0000"},
      {"\xC2\x80", "U+0080, the least of two bytes"},
      {"\xDF\xBF", "U+07FF, the greatest of two bytes"},
      {"\xE0\xA0\x80", "U+0800, the least of three bytes"},
      {"\xED\x9F\xBF", "U+D7FF, before the surrogates"},
      {"\xEE\x80\x80", "U+E000, after the surrogates"},
      {"\xEF\xBF\xBF", "U+FFFF, the greatest of three bytes"},
      {"\xF0\x90\x80\x80", "U+10000, the least of four bytes"},
      {"\xF4\x8F\xBF\xBF", "U+10FFFF, the greatest"},
      {"a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z", "a mixture"},
  };
  for (const Utf8Row& row : rows) {
    EXPECT_TRUE(isUtf8(row.bytes)) << row.what;
  }
}

TEST(IsUtf8Test, MalformedTextIsRefusedAnywhere) {
  const std::vector<Utf8Row> rows{
      {"\x80", "a continuation alone"},
      {"\xBF", "a continuation alone"},
      {"\x82\x80", "two continuations"},
      {"\xC0\x80", "overlong U+0000"},
      {"\xC1\xBF", "overlong U+007F"},
      {"\xE0\x80\x80", "overlong U+0000 of three bytes"},
      {"\xE0\x9F\xBF", "overlong U+07FF"},
      {"\xF0\x80\x80\x80", "overlong U+0000 of four bytes"},
      {"\xF0\x8F\xBF\xBF", "overlong U+FFFF"},
      {"\xED\xA0\x80", "U+D800, the first surrogate"},
      {"\xED\xBF\xBF", "U+DFFF, the last surrogate"},
      {"\xF4\x90\x80\x80", "U+110000"},
      {"\xF5\x80\x80\x80", "a lead byte beyond U+10FFFF"},
      {"\xF8\x88\x80\x80\x80", "five bytes"},
      {"\xFC\x84\x80\x80\x80\x80", "six bytes"},
      {"\xFE", "no lead byte"},
      {"\xFF", "no lead byte"},
      {"\xC3", "two bytes, one missing"},
      {"\xE2\x82", "three bytes, one missing"},
      {"\xE2", "three bytes, two missing"},
      {"\xF0\x9F\x98", "four bytes, one missing"},
      {"\xF0", "four bytes, three missing"},
      {"\xC3\xC3\xA4", "a lead byte instead of a continuation"},
      {"\xE2\x28\xA1", "ASCII instead of a continuation"},
      {"\xF0\x9F\x98\x20", "ASCII instead of the last continuation"},
  };
  for (const Utf8Row& row : rows) {
    EXPECT_FALSE(isUtf8(row.bytes)) << row.what;
    EXPECT_FALSE(isUtf8("a\xC3\xA4" + row.bytes)) << row.what << ", at the end";
    EXPECT_FALSE(isUtf8(row.bytes + "a")) << row.what << ", at the start";
  }
}

TEST(IsUtf8Test, NothingBehindTheTextIsRead) {
  const std::string_view text = "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
  const std::set<std::size_t> ends{0, 2, 5, 9};
  for (std::size_t size = 0; size <= text.size(); ++size) {
    EXPECT_EQ(ends.count(size) == 1, isUtf8(text.substr(0, size))) << size;
  }
}

// A code point in UTF-8, also one that must not be encoded.
std::string encoded(char32_t point) {
  const auto byte = [](char32_t value) { return static_cast<char>(value); };
  const auto next = [&](unsigned shift) { return byte(0x80U | ((point >> shift) & 0x3FU)); };
  if (point < 0x80) {
    return {byte(point)};
  }
  if (point < 0x800) {
    return {byte(0xC0U | (point >> 6U)), next(0)};
  }
  if (point < 0x10000) {
    return {byte(0xE0U | (point >> 12U)), next(6), next(0)};
  }
  return {byte(0xF0U | (point >> 18U)), next(12), next(6), next(0)};
}

TEST(IsUtf8Test, EveryCodePointButSurrogatesIsTaken) {
  for (char32_t point = 0; point < 0x140000; ++point) {
    const bool isSurrogate = point >= 0xD800 && point <= 0xDFFF;
    ASSERT_EQ(point <= 0x10FFFF && !isSurrogate, isUtf8(encoded(point))) << std::hex << +point;
  }
}

}  // namespace
