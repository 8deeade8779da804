#include "Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo::standin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::variant<Options, int> parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "velmo-standin");
  return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

// What is wrong with the arguments, as it is reported.
std::string faultOf(const std::vector<const char*>& arguments) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(2, std::get<int>(parse(arguments)));
  return testing::internal::GetCapturedStderr();
}

Options optionsOf(const std::vector<const char*>& arguments) {
  return std::get<Options>(parse(arguments));
}

TEST(OptionsTest, WithoutArgumentsItServesInATemporaryDirectory) {
  const Options options = optionsOf({});
  EXPECT_EQ("", options.home);
  EXPECT_FALSE(options.keep);
  EXPECT_TRUE(options.run);
  EXPECT_FALSE(options.showOutput);
  EXPECT_FALSE(options.failOnTask);
  EXPECT_EQ(std::nullopt, options.port);
  EXPECT_FALSE(options.fault);
  EXPECT_EQ(std::nullopt, options.faultCount);
  EXPECT_THAT(options.command, IsEmpty());
}

TEST(OptionsTest, EveryOptionIsParsed) {
  const Options options =
      optionsOf({"--keep", "--home", "/a b", "--no-run", "--show-output", "--fail-on-task"});
  EXPECT_EQ("/a b", options.home);
  EXPECT_TRUE(options.keep);
  EXPECT_FALSE(options.run);
  EXPECT_TRUE(options.showOutput);
  EXPECT_TRUE(options.failOnTask);
}

TEST(OptionsTest, PortIsANumberFrom0To65535) {
  EXPECT_EQ(0, optionsOf({"--port", "0"}).port);
  EXPECT_EQ(8080, optionsOf({"--port=8080"}).port);
  EXPECT_EQ(65535, optionsOf({"--port", "65535"}).port);
  for (const char* text : {"65536", "-1", "80x", "0x50", "+80", " 80"}) {
    EXPECT_EQ("velmo-standin: --port: '" + std::string(text) +
                  "' is not a number from 0 to 65535; --port 0 takes any free port\n",
              faultOf({"--port", text}));
  }
}

TEST(OptionsTest, MissingPortIsReportedWithAdviceToUse0) {
  const std::string fault =
      "velmo-standin: --port: a number from 0 to 65535 is missing; --port 0 takes any free port\n";
  EXPECT_EQ(fault, faultOf({"--port"}));
  EXPECT_EQ(fault, faultOf({"--port", ""}));
  EXPECT_EQ(fault, faultOf({"--port="}));
  EXPECT_EQ(fault, faultOf({"--port", "--keep"}));
  EXPECT_EQ(fault, faultOf({"--port", "--", "true"}));
}

TEST(OptionsTest, ProgramInPlaceOfThePortIsReportedWithAdviceAboutPortAndSeparator) {
  EXPECT_EQ(
      "velmo-standin: --port: './first' is not a number from 0 to 65535; --port 0 takes any free "
      "port, and put -- before the program\n",
      faultOf({"--port", "./first", "now"}));
  EXPECT_EQ(
      "velmo-standin: --port: 'x' is not a number from 0 to 65535; --port 0 takes any free port\n",
      faultOf({"--port", "x", "--", "./first"}));
}

TEST(OptionsTest, FaultIsAKindAndPerhapsACount) {
  const Options always = optionsOf({"--fault", "close-1008", "--port", "0"});
  EXPECT_EQ("close-1008", always.fault->name);
  EXPECT_EQ(std::nullopt, always.faultCount);
  const Options twice = optionsOf({"--port", "0", "--faults", "2", "--fault=http-503"});
  EXPECT_EQ(FaultKind::kHttp503, twice.fault->kind);
  EXPECT_EQ(2U, twice.faultCount);
}

TEST(OptionsTest, FaultHelpListsTheKindsAndIsNoFailure) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(0, std::get<int>(parse({"--fault", "help", "--", "true"})));
  EXPECT_EQ(faultList(), testing::internal::GetCapturedStdout());
}

TEST(OptionsTest, UnknownOrMissingKindOfFaultIsAUsageError) {
  EXPECT_EQ("velmo-standin: --fault: 'quiet' is not a kind of fault; --fault help lists them\n",
            faultOf({"--port", "0", "--fault", "quiet"}));
  const std::string missing =
      "velmo-standin: --fault: a kind is missing; --fault help lists them\n";
  EXPECT_EQ(missing, faultOf({"--fault"}));
  EXPECT_EQ(missing, faultOf({"--fault", "--port", "0"}));
  EXPECT_EQ(
      "velmo-standin: --fault: 'close-1005': a close frame has a code from 1000 to 1003, 1007 to "
      "1014 or 3000 to 4999\n",
      faultOf({"--port", "0", "--fault", "close-1005"}));
}

TEST(OptionsTest, FaultOfAConnectionNeedsAPort) {
  for (const std::string kind : {"silent", "close-1008", "http-503"}) {
    EXPECT_EQ("velmo-standin: --fault " + kind +
                  " is for programs that submit by message; add --port 0\n",
              faultOf({"--fault", kind.c_str()}));
  }
}

TEST(OptionsTest, FaultOfTheInstallationGoesWithNeitherAPortNorACount) {
  for (const std::string kind : {"not-running", "stale-lock"}) {
    EXPECT_EQ(kind, optionsOf({"--fault", kind.c_str()}).fault->name);
    EXPECT_EQ("velmo-standin: --fault " + kind +
                  " is for programs that submit by file; leave out --port\n",
              faultOf({"--fault", kind.c_str(), "--port", "0"}));
    EXPECT_EQ("velmo-standin: --fault " + kind + " lasts to the end; leave out --faults\n",
              faultOf({"--fault", kind.c_str(), "--faults", "1"}));
  }
}

TEST(OptionsTest, CountOfFaultsIsANumberFrom1AndNeedsAFault) {
  for (const std::string text : {"0", "-1", "x", "1x", "4294967296", ""}) {
    EXPECT_EQ("velmo-standin: --faults: '" + text + "' is not a number from 1 to 4294967295\n",
              faultOf({"--port", "0", "--fault", "drip", "--faults", text.c_str()}));
  }
  EXPECT_EQ("velmo-standin: --faults needs --fault\n", faultOf({"--port", "0", "--faults", "1"}));
}

TEST(OptionsTest, ProgramWithoutTheSeparatorIsReportedWithTheLineToType) {
  const std::string start = "velmo-standin: put -- before the program: velmo-standin ";
  EXPECT_EQ(start + "-- ./first\n", faultOf({"./first"}));
  EXPECT_EQ(start + "--port 0 --keep -- ./first one two\n",
            faultOf({"--port", "0", "--keep", "./first", "one", "two"}));
  EXPECT_EQ(start + "-- sh -c 'it'\\''s' ''\n", faultOf({"sh", "-c", "it's", ""}));
}

TEST(OptionsTest, OptionsOfAProgramWithoutTheSeparatorAreNotParsed) {
  const std::string start = "velmo-standin: put -- before the program: velmo-standin -- ls ";
  EXPECT_EQ(start + "--help\n", faultOf({"ls", "--help"}));
  EXPECT_EQ(start + "--version -h\n", faultOf({"ls", "--version", "-h"}));
  EXPECT_EQ(start + "--port 80 --keep\n", faultOf({"ls", "--port", "80", "--keep"}));
}

TEST(OptionsTest, UnknownOptionsAreNamedInTheOrderTypedWithTheSeparator) {
  EXPECT_EQ(
      "velmo-standin: not an option of velmo-standin: --jobs -x 4 make; put -- before the program "
      "and its options (--help tells more)\n",
      faultOf({"--jobs", "-x", "4", "make"}));
  EXPECT_EQ(
      "velmo-standin: not an option of velmo-standin: one two; only options may come before -- "
      "(--help tells more)\n",
      faultOf({"--keep", "one", "two", "--", "true"}));
}

TEST(OptionsTest, ArgumentsAfterTheFirstSeparatorAreTheCommandUnchanged) {
  const Options options = optionsOf({"--home=/a", "--", "ls", "--keep", "--", "--help", ""});
  EXPECT_EQ("/a", options.home);
  EXPECT_FALSE(options.keep);
  EXPECT_THAT(options.command, ElementsAre("ls", "--keep", "--", "--help", ""));
}

TEST(OptionsTest, SeparatorWithoutACommandIsAUsageError) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(2, std::get<int>(parse({"--"})));
  EXPECT_EQ("velmo-standin: COMMAND after -- is required (--help tells more)\n",
            testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace velmo::standin
