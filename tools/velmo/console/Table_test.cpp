#include "Table.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

TEST(TableTest, ColumnsAreAlignedAndRowsHaveNoBlanksAtTheirEnd) {
  Table table({{"NAME"}, {"NUMBER", Table::Align::Right}, {"FILE"}});
  table.add({"Later", "20", "/a"});
  table.add({"Normal", "500", ""});
  EXPECT_EQ("NAME    NUMBER  FILE\nLater       20  /a\nNormal     500\n", table.text(0));
}

TEST(TableTest, LastColumnIsCutToTheWidth) {
  Table table({{"NAME"}, {"FILE"}});
  table.add({"Normal", "/a/long/path"});
  EXPECT_EQ("NAME    FILE\nNormal  /a/l...\n", table.text(15));
}

TEST(TableTest, FlexibleColumnIsCutToTheWidth) {
  Table table({{"JOB", Table::Align::Left, true}, {"TYPE"}});
  table.add({"a-long-job", "java"});
  EXPECT_EQ("JOB     TYPE\na-l...  java\n", table.text(12));
}

TEST(TableTest, ColumnIsNotCutBelowItsHeading) {
  Table table({{"COMMAND"}});
  table.add({"0123456789"});
  EXPECT_EQ("COMMAND\n0123...\n", table.text(3));
}

TEST(TableTest, TableThatFitsExactlyIsNotCut) {
  Table table({{"A"}, {"B"}});
  table.add({"12345", "678"});
  EXPECT_EQ("A      B\n12345  678\n", table.text(10));
}

TEST(TableTest, ControlCharactersBecomeQuestionMarks) {
  Table table({{"A"}});
  table.add({"x\n\x1b[31m"});
  EXPECT_EQ("A\nx??[31m\n", table.text(0));
}

TEST(TableTest, MissingCellsAreEmpty) {
  Table table({{"A"}, {"B"}});
  table.add({"1"});
  EXPECT_EQ("A  B\n1\n", table.text(0));
}

TEST(TableTest, CharactersOfSeveralBytesTakeOneColumn) {
  Table table({{"A"}, {"B"}});
  table.add({"\xc3\xa4", "1"});
  table.add({"ab", "2"});
  EXPECT_EQ("A   B\n\xc3\xa4   1\nab  2\n", table.text(0));
}

TEST(CutToTest, CharacterIsNeverSplit) {
  EXPECT_EQ("\xc3\xa4...", cutTo("\xc3\xa4\xc3\xb6\xc3\xbc\xc3\x9f\xc3\xa9", 4));
}

TEST(CutToTest, NoWidthMeansNoLimit) {
  EXPECT_EQ("0123456789", cutTo("0123456789", 0));
}

}  // namespace
}  // namespace velmo::cli
