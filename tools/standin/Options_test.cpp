#include "Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace standin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::variant<Options, int> parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "velmo-standin");
  return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

Options optionsOf(const std::vector<const char*>& arguments) {
  return std::get<Options>(parse(arguments));
}

TEST(OptionsTest, WithoutArgumentsItServesInATemporaryDirectory) {
  const Options options = optionsOf({});
  EXPECT_EQ("", options.home);
  EXPECT_FALSE(options.keep);
  EXPECT_TRUE(options.run);
  EXPECT_THAT(options.command, IsEmpty());
}

TEST(OptionsTest, EveryOptionIsTaken) {
  const Options options = optionsOf({"--keep", "--home", "/a b", "--no-run"});
  EXPECT_EQ("/a b", options.home);
  EXPECT_TRUE(options.keep);
  EXPECT_FALSE(options.run);
}

TEST(OptionsTest, WhatFollowsTheFirstSeparatorIsTheCommandAsItStands) {
  const Options options = optionsOf({"--home=/a", "--", "ls", "--keep", "--", "--help", ""});
  EXPECT_EQ("/a", options.home);
  EXPECT_FALSE(options.keep);
  EXPECT_THAT(options.command, ElementsAre("ls", "--keep", "--", "--help", ""));
}

TEST(OptionsTest, SeparatorWithoutACommandIsAUsageError) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(2, std::get<int>(parse({"--"})));
  EXPECT_EQ("velmo-standin: COMMAND behind -- is required (--help tells more)\n",
            testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace standin
