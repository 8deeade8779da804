#include "GroupedNumber.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <regex>
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

TEST(GroupedNumberTest, CommaIsRefusedWhereNoOtherDigitHasRoom) {
  EXPECT_EQ(2147483647, groupedNumber("214748364,7"));
  EXPECT_EQ(214748364, groupedNumber("214748364,"));
  for (const std::string text : {"214748365,", "2147483647,", "-2147483648,", "2147483640,,"}) {
    EXPECT_EQ(std::nullopt, groupedNumber(text)) << text;
  }
}

// The same rule, stated over the whole text instead of from character to character.
std::optional<std::int64_t> byTheWholeText(const std::string& text) {
  static const std::regex kForm("[ \\t\\n\\v\\f\\r]*([-+]?)([0-9,]*)");
  std::smatch parts;
  if (text.find_first_not_of(" \t\n\v\f\r") == std::string::npos ||
      !std::regex_match(text, parts, kForm)) {
    return std::nullopt;
  }
  const auto numberBefore = [digits = parts.str(2)](std::size_t end) {
    std::string plain = "0" + digits.substr(0, end);
    plain.erase(std::remove(plain.begin(), plain.end(), ','), plain.end());
    return std::stoll(plain);
  };
  const std::int64_t limit = parts.str(1) == "-" ? 2147483648 : 2147483647;
  const std::string digits = parts.str(2);
  for (std::size_t i = digits.find(','); i != std::string::npos; i = digits.find(',', i + 1)) {
    if (numberBefore(i) > limit / 10) {
      return std::nullopt;
    }
  }
  const std::int64_t number = numberBefore(digits.size());
  return number > limit ? std::nullopt : std::optional(parts.str(1) == "-" ? -number : number);
}

std::string shown(std::optional<std::int64_t> number) {
  return number ? std::to_string(*number) : "none";
}

TEST(GroupedNumberTest, TextsAtRandomFollowTheRule) {
  const std::string characters = "0123456789012345678901234567890,,,+- \t\n\r\v\fax.\x80\xff";
  std::mt19937 random{20240305};  // NOLINT: the same in every run
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 14, '0');
    for (char& character : text) {
      character = characters[random() % characters.size()];
    }
    ASSERT_EQ(shown(byTheWholeText(text)), shown(groupedNumber(text))) << '"' << text << '"';
  }
}

TEST(GroupedNumberTest, NumbersNearTheLimitsFollowTheRule) {
  for (const std::string sign : {"", "-", "+"}) {
    for (const std::string digits :
         {"214748364", "2147483646", "2147483647", "2147483648", "2147483649", "2147483650",
          "21474836470", "4294967296", "9999999999", "999999999999999999", "02147483647"}) {
      for (std::size_t comma = 0; comma <= digits.size(); ++comma) {
        const std::string text = sign + std::string(digits).insert(comma, ",");
        EXPECT_EQ(shown(byTheWholeText(text)), shown(groupedNumber(text))) << text;
      }
    }
  }
}

}  // namespace
