#include "TaskLine.h"

#include <gtest/gtest.h>

#include "Failure.h"

namespace velmo::cli {
namespace {

using namespace std::string_literals;

Task defaults() {
  Task task;
  task.priorityClass = "Normal";
  task.job = "J1";
  task.relativePriority = 3;
  return task;
}

std::string refusalOf(const std::string& line) {
  try {
    taskOf(line, {});
  } catch (const Failure& failure) {
    EXPECT_EQ(Status::invalidArgument, failure.status());
    return failure.what();
  }
  return "";
}

TEST(TaskLineTest, LineIsTheCommandByteForByte) {
  const Task task = taskOf("  a | b\t%d%% \r", defaults());
  EXPECT_EQ("  a | b\t%d%% \r", task.command);
  EXPECT_EQ("Normal", task.priorityClass);
  EXPECT_EQ("J1", task.job);
  EXPECT_EQ(3, task.relativePriority);
}

TEST(TaskLineTest, ObjectReplacesTheDefaultsThatItHas) {
  const Task task =
      taskOf(R"({"command":"ls \"a\" \u00e4","job":"","relative_priority":-7})", defaults());
  EXPECT_EQ("ls \"a\" \xc3\xa4", task.command);
  EXPECT_EQ("Normal", task.priorityClass);
  EXPECT_EQ("", task.job);
  EXPECT_EQ(-7, task.relativePriority);
}

TEST(TaskLineTest, ObjectMayHaveEveryField) {
  const Task task =
      taskOf(R"({ "priority_class":"c","command":"d","type":"t","adjustment":"a","job":"j",)"
             R"("sub_job":"s","information":"i","relative_priority":2147483647} )",
             {});
  EXPECT_EQ("c", task.priorityClass);
  EXPECT_EQ("d", task.command);
  EXPECT_EQ("t", task.type);
  EXPECT_EQ("a", task.adjustment);
  EXPECT_EQ("j", task.job);
  EXPECT_EQ("s", task.subJob);
  EXPECT_EQ("i", task.information);
  EXPECT_EQ(2147483647, task.relativePriority);
}

TEST(TaskLineTest, EmptyObjectHasTheDefaults) {
  EXPECT_EQ("Normal", taskOf("{ }", defaults()).priorityClass);
}

TEST(TaskLineTest, BraceOfAShellIsNotJson) {
  for (const char* line : {"{ echo; }", "{", "{ ", "{'a'", "x {\"command\":\"x\"}", "{a,b}"}) {
    EXPECT_FALSE(isJsonObject(line)) << line;
    EXPECT_EQ(line, taskOf(line, {}).command);
  }
}

TEST(TaskLineTest, BraceAndQuotationMarkIsJson) {
  for (const char* line : {"{\"", "{ \t\"", "{}", "{  } x", " \t{\"", "\xef\xbb\xbf{\""}) {
    EXPECT_TRUE(isJsonObject(line)) << line;
  }
}

TEST(TaskLineTest, BlanksAndAByteOrderMarkInFrontOfAnObjectAreSkipped) {
  EXPECT_EQ("x", taskOf(" \t{\"command\":\"x\"}", {}).command);
  EXPECT_EQ("x", taskOf("\xef\xbb\xbf{\"command\":\"x\"}", {}).command);
}

TEST(TaskLineTest, MalformedJsonIsRefusedWithItsPlaceButWithoutItsText) {
  EXPECT_EQ("malformed JSON at byte 19", refusalOf(R"({"command":"secret)"));
  EXPECT_EQ("malformed JSON at byte 17", refusalOf(R"({"command":"x"} {})"));
  EXPECT_EQ("malformed JSON at byte 13", refusalOf("{\"command\":\"\xff\"}"));
}

TEST(TaskLineTest, UnknownFieldIsRefused) {
  EXPECT_EQ("unknown field \"comand\"", refusalOf(R"({"comand":"x"})"));
  EXPECT_EQ("unknown field \"a?b\"", refusalOf(R"({"a\u001bb":"x"})"));
}

TEST(TaskLineTest, FieldThatIsGivenTwiceIsRefused) {
  EXPECT_EQ("field \"command\" is given twice", refusalOf(R"({"command":"x","command":"y"})"));
}

TEST(TaskLineTest, FieldOfAWrongTypeIsRefused) {
  for (const char* value : {"1", "-1", "null", "true", "1.5", "[]", "{}", "18446744073709551615"}) {
    EXPECT_EQ("field \"command\" is not a string",
              refusalOf(R"({"command":)" + std::string(value) + "}"))
        << value;
  }
  for (const char* value : {"\"1\"", "1.0", "null", "[1]"}) {
    EXPECT_EQ("field \"relative_priority\" is not an integer",
              refusalOf(R"({"relative_priority":)" + std::string(value) + "}"))
        << value;
  }
}

TEST(TaskLineTest, NumberBeyondTheRangeOfIntIsRefused) {
  for (const char* value : {"2147483648", "-2147483649", "18446744073709551615"}) {
    EXPECT_EQ("field \"relative_priority\" is out of range",
              refusalOf(R"({"relative_priority":)" + std::string(value) + "}"))
        << value;
  }
}

TEST(TaskLineTest, DeepNestingIsRefusedAtItsFirstLevel) {
  EXPECT_EQ("field \"command\" is not a string",
            refusalOf("{\"command\":" + std::string(1000000, '[')));
}

TEST(TaskLineTest, NulIsLeftToTheLibrary) {
  EXPECT_EQ("a\0b"s, taskOf("a\0b"s, {}).command);
  EXPECT_EQ("a\0b"s, taskOf(R"({"command":"a\u0000b"})", {}).command);
}

}  // namespace
}  // namespace velmo::cli
