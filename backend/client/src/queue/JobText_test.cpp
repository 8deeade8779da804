#include "JobText.h"

#include <gtest/gtest.h>

#include <string>

#include "PlatformJobFile.h"

namespace {

using velmo::client::checkStorable;
using velmo::client::jobFileText;
using velmo::client::jobInformation;
using velmo::client::Problem;
using velmo::client::readsBack;
using velmo::test::PlatformJobFile;

TEST(JobTextTest, FileHasALineForEachText) {
  EXPECT_EQ("id=\"J17\"\nuser=\"u\"\nname=\"n\"\npriority=\"50\"\n",
            jobFileText({"J17", "u", "n", 50}));
}

TEST(JobTextTest, EmptyUserAndNameHaveNoLine) {
  EXPECT_EQ("id=\"J17\"\npriority=\"-1\"\n", jobFileText({"J17", "", "", -1}));
}

// What a program reads from a job file with this line.
std::string readBack(const std::string& key, const std::string& value) {
  const PlatformJobFile file(key + "=\"" + value + "\"\n");
  return key == "id" ? file.id : key == "user" ? file.user : file.name;
}

TEST(JobTextTest, TextsThatReadBackAreStorable) {
  const std::string all =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 ]_.,@$%#&*()[{}|/\\^;:-";
  for (const std::string& text : {std::string(), std::string("u"), all, std::string(249, 'x')}) {
    EXPECT_FALSE(checkStorable("user", text));
    EXPECT_EQ(text, readBack("user", text));
  }
}

TEST(JobTextTest, TextThatWouldReadBackDifferentlyIsRefused) {
  for (const std::string& text :
       {std::string("a\"b"), std::string("a=b"), std::string("a\nb"), std::string("\t"),
        std::string("\xc3\xa4"), std::string(250, 'x'), std::string(256, 'x')}) {
    const auto outcome = checkStorable("name", text);
    ASSERT_TRUE(outcome) << text;
    EXPECT_EQ(Problem::ArgumentNotStorable, outcome->problem);
    EXPECT_EQ("name", outcome->subject);
    EXPECT_EQ(text, outcome->detail);
    EXPECT_NE(text, readBack("name", text));
  }
}

// Programs read lines in pieces of 255 bytes, so the key counts too.
TEST(JobTextTest, IdentifierMayBeLongerThanUserAndName) {
  EXPECT_TRUE(readsBack("id", std::string(251, 'J')));
  EXPECT_EQ(251U, readBack("id", std::string(251, 'J')).size());
  EXPECT_FALSE(readsBack("id", std::string(252, 'J')));
  EXPECT_EQ(251U, readBack("id", std::string(252, 'J')).size());
}

TEST(JobTextTest, InformationNamesUserAndName) {
  EXPECT_EQ("#1USE=u#1JNA=n", jobInformation({"J1", "u", "n", 0}));
  EXPECT_EQ("#1USE=u", jobInformation({"J1", "u", "", 0}));
  EXPECT_EQ("#1JNA=n", jobInformation({"J1", "", "n", 0}));
  EXPECT_EQ("", jobInformation({"J1", "", "", 0}));
}

}  // namespace
