#include "ScanInt.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using brix::imutils::scanInt;

struct Case {
  std::string text;
  std::optional<int> number;
  std::string reason;
};

const std::vector<Case>& cases() {
  static const std::vector<Case> cases{
      {"0", 0, "a digit"},
      {"17", 17, "digits"},
      {"-7", -7, "a sign"},
      {"+7", 7, "a plus sign"},
      {" \t\n\v\f\r12", 12, "all kinds of white space first"},
      {"007", 7, "leading zeros are decimal"},
      {"12abc", 12, "what follows the digits does not count"},
      {"12 34", 12, "the first number only"},
      {"0x10", 0, "decimal, not hexadecimal"},
      {"5\n", 5, "a line end"},
      {"2147483647", 2147483647, "largest int"},
      {"-2147483648", -2147483647 - 1, "smallest int"},
      {"2147483648", -2147483647 - 1, "cut to 32 bits"},
      {"4294967297", 1, "cut to 32 bits"},
      {"9223372036854775807", -1, "largest long, cut"},
      {"9223372036854775808", -1, "beyond a long: the largest long, cut"},
      {"99999999999999999999999999", -1, "far beyond a long"},
      {"9223372036854775806", -2, "one below the largest long, cut"},
      {"999999999999999999", -1486618625, "18 digits, cut"},
      {"1000000000000000000", -1486618624, "19 digits, cut"},
      {"-999999999999999999", 1486618625, "18 digits and a sign, cut"},
      {"000000000000000000000000000042", 42, "more zeros than a long has digits"},
      {"-9223372036854775808", 0, "smallest long, cut"},
      {"-9223372036854775807", 1, "one above the smallest long, cut"},
      {"-9223372036854775809", 0, "below a long: the smallest long, cut"},
      {"", std::nullopt, "nothing"},
      {"   ", std::nullopt, "white space only"},
      {"abc", std::nullopt, "no digit"},
      {"-", std::nullopt, "a sign only"},
      {"+-5", std::nullopt, "two signs"},
      {"- 5", std::nullopt, "a blank behind the sign"},
      {".5", std::nullopt, "no digit first"},
      {"\xa0"
       "5",
       std::nullopt, "white space of no locale but Latin-1"},
  };
  return cases;
}

std::unique_ptr<FILE, int (*)(FILE*)> fileOf(const std::string& text) {
  std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
  std::fwrite(text.data(), 1, text.size(), file.get());
  std::rewind(file.get());
  return file;
}

TEST(ScanIntTest, TextReadsAsPercentDDoes) {
  for (const Case& row : cases()) {
    EXPECT_EQ(row.number, scanInt(row.text.c_str())) << row.text << ": " << row.reason;
  }
}

TEST(ScanIntTest, FileReadsAsPercentDDoes) {
  for (const Case& row : cases()) {
    EXPECT_EQ(row.number, scanInt(fileOf(row.text).get())) << row.text << ": " << row.reason;
  }
}

TEST(ScanIntTest, EveryCaseIsWhatThePlatformsScanfMakesOfIt) {
  for (const Case& row : cases()) {
    int number = 0;
    const bool scanned = std::sscanf(row.text.c_str(), "%d", &number) == 1;
    EXPECT_EQ(row.number, scanned ? std::optional<int>(number) : std::nullopt) << row.text;
  }
}

TEST(ScanIntTest, NulEndsTheNumberOfAFile) {
  EXPECT_EQ(12, scanInt(fileOf(std::string("12\0"
                                           "34",
                                           5))
                            .get()));
  EXPECT_EQ(std::nullopt, scanInt(fileOf(std::string("\0"
                                                     "34",
                                                     3))
                                      .get()));
}

TEST(ScanIntTest, NumberOfAFileMayBeLongerThanAnyBuffer) {
  EXPECT_EQ(7, scanInt(fileOf(std::string(100000, ' ') + std::string(100000, '0') + "7").get()));
  EXPECT_EQ(-1, scanInt(fileOf(std::string(100000, '9')).get()));
}

TEST(ScanIntTest, DirectoryReadAsAFileHoldsNoNumber) {
  const std::unique_ptr<FILE, int (*)(FILE*)> directory(std::fopen("/", "rb"), std::fclose);
  ASSERT_NE(nullptr, directory);
  EXPECT_EQ(std::nullopt, scanInt(directory.get()));
}

TEST(ScanIntTest, AnyTextIsWhatThePlatformsScanfMakesOfIt) {
  constexpr std::string_view kCharacters = "0123456789012345678901234567890123456789-+ \tx";
  std::mt19937 random(20261122);
  for (int i = 0; i < 200000; ++i) {
    std::string text(random() % 24, ' ');
    for (char& character : text) {
      character = kCharacters[random() % kCharacters.size()];
    }
    int number = 0;
    const bool isScanned = std::sscanf(text.c_str(), "%d", &number) == 1;
    ASSERT_EQ(isScanned ? std::optional(number) : std::nullopt, scanInt(text.c_str())) << text;
  }
}

}  // namespace
