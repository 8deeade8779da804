#include "PropertyLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using brix::imutils::PropertyLine;
using brix::imutils::splitPropertyLine;
using Kind = brix::imutils::PropertyLine::Kind;

TEST(PropertyLineTest, EntryIsNameAndValueTrimmed) {
  struct Row {
    std::string line;
    std::string name;
    std::string value;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"a=1\n", "a", "1", "plain"},
      {" a b \t= 1 2 \r\n", "a b", "1 2", "blanks inside stay"},
      {"a=\"1\"\n", "a", "1", "double quotes are blanks"},
      {"a=\"x\"y\"\n", "a", "x y", "everywhere"},
      {"a==b\n", "a", "=b", "the first separator counts"},
      {"a=\n", "a", "", "no value"},
      {"a=b", "a", "b", "no line end"},
      {"a=b # c\n", "a", "b # c", "a comment begins a line"},
      {"\"a\"=b\n", "\"a\"", "b", "double quotes of a name stay"},
  };
  for (const Row& row : rows) {
    std::string line = row.line;
    const PropertyLine result = splitPropertyLine(line.data());
    ASSERT_EQ(Kind::Entry, result.kind) << row.reason;
    EXPECT_EQ(row.name, result.name) << row.reason;
    EXPECT_EQ(row.value, result.value) << row.reason;
  }
}

TEST(PropertyLineTest, BlankLinesAndCommentsAreNotEntries) {
  for (std::string line : {"", "\n", " \t\r\n", "# a=b\n", "  #\n"}) {
    EXPECT_EQ(Kind::Comment, splitPropertyLine(line.data()).kind) << line;
  }
}

TEST(PropertyLineTest, LineWithoutSeparatorOrNameIsSkipped) {
  for (std::string line : {"abc\n", "=1\n", "  = 1\n", "a"}) {
    EXPECT_EQ(Kind::Skipped, splitPropertyLine(line.data()).kind) << line;
  }
}

}  // namespace
