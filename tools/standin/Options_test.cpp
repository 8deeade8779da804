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
  EXPECT_EQ(std::nullopt, options.port);
  EXPECT_THAT(options.command, IsEmpty());
}

TEST(OptionsTest, EveryOptionIsTaken) {
  const Options options = optionsOf({"--keep", "--home", "/a b", "--no-run"});
  EXPECT_EQ("/a b", options.home);
  EXPECT_TRUE(options.keep);
  EXPECT_FALSE(options.run);
}

TEST(OptionsTest, PortIsANumberFrom0To65535) {
  EXPECT_EQ(0, optionsOf({"--port", "0"}).port);
  EXPECT_EQ(8080, optionsOf({"--port=8080"}).port);
  EXPECT_EQ(65535, optionsOf({"--port", "65535"}).port);
  for (const char* text : {"65536", "-1", "", "x", "80x", "0x50", "+80", " 80"}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(2, std::get<int>(parse({"--port", text})));
    EXPECT_EQ("velmo-standin: --port: '" + std::string(text) +
                  "' is no number from 0 to 65535 (--help tells more)\n",
              testing::internal::GetCapturedStderr());
  }
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
