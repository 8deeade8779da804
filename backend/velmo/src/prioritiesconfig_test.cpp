#include "prioritiesconfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <type_traits>
#include <vector>

#include "Environment.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::Config;
using brix::velmo::PrioritiesConfig;
using testing::ElementsAre;
using velmo::test::Environment;
using velmo::test::FakeScope;
using velmo::test::MovedClock;
using velmo::test::platform;
using velmo::test::setFileTime;
using velmo::test::TemporaryDirectory;

constexpr time_t kNow = 1700000000;

class PrioritiesConfigTest : public testing::Test {
 protected:
  PrioritiesConfigTest() {
    environment.set("VELMO_HOME", directory.makeDirectory("home"));
    environment.set("CONF", directory.makeDirectory("conf"));
  }

  ~PrioritiesConfigTest() override {
    PrioritiesConfig::INSTANCE.reset();
  }

  void writeHomeFile(const std::string& contents, time_t modified) {
    setFileTime(directory.writeFile("home/priorities.cfg", contents).c_str(), modified);
  }

  static int value() {
    return PrioritiesConfig::Instance()->getRelativePriorityStatStudy();
  }

  TemporaryDirectory directory;
  Environment environment;
  FakeScope fakes;
  MovedClock clock{kNow};
};

TEST_F(PrioritiesConfigTest, HidesItsBase) {
  EXPECT_TRUE((std::is_base_of_v<Config, PrioritiesConfig>));
  EXPECT_FALSE((std::is_convertible_v<PrioritiesConfig*, Config*>));
}

TEST_F(PrioritiesConfigTest, InstanceIsEmptyUntilTheFirstCallAndThenTheSame) {
  EXPECT_EQ(nullptr, PrioritiesConfig::INSTANCE);
  PrioritiesConfig* instance = PrioritiesConfig::Instance();
  EXPECT_EQ(instance, PrioritiesConfig::INSTANCE.get());
  EXPECT_EQ(instance, PrioritiesConfig::Instance());
}

TEST_F(PrioritiesConfigTest, ConstructorReadsNoFileAndHasMinus10) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-30\n", kNow - 100);
  int opened = 0;
  platform().fopen.setFake([&opened](const char* path, const char* mode) {
    ++opened;
    return platform().fopen.real(path, mode);
  });
  EXPECT_EQ(-10, PrioritiesConfig().getRelativePriorityStatStudy());
  EXPECT_EQ(0, opened);
}

TEST_F(PrioritiesConfigTest, ResetGivesMinus50) {
  PrioritiesConfig config;
  config.reset();
  EXPECT_EQ(-50, config.getRelativePriorityStatStudy());
}

TEST_F(PrioritiesConfigTest, ValueOfTheHomeFileIsTaken) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY = \"-30\"\n", kNow - 100);
  EXPECT_EQ(-30, value());
}

TEST_F(PrioritiesConfigTest, MissingFileGivesMinus50WithoutAWarning) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(-50, value());
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(PrioritiesConfigTest, FileWithoutTheKeyGivesMinus50) {
  writeHomeFile("NORMAL=50\nrelative_priority_stat_study=1\n", kNow - 100);
  EXPECT_EQ(-50, value());
}

TEST_F(PrioritiesConfigTest, FileInConfIsNeverRead) {
  directory.writeFile("conf/priorities.cfg", "RELATIVE_PRIORITY_STAT_STUDY=-30\n");
  EXPECT_EQ(-50, value());
  clock.advance(100);
  EXPECT_EQ(-50, value());
}

TEST_F(PrioritiesConfigTest, BothVariablesAreConsultedInTheConstructor) {
  std::vector<std::string> names;
  platform().getenv.setFake([&names](const char* name) {
    names.emplace_back(name);
    return platform().getenv.real(name);
  });
  const PrioritiesConfig config;
  EXPECT_THAT(names, ElementsAre("VELMO_HOME", "CONF"));
}

TEST_F(PrioritiesConfigTest, WithoutVelmoHomeNoFileIsRead) {
  environment.unset("VELMO_HOME");
  directory.writeFile("conf/priorities.cfg", "RELATIVE_PRIORITY_STAT_STUDY=-30\n");
  int looks = 0;
  platform().stat.setFake([&looks](const char*, struct stat*) {
    ++looks;
    return -1;
  });
  EXPECT_EQ(-50, value());
  EXPECT_EQ(0, looks);
}

TEST_F(PrioritiesConfigTest, VelmoHomeIsReadWhenTheInstanceIsMade) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-30\n", kNow - 100);
  EXPECT_EQ(-30, value());
  environment.set("VELMO_HOME", directory.path("elsewhere"));
  clock.advance(100);
  EXPECT_EQ(-30, value());
}

TEST_F(PrioritiesConfigTest, EmptyVelmoHomeIsTheRootDirectory) {
  environment.set("VELMO_HOME", "");
  std::vector<std::string> looks;
  platform().stat.setFake([&looks](const char* path, struct stat*) {
    looks.emplace_back(path);
    return -1;
  });
  EXPECT_EQ(-50, value());
  EXPECT_THAT(looks, ElementsAre("/priorities.cfg"));
}

TEST_F(PrioritiesConfigTest, ChangeIsSeenAfter10SecondsAndNotBefore) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-30\n", kNow - 100);
  EXPECT_EQ(-30, value());
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-31\n", kNow - 99);
  clock.advance(9);
  EXPECT_EQ(-30, value());
  clock.advance(1);
  EXPECT_EQ(-31, value());
}

TEST_F(PrioritiesConfigTest, DeletedFileGivesMinus50AtTheNextDueCheck) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-30\n", kNow - 100);
  EXPECT_EQ(-30, value());
  std::filesystem::remove(directory.path("home/priorities.cfg"));
  clock.advance(9);
  EXPECT_EQ(-30, value());
  clock.advance(1);
  EXPECT_EQ(-50, value());
}

TEST_F(PrioritiesConfigTest, KeyThatIsMissingAfterAReloadGivesMinus50) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-30\n", kNow - 100);
  EXPECT_EQ(-30, value());
  writeHomeFile("OTHER=1\n", kNow - 99);
  clock.advance(10);
  EXPECT_EQ(-50, value());
}

TEST_F(PrioritiesConfigTest, FileThatCannotBeOpenedIsNamedOnStandardErrorAndGivesMinus50) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-30\n", kNow - 100);
  const std::string homeFile = directory.path("home/priorities.cfg");
  platform().fopen.setFake([&homeFile](const char* path, const char* mode) -> FILE* {
    return path == homeFile ? nullptr : platform().fopen.real(path, mode);
  });
  testing::internal::CaptureStderr();
  EXPECT_EQ(-50, value());
  EXPECT_EQ("Warning: error loading " + homeFile + "\n", testing::internal::GetCapturedStderr());
}

TEST_F(PrioritiesConfigTest, ValueConvertsAsStrtolDoes) {
  const std::vector<std::pair<std::string, int>> rows{
      {"0", 0},
      {"+7", 7},
      {"12abc", 12},
      {"abc", 0},
      {"", 0},
      {"0x10", 0},
      {"010", 10},
      {"2147483647", 2147483647},
      {"3000000000", -1294967296},
      {"4294967296", 0},
      {"9223372036854775807", -1},
      {"-9223372036854775808", 0},
      {"9223372036854775808", -50},  // beyond strtol: keeps the value after the reset
      {"-9223372036854775809", -50},
  };
  time_t modified = kNow - 1000;
  for (const auto& [text, expected] : rows) {
    writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=" + text + "\n", ++modified);
    clock.advance(10);
    EXPECT_EQ(expected, value()) << text;
  }
}

TEST_F(PrioritiesConfigTest, ValueOutOfRangeKeepsThePreviousOne) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-30\n", kNow - 100);
  PrioritiesConfig config;
  config.load();
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=99999999999999999999\n", kNow - 99);
  config.load();
  EXPECT_EQ(-30, config.getRelativePriorityStatStudy());
}

TEST_F(PrioritiesConfigTest, ErrorLeftByAnEarlierCallDoesNotCount) {
  writeHomeFile("RELATIVE_PRIORITY_STAT_STUDY=-30\n", kNow - 100);
  PrioritiesConfig config;
  errno = ERANGE;
  config.load();
  EXPECT_EQ(-30, config.getRelativePriorityStatStudy());
}

}  // namespace
