#include "PropertyLines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

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

TEST_F(PropertyLinesTest, TextIsThatOfTheFile) {
  const auto lines = propertyLines(directory.writeFile("file", " a = 1 \nc"));
  ASSERT_TRUE(lines);
  EXPECT_EQ(" a = 1 ", lines->at(0).text);
  EXPECT_EQ("c", lines->at(1).text);
}

// --- editing ---

std::string edited(const std::string& text) {
  return editLines("/x", {{3, "", "", text}}, "s/^/#/").command;
}

TEST_F(PropertyLinesTest, CommandNamesEachLineAndItsText) {
  EXPECT_EQ("LC_ALL=C sed -i --follow-symlinks '3{/^c d$/s/^/#/};7{/^$/s/^/#/}' '/x/a b'",
            editLines("/x/a b", {{3, "", "", "c d"}, {7, "", "", ""}}, "s/^/#/").command);
  EXPECT_EQ("", editLines("/x", {}, "s/^/#/").command);
}

TEST_F(PropertyLinesTest, SpecialCharactersOfATextAreQuoted) {
  EXPECT_EQ("LC_ALL=C sed -i --follow-symlinks '3{/^a\\.\\*\\[b\\]\\^\\$\\/\\\\+{$/s/^/#/}' '/x'",
            edited("a.*[b]^$/\\+{"));
  EXPECT_EQ("LC_ALL=C sed -i --follow-symlinks '3{/^it'\\''s$/s/^/#/}' '/x'", edited("it's"));
}

TEST_F(PropertyLinesTest, OfATextWithOtherBytesTheStartDecides) {
  EXPECT_EQ("LC_ALL=C sed -i --follow-symlinks '3{/^a/s/^/#/}' '/x'", edited("a\tb"));
  EXPECT_EQ("LC_ALL=C sed -i --follow-symlinks '3{/^/s/^/#/}' '/x'", edited("\xff"));
  EXPECT_EQ("LC_ALL=C sed -i --follow-symlinks '3{/^" + std::string(80, 'a') + "/s/^/#/}' '/x'",
            edited(std::string(81, 'a')));
}

TEST_F(PropertyLinesTest, CommandFitsIntoALineOfATerminal) {
  const std::vector<NumberedLine> lines(300, NumberedLine{100, "", "", "it's"});
  const LineEdits edits = editLines("/x", lines, "s/^/#/");
  EXPECT_LE(edits.command.size(), 4000U);
  EXPECT_LT(3500U, edits.command.size());
  EXPECT_EQ(300U, edits.rest + static_cast<std::size_t>(
                                   std::count(edits.command.begin(), edits.command.end(), '{')));
}

TEST_F(PropertyLinesTest, LineThatHasChangedStays) {
  const std::string path = directory.writeFile("file", "a.c\nabc\nx\n");
  const std::string command =
      editLines(path, {{1, "", "", "a.c"}, {2, "", "", "a.c"}, {3, "", "", "x"}}, "s/^/#/").command;
  ASSERT_EQ(0, system(command.c_str()));
  EXPECT_EQ("#a.c\nabc\n#x\n", test::readFile(path));
}

}  // namespace
}  // namespace velmo::cli
