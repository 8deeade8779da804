#include "OptionEnd.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

using Words = std::vector<std::string>;

bool takesValue(const std::string& option) {
  return option == "-p" || option == "--class" || option == "--child-of";
}

void expectSplit(const Words& options, const Words& words, const Words& arguments) {
  const SplitArguments split = splitAtFirstWord(arguments, takesValue);
  EXPECT_EQ(options, split.options);
  EXPECT_EQ(words, split.words);
}

TEST(OptionEndTest, OptionsBehindTheFirstWordBelongToTheCommand) {
  expectSplit({"-p", "A"}, {"ls", "-l", "--json"}, {"-p", "A", "ls", "-l", "--json"});
}

TEST(OptionEndTest, MarkEndsTheOptionsAndIsDropped) {
  const SplitArguments split = splitAtFirstWord({"--json", "--", "-x", "--"}, takesValue);
  EXPECT_EQ(Words{"--json"}, split.options);
  EXPECT_EQ((Words{"-x", "--"}), split.words);
  EXPECT_TRUE(split.isMarked);
}

TEST(OptionEndTest, MarkBehindTheFirstWordBelongsToTheCommand) {
  const SplitArguments split = splitAtFirstWord({"ls", "--", "a"}, takesValue);
  EXPECT_EQ((Words{"ls", "--", "a"}), split.words);
  EXPECT_FALSE(split.isMarked);
}

TEST(OptionEndTest, ValueMayLookLikeAnOption) {
  expectSplit({"-p", "-x", "--class", "--"}, {"ls"}, {"-p", "-x", "--class", "--", "ls"});
}

TEST(OptionEndTest, ValueMayBePartOfTheArgument) {
  expectSplit({"-pA", "--class=B"}, {"ls"}, {"-pA", "--class=B", "ls"});
}

// The names of the options, those of "--name=value" with an equals sign.
Words givenIn(const Words& arguments) {
  Words names;
  for (const GivenOption& option : splitAtMark(arguments, takesValue).given) {
    names.push_back(option.name + (option.isAssigned ? "=" : ""));
  }
  return names;
}

TEST(OptionEndTest, ValueOfAnOptionIsNotAGivenOption) {
  EXPECT_EQ((Words{"-p", "--class"}), givenIn({"-p", "--child-of", "--class", "-h", "x"}));
  EXPECT_EQ((Words{"--class=", "-p"}), givenIn({"--class=-h", "-ph"}));
}

TEST(OptionEndTest, OptionsInOneArgumentAreEachGiven) {
  EXPECT_EQ((Words{"-h", "-x", "-p"}), givenIn({"-hxp", "-h"}));
}

TEST(OptionEndTest, OptionsBehindTheMarkAreNotGiven) {
  EXPECT_EQ(Words{"--json"}, givenIn({"--json", "--", "--class"}));
}

TEST(OptionEndTest, EmptyValueOfAFlagStaysInItsArgument) {
  expectSplit({"--json="}, {"ls"}, {"--json=", "ls"});
}

TEST(OptionEndTest, EmptyValueDoesNotTakeTheNextArgument) {
  expectSplit({"--class", ""}, {"ls"}, {"--class=", "ls"});
}

TEST(OptionEndTest, FlagBeforeAnOptionInOneArgumentDoesNotHideItsValue) {
  expectSplit({"-hp", "A"}, {"ls"}, {"-hp", "A", "ls"});
}

TEST(OptionEndTest, UnknownOptionStaysWithTheOptions) {
  expectSplit({"-x"}, {"ls"}, {"-x", "ls"});
}

TEST(OptionEndTest, HyphenAloneIsAWord) {
  expectSplit({}, {"-", "-p"}, {"-", "-p"});
}

TEST(OptionEndTest, MissingValueIsLeftToTheParser) {
  expectSplit({"-p"}, {}, {"-p"});
}

TEST(OptionEndTest, WithTheMarkAloneWordsAreOptions) {
  const SplitArguments split = splitAtMark({"--child-of", "3_x", "y", "--", "ls"}, takesValue);
  EXPECT_EQ((Words{"--child-of", "3_x", "y"}), split.options);
  EXPECT_EQ(Words{"ls"}, split.words);
  EXPECT_TRUE(split.isMarked);
}

}  // namespace
}  // namespace velmo::cli
