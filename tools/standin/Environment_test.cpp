#include "Environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace standin {
namespace {

using testing::ElementsAre;

TEST(EnvironmentTest, EveryVariableIsOneExportLineInOrder) {
  EXPECT_EQ("export VAR='/a/var'\nexport CONF='/a/conf'\n",
            exportLines({{"VAR", "/a/var"}, {"CONF", "/a/conf"}}));
}

TEST(EnvironmentTest, ValuesAreQuotedSoThatAShellTakesThemAsTheyAre) {
  EXPECT_EQ("export VAR='it'\\''s $HOME `x` \"y\" \\z'\n",
            exportLines({{"VAR", "it's $HOME `x` \"y\" \\z"}}));
}

TEST(EnvironmentTest, VariablesReplaceThoseOfTheSameNameAndNoOthers) {
  const std::array<const char*, 5> environment{"VAR=/old", "VARIABLE=kept", "odd", "CONF=/old",
                                               nullptr};
  EXPECT_THAT(environmentWith({{"CONF", "/new/conf"}, {"VAR", "/new"}}, environment.data()),
              ElementsAre("VARIABLE=kept", "odd", "CONF=/new/conf", "VAR=/new"));
}

TEST(EnvironmentTest, WordForAShellIsQuotedOnlyIfItHasTo) {
  EXPECT_EQ("./a-b_c=/d:e,f@1+%", shellWord("./a-b_c=/d:e,f@1+%"));
  EXPECT_EQ("''", shellWord(""));
  EXPECT_EQ("'a b'", shellWord("a b"));
  EXPECT_EQ("'it'\\''s'", shellWord("it's"));
  EXPECT_EQ("'~'", shellWord("~"));
}

}  // namespace
}  // namespace standin
