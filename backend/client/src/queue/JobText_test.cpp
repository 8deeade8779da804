#include "JobText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using brix::velmo::JobFileFields;
using brix::velmo::JobFileScanner;
using velmo::client::checkStorable;
using velmo::client::jobFileText;
using velmo::client::jobInformation;
using velmo::client::Problem;

TEST(JobTextTest, FileHasALineForEachText) {
  EXPECT_EQ("id=\"J17\"\nuser=\"u\"\nname=\"n\"\npriority=\"50\"\n",
            jobFileText({"J17", "u", "n", 50}));
}

TEST(JobTextTest, EmptyUserAndNameHaveNoLine) {
  EXPECT_EQ("id=\"J17\"\npriority=\"-1\"\n", jobFileText({"J17", "", "", -1}));
}

TEST(JobTextTest, TextThatIsStorableReadsBack) {
  const std::string all =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 ]_.,@$%#&*()[{}|/\\^;:-";
  for (const std::string& text : {std::string("u"), all, std::string(255, 'x')}) {
    EXPECT_FALSE(checkStorable("user", text));
    JobFileScanner scanner;
    scanner.scanLine(("user=\"" + text + "\"").c_str());
    EXPECT_EQ(text, scanner.fields().user);
  }
}

TEST(JobTextTest, TextThatWouldReadBackDifferentlyIsRefused) {
  for (const std::string& text :
       {std::string("a\"b"), std::string("a=b"), std::string("a\nb"), std::string("\t"),
        std::string("\xc3\xa4"), std::string(256, 'x')}) {
    const auto outcome = checkStorable("name", text);
    ASSERT_TRUE(outcome) << text;
    EXPECT_EQ(Problem::ArgumentNotStorable, outcome->problem);
    EXPECT_EQ("name", outcome->subject);
    EXPECT_EQ(text, outcome->detail);
  }
}

TEST(JobTextTest, InformationNamesUserAndName) {
  EXPECT_EQ("#1USE=u#1JNA=n", jobInformation({"J1", "u", "n", 0}));
  EXPECT_EQ("#1USE=u", jobInformation({"J1", "u", "", 0}));
  EXPECT_EQ("#1JNA=n", jobInformation({"J1", "", "n", 0}));
  EXPECT_EQ("", jobInformation({"J1", "", "", 0}));
}

}  // namespace
