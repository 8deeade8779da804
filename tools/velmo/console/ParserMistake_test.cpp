#include "ParserMistake.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

// An application with a command, its option and its flag.
class ParserMistakeTest : public testing::Test {
 protected:
  ParserMistakeTest() {
    CLI::App* command = m_app.add_subcommand("run");
    command->add_option("-n,--number", m_number)->type_name("N");
    command->add_flag("--flag", m_flag)->needs(command->get_option("--number"));
  }

  // "accepted": the parser takes the arguments, which are in reverse order.
  std::string mistakeIn(std::vector<std::string> reversed) {
    try {
      m_app.parse(std::move(reversed));
    } catch (const CLI::ParseError& mistake) {
      return textOf(m_app, mistake);
    }
    return "accepted";
  }

  CLI::App m_app;
  int m_number = 0;
  bool m_flag = false;
};

TEST_F(ParserMistakeTest, OptionOfTheCommandIsNamed) {
  EXPECT_EQ("--number needs a value, N", mistakeIn({"-n", "run"}));
  EXPECT_EQ("--number is given twice", mistakeIn({"2", "-n", "1", "-n", "run"}));
  EXPECT_EQ("--flag needs --number", mistakeIn({"--flag", "run"}));
}

TEST_F(ParserMistakeTest, ValueThatLooksLikeAnOptionIsNotTheOptionOfTheMistake) {
  EXPECT_EQ("--number: not a valid number: --flag", mistakeIn({"--flag", "-n", "run"}));
}

TEST_F(ParserMistakeTest, NumberOutOfRangeIsNotValid) {
  EXPECT_EQ("--number: not a valid number: 2147483648", mistakeIn({"2147483648", "-n", "run"}));
}

TEST_F(ParserMistakeTest, FirstArgumentThatIsNotExpectedIsNamed) {
  EXPECT_EQ("not an option: --x", mistakeIn({"b", "--x", "run"}));
  EXPECT_EQ("not expected: b", mistakeIn({"--x", "b", "run"}));
}

TEST_F(ParserMistakeTest, OtherExceptionKeepsItsTextOnOneLine) {
  EXPECT_EQ("a?b", textOf(m_app, CLI::ValidationError("a\nb")));
}

}  // namespace
}  // namespace velmo::cli
