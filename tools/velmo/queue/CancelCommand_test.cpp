#include "CancelCommand.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

TEST(NameInLineTest, LineIsTheName) {
  EXPECT_EQ("0070.x", nameInLine("0070.x"));
}

TEST(NameInLineTest, ObjectHasTheNameInAField) {
  EXPECT_EQ("0070.\xc3\xa4", nameInLine(R"({"priority":70,"name":"0070.\u00e4"})"));
}

TEST(NameInLineTest, EmptyLineHasNone) {
  EXPECT_EQ(std::nullopt, nameInLine(""));
}

TEST(NameInLineTest, ObjectWithoutANameHasNone) {
  for (const char* line : {"{}", "{", R"({"name":1})", R"({"name":"x")", R"({"n":"x"})"}) {
    EXPECT_EQ(std::nullopt, nameInLine(line)) << line;
  }
}

}  // namespace
}  // namespace velmo::cli
