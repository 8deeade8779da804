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

TEST(TableTest, WidestColumnsAreCutInTurn) {
  Table table({{"JOB"}, {"SUB-JOB"}, {"TYPE"}});
  table.add({"a-long-job-name", "a-long-sub", "java"});
  EXPECT_EQ("JOB         SUB-JOB     TYPE\na-long-...  a-long-sub  java\n", table.text(28));
  EXPECT_EQ("JOB       SUB-JOB   TYPE\na-lon...  a-lon...  java\n", table.text(24));
}

TEST(TableTest, PathLosesItsStart) {
  Table table({{"NAME"}, {"FILE", Table::Align::Left, true}});
  table.add({"Normal", "/a/long/path"});
  EXPECT_EQ("NAME    FILE\nNormal  ...g/path\n", table.text(17));
}

TEST(TableTest, NumbersAreNotCut) {
  Table table({{"N", Table::Align::Right}, {"NAME"}});
  table.add({"1234567890", "a-long-name"});
  EXPECT_EQ("         N  NAME\n1234567890  a-l...\n", table.text(18));
}

TEST(TableTest, ColumnIsNotCutBelowItsHeading) {
  Table table({{"COMMAND"}, {"X"}});
  table.add({"0123456789", "y"});
  EXPECT_EQ("COMMAND  X\n0123...  y\n", table.text(10));
}

TEST(TableTest, LineIsCutWhereColumnsCannotBe) {
  Table table({{"PRIORITY", Table::Align::Right}, {"COMMAND"}});
  table.add({"50", "0123456789"});
  EXPECT_EQ("PRIORITY  COM...\n      50  012...\n", table.text(16));
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

TEST(CutToTest, StartOfAPathIsCutAtACharacter) {
  EXPECT_EQ("...\xc3\xbc/x", cutStartTo("/home/\xc3\xbc/x", 6));
  EXPECT_EQ("...z", cutStartTo("\xc3\xa4\xc3\xb6\xc3\xbc\xc3\x9fz", 4));
  EXPECT_EQ("/home/x", cutStartTo("/home/x", 7));
  EXPECT_EQ("/home/x", cutStartTo("/home/x", 0));
  EXPECT_EQ("..", cutStartTo("/home/x", 2));
}

TEST(CutToTest, WideCharactersTakeTwoColumns) {
  const std::string wide = "\xe4\xb8\xad\xe6\x96\x87\xe5\xad\x97";
  EXPECT_EQ(6U, columnsOf(wide));
  EXPECT_EQ(2U, columnsOf("\xf0\x9f\x98\x80"));
  EXPECT_EQ("\xe4\xb8\xad...", cutTo(wide, 5));
  EXPECT_EQ("...\xe5\xad\x97", cutStartTo(wide, 5));
  EXPECT_EQ("...", cutTo(wide, 4));
}

TEST(CutToTest, CombiningCharactersTakeNone) {
  EXPECT_EQ(1U, columnsOf("e\xcc\x81"));
}

TEST(CutToTest, BytesThatAreNotUtf8TakeOneColumn) {
  EXPECT_EQ(400U, columnsOf(std::string(400, '\x85')));
  EXPECT_EQ("\x85...", cutTo(std::string(400, '\x85'), 4));
}

}  // namespace
}  // namespace velmo::cli
