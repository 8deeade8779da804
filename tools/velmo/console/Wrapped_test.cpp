#include "Wrapped.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

TEST(WrappedTest, WordsFillTheLines) {
  const std::string words(10, 'a');
  std::string text;
  for (int i = 0; i < 6; ++i) {
    text += (i > 0 ? " " : "") + words;
  }
  const std::string line = "  " + words + " " + words + " " + words + "\n";
  EXPECT_EQ(line + line, wrapped(text, 2, 44));
}

TEST(WrappedTest, LineMayBeAsLongAsTheTerminalIsWide) {
  const std::string text = std::string(20, 'a') + " " + std::string(21, 'b');
  EXPECT_EQ(text + "\n", wrapped(text, 0, 42));
  EXPECT_EQ(std::string(20, 'a') + "\n" + std::string(21, 'b') + "\n", wrapped(text, 0, 41));
}

TEST(WrappedTest, WithoutAWidthThereIsOneLine) {
  const std::string text(200, 'a');
  EXPECT_EQ("   " + text + " " + text + "\n", wrapped(text + " " + text, 3, 0));
}

TEST(WrappedTest, LongWordIsNotBroken) {
  const std::string word(100, 'a');
  EXPECT_EQ("  x\n  " + word + "\n  y\n", wrapped("x " + word + " y", 2, 60));
}

TEST(WrappedTest, NarrowTerminalStillGetsFortyColumns) {
  EXPECT_EQ("          12345 12345 12345 12345 12345\n",
            wrapped("12345 12345 12345 12345 12345", 10, 5));
}

TEST(WrappedTest, ControlCharactersBecomeQuestionMarks) {
  EXPECT_EQ("a?b\n", wrapped("a\x1b"
                             "b",
                             0, 80));
}

TEST(WrappedTest, CharactersOfSeveralBytesCountOnce) {
  const std::string word = "\xc3\xa4\xc3\xb6\xc3\xbc\xc3\x9f";  // 4 columns
  std::string text = word;
  for (int i = 0; i < 7; ++i) {
    text += " " + word;  // 39 columns in all
  }
  EXPECT_EQ(text + "\n", wrapped(text, 0, 40));
}

}  // namespace
}  // namespace velmo::cli
