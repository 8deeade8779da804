#include "ChildSubJob.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ShownResult.h"

namespace {

using velmo::client::childSubJob;
using velmo::client::Result;
using velmo::test::lineOf;

std::string child(const std::string& parent, const std::string& suffix = "") {
  const Result<std::string> result = childSubJob(parent, suffix);
  return result.isOk() ? result.value() : "(" + lineOf(result) + ")";
}

TEST(ChildSubJobTest, NumberIsRaisedAndTheSuffixAppended) {
  EXPECT_EQ("4_x_y", child("3_x", "y"));
  EXPECT_EQ("4_x", child("3_x"));
  EXPECT_EQ("1_x", child("_x"));
  EXPECT_EQ("1_x", child("abc_x"));
  EXPECT_EQ("-2_x", child("-3_x"));
  EXPECT_EQ("2147483647_x", child("2147483646_x"));
}

TEST(ChildSubJobTest, ParentIsNeededWithAnUnderscore) {
  EXPECT_EQ("(parent is missing)", child(""));
  EXPECT_EQ("(the parent's sub-job has no underscore: \"12\")", child("12"));
}

TEST(ChildSubJobTest, NumberThatCannotBeRaisedIsRefused) {
  for (const std::string& head :
       {std::string("2147483647"), std::string("4294967295"), std::string("-2147483649"),
        std::string("99999999999999999999")}) {
    EXPECT_EQ("(parent is out of range: " + head + ")", child(head + "_x"));
  }
}

TEST(ChildSubJobTest, ResultMustBeAnIdentifier) {
  EXPECT_EQ("(sub_job contains \"/\": \"4_x_a/b\")", child("3_x", "a/b"));
  EXPECT_EQ("(sub_job contains a control character: \"4_\\x0A\")", child("3_\n"));
  EXPECT_EQ("4_" + std::string(253, 'x'), child("3_" + std::string(253, 'x')));
  EXPECT_EQ("(sub_job is too long: 256 bytes)", child("9_" + std::string(253, 'x')));
}

}  // namespace
