#include "PropertyLines.h"

#include <gtest/gtest.h>

#include <string>

#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

class PropertyLinesTest : public testing::Test {
 protected:
  // "1 a=x, 3 =" for each line that is not a comment.
  std::string shown(const std::string& contents) const {
    const auto lines = propertyLines(directory.writeFile("file", contents));
    if (!lines) {
      return "nothing";
    }
    std::string text;
    for (const NumberedLine& line : *lines) {
      text += (text.empty() ? "" : ", ") + std::to_string(line.number) + " " + line.name + "=" +
              line.value;
    }
    return text;
  }

  test::TemporaryDirectory directory;
};

TEST_F(PropertyLinesTest, EveryLineThatIsNotACommentIsNumbered) {
  EXPECT_EQ("2 a=1, 4 =, 5 =, 6 b=x", shown("# c\na = 1\n\nc\n=2\nb=\"x\""));
  EXPECT_EQ("", shown(""));
}

TEST_F(PropertyLinesTest, LineOfSeveralPiecesGivesNothing) {
  EXPECT_EQ("nothing", shown("a=" + std::string(70'000, 'x') + "\nb\n"));
  EXPECT_EQ("1 a=" + std::string(60'000, 'x'), shown("a=" + std::string(60'000, 'x') + "\n"));
}

TEST_F(PropertyLinesTest, LargeFileGivesNothing) {
  std::string contents;
  for (int i = 0; i < 1100; ++i) {
    contents += "a=" + std::string(1000, 'x') + "\n";
  }
  EXPECT_EQ("nothing", shown(contents));
}

TEST_F(PropertyLinesTest, NulGivesNothing) {
  EXPECT_EQ("nothing", shown(std::string("a=1\0\nb=2\n", 9)));
}

TEST_F(PropertyLinesTest, MissingFileGivesNothing) {
  EXPECT_FALSE(propertyLines(directory.path("missing")));
}

TEST_F(PropertyLinesTest, CommandNamesEachLine) {
  EXPECT_EQ("sed -i --follow-symlinks '3s/^/#/;7s/^/#/' '/x/a b'", commentOut("/x/a b", {3, 7}));
  EXPECT_EQ("", commentOut("/x", {}));
}

TEST_F(PropertyLinesTest, CommandNamesAtMostTwoHundredLines) {
  std::vector<std::size_t> numbers(300);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    numbers[i] = i + 1;
  }
  const std::string command = commentOut("/x", numbers);
  EXPECT_NE(std::string::npos, command.find(";200s/^/#/' '/x'"));
}

}  // namespace
}  // namespace velmo::cli
