#include "ShellWord.h"

#include <gtest/gtest.h>

namespace velmo::tools {
namespace {

TEST(ShellWordTest, QuotedTextIsReadBackUnchanged) {
  EXPECT_EQ("'it'\\''s $HOME `x` \"y\" \\z'", shellQuoted("it's $HOME `x` \"y\" \\z"));
  EXPECT_EQ("'plain'", shellQuoted("plain"));
}

TEST(ShellWordTest, WordIsQuotedOnlyIfItNeedsQuotes) {
  EXPECT_EQ("./a-b_c=/d:e,f@1+%", shellWord("./a-b_c=/d:e,f@1+%"));
  EXPECT_EQ("''", shellWord(""));
  EXPECT_EQ("'a b'", shellWord("a b"));
  EXPECT_EQ("'it'\\''s'", shellWord("it's"));
  EXPECT_EQ("'~'", shellWord("~"));
}

}  // namespace
}  // namespace velmo::tools
