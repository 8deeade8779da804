#include "TaskContents.h"

#include <gtest/gtest.h>

#include <string_view>

namespace velmo::tools {
namespace {

using namespace std::string_view_literals;

TaskContents contentsOf(std::string_view text) {
  return std::get<TaskContents>(parseTaskContents(text));
}

std::string faultOf(std::string_view text) {
  return std::get<Malformed>(parseTaskContents(text));
}

TEST(TaskContentsTest, OneLineIsTheCommand) {
  const TaskContents contents = contentsOf("echo a b\n");
  EXPECT_EQ("echo a b", contents.command);
  EXPECT_EQ(std::nullopt, contents.jobInfo);
}

TEST(TaskContentsTest, TheSecondLineIsTheJobInformation) {
  const TaskContents contents = contentsOf("true\n#1USE=u#1JNA=n\n");
  EXPECT_EQ("true", contents.command);
  EXPECT_EQ("#1USE=u#1JNA=n", contents.jobInfo);
}

TEST(TaskContentsTest, BothLinesMayBeEmpty) {
  EXPECT_EQ("", contentsOf("\n").command);
  EXPECT_EQ("", contentsOf("true\n\n").jobInfo);
}

TEST(TaskContentsTest, MoreThanTwoLinesAreMalformed) {
  EXPECT_EQ("3 lines where one or two belong", faultOf("a\nb\nc\n"));
  EXPECT_EQ("4 lines where one or two belong", faultOf("a\n\n\n\n"));
}

TEST(TaskContentsTest, TruncatedFileIsMalformed) {
  EXPECT_EQ("empty", faultOf(""));
  EXPECT_EQ("no line feed at the end", faultOf("rm -rf /home/old"));
  EXPECT_EQ("no line feed at the end", faultOf("true\ninfo"));
}

TEST(TaskContentsTest, NulIsMalformedSinceNoCommandLineCanContainIt) {
  EXPECT_EQ("a NUL in the text", faultOf("a\0b\n"sv));
}

}  // namespace
}  // namespace velmo::tools
