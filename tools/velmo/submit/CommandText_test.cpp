#include "CommandText.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

TEST(CommandTextTest, OneWordIsTheCommandLineItself) {
  EXPECT_EQ("a | b  %d%% 'c'", commandText({"a | b  %d%% 'c'"}, ""));
}

TEST(CommandTextTest, SeveralWordsAreQuotedWhereTheShellNeedsIt) {
  EXPECT_EQ("ls -l '/my files' 'it'\\''s' '' '$HOME' 100%",
            commandText({"ls", "-l", "/my files", "it's", "", "$HOME", "100%"}, "sh"));
}

TEST(CommandTextTest, FirstWordThatLooksLikeAnAssignmentIsQuoted) {
  EXPECT_EQ("'A=1' B=2", commandText({"A=1", "B=2"}, ""));
}

TEST(CommandTextTest, FirstWordThatIsAKeywordIsQuoted) {
  EXPECT_EQ("'if' if", commandText({"if", "if"}, ""));
}

TEST(CommandTextTest, WordsOfAnotherTypeAreJoinedByBlanksUnchanged) {
  EXPECT_EQ("org.Main  'a $b", commandText({"org.Main", "", "'a", "$b"}, "java"));
}

}  // namespace
}  // namespace velmo::cli
