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
  EXPECT_EQ("a command is missing (--help tells more)", refusalOf({}));
}

TEST(CommandLineTest, WordThatIsNoCommandIsNamed) {
  EXPECT_EQ("not a command: sumbit (--help tells more)", refusalOf({"sumbit"}));
  EXPECT_EQ("not a command: 'a?b' (--help tells more)", refusalOf({"a\nb"}));
  EXPECT_EQ("not a command: '' (--help tells more)", refusalOf({""}));
}

TEST(CommandLineTest, OptionThatIsUnknownIsNamed) {
  EXPECT_NE(std::string::npos, refusalOf({"priorities", "--colour"}).find("--colour"));
  EXPECT_NE(std::string::npos, refusalOf({"--colour"}).find("--colour"));
}

}  // namespace
}  // namespace velmo::cli
