#include "TableLayout.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

using Align = TableLayout::Align;

TEST(TableLayoutTest, RowsThatAreNotKeptAreAligned) {
  TableLayout layout({{"A"}, {"B", Align::Right}});
  layout.measure({"xxx", "1"});
  layout.measure({"y", "1000"});
  layout.fitTo(0);
  EXPECT_EQ("A       B", layout.headings());
  EXPECT_EQ("xxx     1", layout.line({"xxx", "1"}));
  EXPECT_EQ("y    1000", layout.line({"y", "1000"}));
}

TEST(TableLayoutTest, ColumnThatTakesTheRestIsCutToWhatTheOthersLeave) {
  TableLayout layout({{"A"}, {"C", Align::Left, false, true}});
  layout.measure({"xxx", "not measured"});
  EXPECT_EQ(6U, layout.width());
  layout.fitTo(12);
  EXPECT_EQ("xxx  0123456", layout.line({"xxx", "0123456"}));
  EXPECT_EQ("xxx  0123...", layout.line({"xxx", "01234567"}));
}

TEST(TableLayoutTest, ColumnThatTakesTheRestIsWholeWithoutALimit) {
  TableLayout layout({{"A"}, {"C", Align::Left, false, true}});
  layout.fitTo(0);
  EXPECT_EQ("A  0123456789", layout.line({"A", "0123456789"}));
}

TEST(TableLayoutTest, ColumnThatIsAppendedHasItsWidth) {
  TableLayout layout({{"A"}});
  layout.append({"B", Align::Right}, 4);
  EXPECT_EQ(7U, layout.width());
  layout.fitTo(0);
  EXPECT_EQ("x     1", layout.line({"x", "1"}));
}

TEST(TableLayoutTest, ControlCharactersBecomeQuestionMarksBeforeTheyAreMeasured) {
  TableLayout layout({{"A"}, {"B"}});
  layout.measure({"\x1b\xc2\x9b", ""});
  layout.fitTo(0);
  EXPECT_EQ("??  b", layout.line({"\x1b\xc2\x9b", "b"}));
}

}  // namespace
}  // namespace velmo::cli
