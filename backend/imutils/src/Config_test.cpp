#include "Config.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "IMException.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::Config;
using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::FakeScope;
using velmo::test::MovedClock;
using velmo::test::platform;
using velmo::test::setFileTime;
using velmo::test::TemporaryDirectory;

constexpr time_t kNow = 1700000000;

// A configuration that records what check() calls, and shows what the base keeps.
class RecordingConfig : public Config {
 public:
  using Config::Config;
  using Config::m_checkInterval;
  using Config::m_files;
  using Config::m_lastModified;
  using Config::m_nextCheck;
  using Config::m_properties;

  void reset() override {
    calls.emplace_back("reset");
    Config::reset();
  }

  void load() override {
    calls.emplace_back("load");
    Config::load();
  }

  std::vector<std::string> takeCalls() {
    std::vector<std::string> taken;
    taken.swap(calls);
    return taken;
  }

  std::vector<std::string> calls;
};

void setTimeWithNanoseconds(const std::string& path, time_t seconds, long nanoseconds) {
  const std::array<timespec, 2> times{timespec{seconds, nanoseconds},
                                      timespec{seconds, nanoseconds}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), 0));
}

class ConfigTest : public testing::Test {
 protected:
  // Writes a file and dates it.
  std::string file(const std::string& name, const std::string& contents, time_t modified) {
    std::string path = directory.writeFile(name, contents);
    setFileTime(path.c_str(), modified);
    return path;
  }

  TemporaryDirectory directory;
  FakeScope fakes;
  MovedClock clock{kNow};
};

TEST_F(ConfigTest, ConstructorsTakeTheFilesAndLoadNothing) {
  const std::string path = file("a", "x=1\n", kNow);
  const RecordingConfig none;
  const RecordingConfig one(path);
  const RecordingConfig two(std::vector<std::string>{path, "b"});
  EXPECT_THAT(none.m_files, IsEmpty());
  EXPECT_THAT(one.m_files, ElementsAre(path));
  EXPECT_THAT(two.m_files, ElementsAre(path, "b"));
  for (const RecordingConfig* config : {&none, &one, &two}) {
    EXPECT_EQ(0, config->m_lastModified);
    EXPECT_EQ(0, config->m_nextCheck);
    EXPECT_EQ(0, config->m_checkInterval);
    EXPECT_EQ(nullptr, config->m_properties.getProperty("x"));
  }
}

TEST_F(ConfigTest, FileAndListOfFilesConvert) {
  EXPECT_TRUE((std::is_convertible_v<std::string, Config>));
  EXPECT_TRUE((std::is_convertible_v<std::vector<std::string>, Config>));
}

TEST_F(ConfigTest, ResetEmptiesTheProperties) {
  RecordingConfig config;
  config.m_properties.setProperty("x", "1");
  config.Config::reset();
  EXPECT_EQ(nullptr, config.m_properties.getProperty("x"));
}

TEST_F(ConfigTest, FirstCheckResetsThenLoads) {
  RecordingConfig config(file("a", "x=1\n", kNow - 100));
  config.check();
  EXPECT_THAT(config.calls, ElementsAre("reset", "load"));
  EXPECT_STREQ("1", config.m_properties.getProperty("x"));
  EXPECT_EQ(kNow - 100, config.m_lastModified);
  EXPECT_EQ(kNow, config.m_nextCheck);
}

// A configuration that records in reset() what check() has set before.
class NotingConfig : public RecordingConfig {
 public:
  using RecordingConfig::RecordingConfig;

  void reset() override {
    seen.emplace_back(m_lastModified, m_nextCheck);
    if (throws) {
      throw 7;
    }
  }

  std::vector<std::pair<time_t, time_t>> seen;
  bool throws = false;
};

TEST_F(ConfigTest, TimesAreSetBeforeAReload) {
  NotingConfig config(file("a", "x=1\n", kNow - 100));
  config.m_checkInterval = 10;
  config.check();
  EXPECT_THAT(config.seen, ElementsAre(std::make_pair(kNow - 100, kNow + 10)));
}

TEST_F(ConfigTest, WithoutAnyFileTheLastModificationIsForgottenAfterTheReset) {
  NotingConfig config(file("a", "x=1\n", kNow - 100));
  config.check();
  std::filesystem::remove(directory.path("a"));
  clock.advance(1);
  config.check();
  EXPECT_EQ(std::make_pair(kNow - 100, kNow + 1), config.seen.back());
  EXPECT_EQ(0, config.m_lastModified);
}

TEST_F(ConfigTest, ExceptionOfAnOverriddenResetPassesAndTheLookCountsAsDone) {
  NotingConfig config(file("a", "x=1\n", kNow - 100));
  config.throws = true;
  EXPECT_THROW(config.check(), int);
  config.throws = false;
  config.check();
  EXPECT_EQ(1U, config.seen.size());
}

TEST_F(ConfigTest, CheckWithinTheIntervalTouchesNoFile) {
  RecordingConfig config(file("a", "x=1\n", kNow - 100));
  config.m_checkInterval = 10;
  config.check();
  config.takeCalls();
  int looks = 0;
  platform().stat.setFake([&looks](const char* path, struct stat* status) {
    ++looks;
    return platform().stat.real(path, status);
  });
  file("a", "x=2\n", kNow + 5);

  clock.advance(5);
  config.check();
  clock.advance(4);
  config.check();
  EXPECT_EQ(0, looks);
  EXPECT_THAT(config.calls, IsEmpty());

  clock.advance(1);
  config.check();
  EXPECT_EQ(1, looks);
  EXPECT_THAT(config.calls, ElementsAre("reset", "load"));
  EXPECT_STREQ("2", config.m_properties.getProperty("x"));
  EXPECT_EQ(kNow + 20, config.m_nextCheck);
}

TEST_F(ConfigTest, CheckWithoutIntervalLooksEveryTime) {
  RecordingConfig config(file("a", "x=1\n", kNow - 100));
  config.check();
  file("a", "x=2\n", kNow - 99);
  config.check();
  EXPECT_STREQ("2", config.m_properties.getProperty("x"));
}

TEST_F(ConfigTest, UnchangedFileIsNotLoadedAgain) {
  RecordingConfig config(file("a", "x=1\n", kNow - 100));
  config.check();
  config.takeCalls();
  file("a", "x=2\n", kNow - 100);
  config.check();
  EXPECT_THAT(config.calls, IsEmpty());
  EXPECT_STREQ("1", config.m_properties.getProperty("x"));
}

TEST_F(ConfigTest, SecondChangeWithinTheSameSecondIsNotPickedUpUntilALaterOne) {
  const std::string path = directory.writeFile("a", "x=1\n");
  setTimeWithNanoseconds(path, kNow, 100);
  RecordingConfig config(path);
  config.check();

  directory.writeFile("a", "x=2\n");
  setTimeWithNanoseconds(path, kNow, 999999999);
  config.check();
  EXPECT_STREQ("1", config.m_properties.getProperty("x"));

  setTimeWithNanoseconds(path, kNow + 1, 0);
  config.check();
  EXPECT_STREQ("2", config.m_properties.getProperty("x"));
}

TEST_F(ConfigTest, FileReplacedByAnOlderOneIsNotPickedUp) {
  RecordingConfig config(file("a", "x=1\n", kNow - 100));
  config.check();
  config.takeCalls();
  file("a", "x=2\n", kNow - 101);
  config.check();
  EXPECT_THAT(config.calls, IsEmpty());
  EXPECT_EQ(kNow - 100, config.m_lastModified);
}

TEST_F(ConfigTest, NewestFileDecidesAndAllAreLoadedAgain) {
  RecordingConfig config(
      std::vector<std::string>{file("a", "x=1\n", kNow - 50), file("b", "y=1\n", kNow - 100)});
  config.check();
  EXPECT_EQ(kNow - 50, config.m_lastModified);

  file("b", "y=2\n", kNow - 60);
  config.check();
  EXPECT_STREQ("1", config.m_properties.getProperty("y"));

  file("b", "y=3\n", kNow - 49);
  config.check();
  EXPECT_STREQ("3", config.m_properties.getProperty("y"));
  EXPECT_STREQ("1", config.m_properties.getProperty("x"));
  EXPECT_EQ(kNow - 49, config.m_lastModified);
}

TEST_F(ConfigTest, ReloadReplacesTheWholeSetOfValues) {
  RecordingConfig config(file("a", "x=1\ny=1\n", kNow - 100));
  config.check();
  file("a", "x=2\n", kNow - 99);
  config.check();
  EXPECT_STREQ("2", config.m_properties.getProperty("x"));
  EXPECT_EQ(nullptr, config.m_properties.getProperty("y"));
}

TEST_F(ConfigTest, WithoutAnyFileCheckResetsAndLoadsNothing) {
  RecordingConfig config(std::vector<std::string>{directory.path("a"), directory.path("b")});
  config.m_properties.setProperty("x", "1");
  testing::internal::CaptureStderr();
  config.check();
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_THAT(config.takeCalls(), ElementsAre("reset"));
  EXPECT_EQ(0, config.m_lastModified);
  EXPECT_EQ(nullptr, config.m_properties.getProperty("x"));
}

TEST_F(ConfigTest, EmptyListCheckResets) {
  RecordingConfig config;
  config.check();
  config.check();
  EXPECT_THAT(config.calls, ElementsAre("reset", "reset"));
}

TEST_F(ConfigTest, DeletedFileForgetsTheLastModificationTime) {
  RecordingConfig config(file("a", "x=1\n", kNow - 100));
  config.check();
  config.takeCalls();
  std::filesystem::remove(directory.path("a"));
  config.check();
  EXPECT_THAT(config.takeCalls(), ElementsAre("reset"));
  EXPECT_EQ(0, config.m_lastModified);

  file("a", "x=2\n", kNow - 500);
  config.check();
  EXPECT_THAT(config.calls, ElementsAre("reset", "load"));
  EXPECT_STREQ("2", config.m_properties.getProperty("x"));
}

TEST_F(ConfigTest, EmptyFileNamesAreNotExamined) {
  RecordingConfig config(std::vector<std::string>{"", file("a", "x=1\n", kNow - 100)});
  std::vector<std::string> examined;
  platform().stat.setFake([&examined](const char* path, struct stat* status) {
    examined.emplace_back(path);
    return platform().stat.real(path, status);
  });
  config.check();
  EXPECT_THAT(examined, ElementsAre(directory.path("a")));
}

TEST_F(ConfigTest, FileOfTheEpochOrBeforeIsFoundButNeverNewAndNotLoaded) {
  for (const time_t modified : {time_t{-100}, time_t{0}}) {
    RecordingConfig config(file("a", "x=1\n", modified));
    config.check();
    EXPECT_THAT(config.calls, IsEmpty()) << modified;
    EXPECT_EQ(nullptr, config.m_properties.getProperty("x")) << modified;
    EXPECT_EQ(0, config.m_lastModified) << modified;
  }
}

TEST_F(ConfigTest, LaterFileOverridesAnEarlierOne) {
  RecordingConfig config(
      std::vector<std::string>{file("a", "x=1\ny=1\n", kNow), file("b", "x=2\n", kNow - 10)});
  config.check();
  EXPECT_STREQ("2", config.m_properties.getProperty("x"));
  EXPECT_STREQ("1", config.m_properties.getProperty("y"));
}

TEST_F(ConfigTest, LoadNamesAMissingFileOnStandardErrorAndContinues) {
  const std::string missing = directory.path("missing");
  RecordingConfig config(std::vector<std::string>{missing, "", file("a", "x=1\n", kNow)});
  testing::internal::CaptureStderr();
  config.check();
  EXPECT_EQ("Warning: error loading " + missing + "\nWarning: error loading \n",
            testing::internal::GetCapturedStderr());
  EXPECT_STREQ("1", config.m_properties.getProperty("x"));
}

TEST_F(ConfigTest, LoadDropsAnyExceptionAndContinues) {
  const std::string throwing = file("a", "x=1\n", kNow);
  const std::string odd = file("b", "y=1\n", kNow);
  RecordingConfig config(std::vector<std::string>{throwing, odd, file("c", "z=1\n", kNow)});
  platform().fopen.setFake([&](const char* path, const char* mode) -> FILE* {
    if (path == throwing) {
      throw brix::imutils::IMIOException(5, "no");
    }
    if (path == odd) {
      throw 7;
    }
    return platform().fopen.real(path, mode);
  });
  testing::internal::CaptureStderr();
  config.load();
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ(nullptr, config.m_properties.getProperty("x"));
  EXPECT_STREQ("1", config.m_properties.getProperty("z"));
}

TEST_F(ConfigTest, LoadDoesNotResetFirst) {
  RecordingConfig config(file("a", "x=1\n", kNow));
  config.m_properties.setProperty("y", "kept");
  config.load();
  EXPECT_STREQ("kept", config.m_properties.getProperty("y"));
}

TEST_F(ConfigTest, ClockThatRunsBackwardsDelaysTheNextLook) {
  RecordingConfig config(file("a", "x=1\n", kNow - 100));
  config.m_checkInterval = 10;
  config.check();
  config.takeCalls();
  file("a", "x=2\n", kNow - 50);
  clock.advance(-3600);
  config.check();
  EXPECT_THAT(config.calls, IsEmpty());
}

TEST_F(ConfigTest, IntervalBeyondTheEndOfTimeIsNeverOver) {
  RecordingConfig config(file("a", "x=1\n", kNow - 100));
  config.m_checkInterval = std::numeric_limits<long>::max();
  config.check();
  EXPECT_EQ(std::numeric_limits<time_t>::max(), config.m_nextCheck);
  config.takeCalls();
  clock.advance(1000000000);
  config.check();
  EXPECT_THAT(config.calls, IsEmpty());
}

TEST_F(ConfigTest, IntervalBelowZeroLooksEveryTime) {
  clock.set(std::numeric_limits<time_t>::min() + 5);
  RecordingConfig config(file("a", "x=1\n", kNow));
  config.m_nextCheck = std::numeric_limits<time_t>::min();
  config.m_checkInterval = std::numeric_limits<long>::min();
  config.check();
  EXPECT_EQ(std::numeric_limits<time_t>::min(), config.m_nextCheck);
  EXPECT_THAT(config.calls, ElementsAre("reset", "load"));
}

}  // namespace
