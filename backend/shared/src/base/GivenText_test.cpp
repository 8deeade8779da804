#include "GivenText.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using brix::imutils::givenText;

TEST(GivenTextTest, TextIsReturnedAsItIs) {
  const char* const text = "text";
  EXPECT_EQ(text, givenText(text));
}

TEST(GivenTextTest, EmptyTextIsGiven) {
  EXPECT_STREQ("", givenText(""));
}

TEST(GivenTextTest, NullIsRefusedWithTheTextThatCallersKnow) {
  try {
    givenText(nullptr);
    FAIL() << "did not throw";
  } catch (const std::logic_error& exception) {
    EXPECT_STREQ("basic_string::_M_construct null not valid", exception.what());
  }
}

TEST(GivenTextTest, ExceptionIsALogicErrorAndNothingMoreSpecial) {
  try {
    givenText(nullptr);
    FAIL() << "did not throw";
  } catch (const std::exception& exception) {
    EXPECT_EQ(typeid(std::logic_error), typeid(exception));
  }
}

}  // namespace
