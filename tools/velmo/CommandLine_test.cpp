#include "CommandLine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "Failure.h"

namespace velmo::cli {
namespace {

// What a command line prints.
std::string outputOf(const std::vector<std::string>& arguments) {
  std::array<int, 2> ends{};
  EXPECT_EQ(0, pipe(ends.data()));
  Session session{Output(ends[1]), Output(ends[1]), {}};
  EXPECT_EQ(Status::ok, CommandLine().run(arguments, session));
  close(ends[1]);
  std::string text(65536, '\0');
  text.resize(static_cast<std::size_t>(read(ends[0], text.data(), text.size())));
  close(ends[0]);
  return text;
}

// Why a command line is refused.
std::string refusalOf(const std::vector<std::string>& arguments) {
  Session session;
  try {
    CommandLine().run(arguments, session);
  } catch (const Failure& failure) {
    EXPECT_EQ(Status::invalidArgument, failure.status());
    return failure.what();
  }
  return "accepted";
}

TEST(CommandLineTest, VersionIsThatOfThePackage) {
  EXPECT_EQ("velmo " TOOL_VERSION "\n", outputOf({"--version"}));
}

TEST(CommandLineTest, HelpOfACommandIsNotThatOfTheProgram) {
  EXPECT_EQ(0U, outputOf({"priorities", "--help"}).find("Usage: velmo priorities [--json]\n"));
  EXPECT_EQ(0U, outputOf({"--help"}).find("Usage: velmo COMMAND"));
}

TEST(CommandLineTest, WithoutArgumentsACommandIsMissing) {
  EXPECT_EQ("a command is missing (see --help)", refusalOf({}));
}

TEST(CommandLineTest, MarkAloneIsNoCommand) {
  EXPECT_EQ("a command is missing (see --help)", refusalOf({"--"}));
}

TEST(CommandLineTest, WordThatIsNoCommandIsNamed) {
  EXPECT_EQ("not a command: sumbit (see --help)", refusalOf({"sumbit"}));
  EXPECT_EQ("not a command: 'a?b' (see --help)", refusalOf({"a\nb"}));
  EXPECT_EQ("not a command: '' (see --help)", refusalOf({""}));
}

TEST(CommandLineTest, OptionThatIsUnknownIsNamed) {
  EXPECT_EQ("not an option: --colour (see --help)", refusalOf({"priorities", "--colour"}));
  EXPECT_EQ("not an option: --colour (see --help)", refusalOf({"--colour"}));
  EXPECT_EQ("not an option: -x (see --help)", refusalOf({"queue", "show", "a", "-x"}));
}

TEST(CommandLineTest, WordThatACommandDoesNotExpectIsNamed) {
  EXPECT_EQ("not expected: a (see --help)", refusalOf({"priorities", "a", "b"}));
  EXPECT_EQ("not expected: 'a?b' (see --help)", refusalOf({"priorities", "a\nb"}));
}

TEST(CommandLineTest, FlagTakesNoValue) {
  const std::string end = " takes no value (see --help)";
  EXPECT_EQ("--stdin" + end, refusalOf({"submit", "--stdin=false"}));
  EXPECT_EQ("--dry-run" + end, refusalOf({"submit", "--dry-run=false", "-p", "N", "true"}));
  EXPECT_EQ("--service" + end, refusalOf({"submit", "--service=0", "--modules", "/x", "true"}));
  EXPECT_EQ("--durable" + end, refusalOf({"job", "K", "--durable=no"}));
  EXPECT_EQ("--watch" + end, refusalOf({"queue", "--watch=1", "show", "a"}));
  EXPECT_EQ("--json" + end, refusalOf({"queue", "show", "a", "--json=0"}));
  EXPECT_EQ("--help" + end, refusalOf({"doctor", "--help=false"}));
  EXPECT_EQ("--version" + end, refusalOf({"--version=0"}));
}

TEST(CommandLineTest, FlagTakesNoValueThatMeansItselfEither) {
  EXPECT_EQ("--json takes no value (see --help)", refusalOf({"priorities", "--json=true"}));
  EXPECT_EQ("--json takes no value (see --help)", refusalOf({"priorities", "--json="}));
  EXPECT_EQ("--json takes no value (see --help)", refusalOf({"submit", "--json=", "true"}));
}

TEST(CommandLineTest, ValueOrWordThatLooksLikeAFlagWithAValueIsNone) {
  EXPECT_EQ("--timeout: not a valid number: 1x (see --help)",
            refusalOf({"job", "K", "--user", "--json=0", "--timeout", "1x"}));
  EXPECT_EQ("the priority class is missing: -p CLASS (see --help)",
            refusalOf({"submit", "ls", "--json=0"}));
}

TEST(CommandLineTest, OptionThatIsGivenTwiceIsRefused) {
  EXPECT_EQ("--class is given twice (see --help)",
            refusalOf({"submit", "-p", "A", "--class", "B", "true"}));
  EXPECT_EQ("--limit is given twice (see --help)",
            refusalOf({"queue", "--limit", "1", "--limit", "2"}));
}

TEST(CommandLineTest, OptionWithoutItsValueIsRefused) {
  EXPECT_EQ("--relative-priority needs a value, N (see --help)", refusalOf({"submit", "-r"}));
  EXPECT_EQ("--modules needs a value, FILE (see --help)", refusalOf({"service", "--modules"}));
}

TEST(CommandLineTest, ValueThatIsNotANumberIsRefused) {
  EXPECT_EQ("--limit: not a valid number: x (see --help)", refusalOf({"queue", "--limit", "x"}));
  EXPECT_EQ("--timeout: not a valid number: '1?' (see --help)",
            refusalOf({"job", "K", "--timeout", "1\n"}));
  for (const std::string text : {"1_000", "0x1F", "0b1", "2147483648"}) {
    EXPECT_EQ("--priority: not a valid number: " + text + " (see --help)",
              refusalOf({"job", "K", "--priority", text}));
  }
}

TEST(CommandLineTest, MissingWordIsNamed) {
  EXPECT_EQ("KEY is missing (see --help)", refusalOf({"job"}));
  EXPECT_EQ("NAME is missing (see --help)", refusalOf({"queue", "cancel"}));
}

TEST(CommandLineTest, OptionsThatContradictEachOtherAreBothNamed) {
  EXPECT_EQ("--watch cannot be combined with --limit (see --help)",
            refusalOf({"queue", "--limit", "1", "--watch"}));
}

TEST(CommandLineTest, OptionThatNeedsAnotherNamesIt) {
  EXPECT_EQ("--modules needs --connect (see --help)", refusalOf({"doctor", "--modules", "f"}));
}

}  // namespace
}  // namespace velmo::cli
