#include "Joined.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using brix::imutils::joined;

TEST(JoinedTest, PartsFollowEachOther) {
  EXPECT_EQ("/var/taskqueue/name", joined({"/var", "/taskqueue/", "name"}));
}

TEST(JoinedTest, NoPartsAndEmptyPartsGiveNothing) {
  EXPECT_EQ("", joined({}));
  EXPECT_EQ("", joined({"", ""}));
  EXPECT_EQ("ab", joined({"", "a", "", "b", ""}));
}

TEST(JoinedTest, NulIsACharacterLikeOthers) {
  EXPECT_EQ(std::string("a\0b", 3), joined({std::string("a\0", 2), "b"}));
}

TEST(JoinedTest, LongPartsAreNotCut) {
  const std::string part(100000, 'x');
  EXPECT_EQ(part + part, joined({part, part}));
}

}  // namespace
