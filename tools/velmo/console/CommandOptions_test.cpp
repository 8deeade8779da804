#include "CommandOptions.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace velmo::cli {
namespace {

// A command with an option of each kind.
class CommandOptionsTest : public testing::Test {
 protected:
  CommandOptionsTest() {
    m_command.addFlag("-f,--flag", m_flag, "");
    m_command.addText("--text", m_text, "").valueName("T");
    m_command.addText("--perhaps", m_perhaps, "");
    m_command.addNumber("--count", m_count, "");
    m_command.addNumber("--limit", m_limit, "");
    m_command.addNumber("--seconds", m_seconds, "");
  }

  void parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "run");
    std::reverse(arguments.begin(), arguments.end());  // the order that the parser expects
    m_app.parse(arguments);
  }

  CLI::App m_app;
  CommandOptions m_command = CommandOptions(m_app).addCommand("run", "", {"velmo run"});
  bool m_flag = false;
  std::string m_text = "unset";
  std::optional<std::string> m_perhaps;
  int m_count = -1;
  std::optional<std::int64_t> m_limit;
  double m_seconds = -1;
};

TEST_F(CommandOptionsTest, TargetsOfOptionsThatAreNotGivenStayAsTheyWere) {
  parse({});
  EXPECT_FALSE(m_flag);
  EXPECT_EQ("unset", m_text);
  EXPECT_EQ(std::nullopt, m_perhaps);
  EXPECT_EQ(-1, m_count);
  EXPECT_EQ(std::nullopt, m_limit);
  EXPECT_EQ(-1, m_seconds);
  EXPECT_EQ(std::nullopt, m_command.firstGiven());
}

TEST_F(CommandOptionsTest, TargetsOfGivenOptionsAreSet) {
  parse({"-f", "--text", "a", "--perhaps", "b", "--count", "-7", "--limit", "9000000000",
         "--seconds", "0.5"});
  EXPECT_TRUE(m_flag);
  EXPECT_EQ("a", m_text);
  EXPECT_EQ("b", m_perhaps);
  EXPECT_EQ(-7, m_count);
  EXPECT_EQ(9000000000, m_limit);
  EXPECT_EQ(0.5, m_seconds);
}

TEST_F(CommandOptionsTest, EmptyTextIsAValue) {
  parse({"--text", "", "--perhaps", ""});
  EXPECT_EQ("", m_text);
  EXPECT_EQ("", m_perhaps);
}

TEST_F(CommandOptionsTest, TextThatIsNotAllANumberIsRefused) {
  for (const std::string text : {"", " 1", "1 ", "+1", "0x1", "1_000", "1'000", "one"}) {
    EXPECT_THROW(parse({"--count", text}), CLI::ConversionError) << text;
    EXPECT_THROW(parse({"--limit", text}), CLI::ConversionError) << text;
    EXPECT_THROW(parse({"--seconds", text}), CLI::ConversionError) << text;
  }
}

TEST_F(CommandOptionsTest, NumberThatDoesNotFitIsRefused) {
  EXPECT_THROW(parse({"--count", "2147483648"}), CLI::ConversionError);
  EXPECT_THROW(parse({"--limit", "9223372036854775808"}), CLI::ConversionError);
  EXPECT_THROW(parse({"--seconds", "1e999"}), CLI::ConversionError);
}

TEST_F(CommandOptionsTest, FirstGivenIsByItsLongName) {
  parse({"-f"});
  EXPECT_EQ("--flag", m_command.firstGiven());
}

TEST_F(CommandOptionsTest, FlagsAndUnknownOptionsTakeNoValue) {
  const TakesValue takesValue = m_command.takesValue();
  EXPECT_TRUE(takesValue("--text"));
  EXPECT_TRUE(takesValue("--count"));
  EXPECT_FALSE(takesValue("-f"));
  EXPECT_FALSE(takesValue("--flag"));
  EXPECT_FALSE(takesValue("--unknown"));
}

TEST_F(CommandOptionsTest, CommandThatIsNotNamedIsNotChosen) {
  const CommandOptions other = CommandOptions(m_app).addCommand("other", "", {"velmo other"});
  parse({});
  EXPECT_TRUE(m_command.isChosen());
  EXPECT_FALSE(other.isChosen());
  EXPECT_EQ("run", m_command.name());
}

}  // namespace
}  // namespace velmo::cli
