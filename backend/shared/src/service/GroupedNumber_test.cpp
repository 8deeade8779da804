#include "GroupedNumber.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using brix::velmo::groupedNumber;

TEST(GroupedNumberTest, SignsBlanksAndCommasAreTaken) {
  struct Row {
    std::string text;
    std::optional<int> number;
  };
  const std::vector<Row> rows{
      {"8080", 8080},
      {"8,080", 8080},
      {",80", 80},
      {"80,", 80},
      {"8,,0", 80},
      {"+80", 80},
      {"-80", -80},
      {" \t\n80", 80},
      {"0080", 80},
      {"", std::nullopt},
      {" ", std::nullopt},
      {"80 ", std::nullopt},
      {"8 0", std::nullopt},
      {"abc", std::nullopt},
      {"0x50", std::nullopt},
      {"8.0", std::nullopt},
      {"--8", std::nullopt},
      {"+-8", std::nullopt},
      {"- 8", std::nullopt},
      {"80\xa0", std::nullopt},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.number, groupedNumber(row.text)) << '"' << row.text << '"';
  }
}

TEST(GroupedNumberTest, SignOrCommaAloneIsZero) {
  for (const std::string text : {"-", "+", ",", "-0", ",,"}) {
    EXPECT_EQ(0, groupedNumber(text)) << text;
  }
}

TEST(GroupedNumberTest, RangeIsThatOfInt) {
  EXPECT_EQ(2147483647, groupedNumber("2147483647"));
  EXPECT_EQ(2147483647, groupedNumber("2,147,483,647"));
  EXPECT_EQ(std::nullopt, groupedNumber("2147483648"));
  EXPECT_EQ(-2147483647 - 1, groupedNumber("-2147483648"));
  EXPECT_EQ(std::nullopt, groupedNumber("-2147483649"));
  EXPECT_EQ(std::nullopt, groupedNumber("18446744073709551616"));
}

}  // namespace
