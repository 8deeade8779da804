#include "PriorityMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "FailureMatcher.h"
#include "IMException.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::IMAssertionException;
using brix::imutils::IMIOException;
using brix::velmo::EffectivePriority;
using brix::velmo::PriorityMap;
using brix::velmo::Step;
using velmo::test::FakeScope;
using velmo::test::isFailure;
using velmo::test::platform;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

// --- PriorityMap ---

class PriorityMapTest : public testing::Test {
 protected:
  void load(const std::string& home) {
    EXPECT_EQ(std::nullopt, map.loadHome(directory.writeFile("home.cfg", home)));
  }

  void loadConf(const std::string& conf) {
    map.loadConf(directory.writeFile("conf.cfg", conf));
  }

  const TemporaryDirectory directory;
  const FakeScope fakes;
  PriorityMap map;
};

TEST_F(PriorityMapTest, NumberOfANameIsReadFromTheBeginningOfItsValue) {
  load("NORMAL=50\nBELOW=-12\nTRAILING=7x\nSPACED =  8\nSIGNED=+9\n");
  EXPECT_EQ(50, map.find("NORMAL"));
  EXPECT_EQ(-12, map.find("BELOW"));
  EXPECT_EQ(7, map.find("TRAILING"));
  EXPECT_EQ(8, map.find("SPACED"));
  EXPECT_EQ(9, map.find("SIGNED"));
}

TEST_F(PriorityMapTest, ValueThatIsNotANumberIs0) {
  load("TEXT=abc\nEMPTY=\n");
  EXPECT_EQ(0, map.find("TEXT"));
  EXPECT_EQ(0, map.find("EMPTY"));
}

TEST_F(PriorityMapTest, NameInNeitherFileHasNoNumber) {
  load("NORMAL=50\n");
  EXPECT_EQ(std::nullopt, map.find("NoSuch"));
  EXPECT_EQ(std::nullopt, map.find("normal"));
  EXPECT_EQ(std::nullopt, map.find(""));
}

TEST_F(PriorityMapTest, AbsentNameIsRejected) {
  EXPECT_THROW(map.find(nullptr), IMAssertionException);
  EXPECT_THROW(map.effectivePriority(nullptr, nullptr), IMAssertionException);
}

TEST_F(PriorityMapTest, ConfFileAddsItsNamesAndOverrides) {
  load("NORMAL=50\nLOW=5\n");
  loadConf("NORMAL=60\nEXTRA=70\n");
  EXPECT_EQ(60, map.find("NORMAL"));
  EXPECT_EQ(5, map.find("LOW"));
  EXPECT_EQ(70, map.find("EXTRA"));
}

TEST_F(PriorityMapTest, MissingFilesAreNoFailure) {
  EXPECT_EQ(std::nullopt, map.loadHome(directory.path("missing")));
  map.loadConf(directory.path("missing"));
  EXPECT_EQ(std::nullopt, map.find("NORMAL"));
}

TEST_F(PriorityMapTest, FilesThatCannotBeReadAreNoFailure) {
  const std::string file = directory.writeFile("home.cfg", "NORMAL=50\n");
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ(std::nullopt, map.loadHome(file));
  map.loadConf(file);
  EXPECT_EQ(std::nullopt, map.find("NORMAL"));
}

TEST_F(PriorityMapTest, ExceptionFromTheHomeFileIsAFailureThatNamesTheFile) {
  platform().fopen.setFake([](const char*, const char*) -> FILE* { throw IMIOException(5, "no"); });
  EXPECT_THAT(map.loadHome("/home/priorities.cfg"),
              isFailure(Step::LoadHomePriorities, "/home/priorities.cfg"));
}

TEST_F(PriorityMapTest, ExceptionFromTheConfFileIsSwallowedAndTheMapStays) {
  load("NORMAL=50\n");
  platform().fopen.setFake([](const char*, const char*) -> FILE* { throw IMIOException(5, "no"); });
  EXPECT_NO_THROW(map.loadConf("/conf/priorities.cfg"));
  EXPECT_EQ(50, map.find("NORMAL"));
}

// --- effectivePriority ---

TEST_F(PriorityMapTest, EffectivePriorityFollowsClassAndAdjustment) {
  struct Row {
    const char* priorityClass;
    const char* adjustment;
    int number;
    const char* reason;
  };
  const std::vector<Row> rows{
      {"NORMAL", nullptr, 50, "the class alone"},
      {"NORMAL", "UP", 70, "raised"},
      {"NORMAL", "DOWN", 30, "lowered"},
      {"NORMAL", "NORMAL", 100, "classes and adjustments share one map"},
      {"HIGH", "UP", 9999, "clamped above 9999"},
      {"LOW", "DOWN", 0, "clamped below 0"},
      {"BEYOND", nullptr, 12000, "a class above the range is not clamped"},
      {"BELOW", nullptr, -12, "a class below the range is not clamped"},
      {"BEYOND", "NOTHING", 12000, "an adjustment of 0 leaves it unclamped"},
      {"BELOW", "NOTHING", -12, "an adjustment of 0 leaves it unclamped"},
      {"BEYOND", "DOWN", 9999, "any other adjustment clamps"},
      {"BELOW", "UP", 8, "an adjustment may lead into the range"},
      {"BELOW", "DOWN", 0, "any other adjustment clamps"},
      {"TEXT", nullptr, 0, "a class that is not a number is 0"},
      {"TEXT", "UP", 20, "and is adjusted from there"},
      {"TRAILING", nullptr, 7, "text behind the number does not count"},
      {"NORMAL", "WORD", 50, "an adjustment that is not a number is 0"},
      {"LARGEST", nullptr, INT_MAX, "largest number"},
      {"LARGEST", "LARGEST", 9999, "a sum beyond 32 bits is still above 9999"},
      {"SMALLEST", "SMALLEST", 0, "a sum below 32 bits is still below 0"},
  };
  load(
      "NORMAL=50\nHIGH=9990\nLOW=5\nBEYOND=12000\nBELOW=-12\nTEXT=abc\nTRAILING=7x\n"
      "UP=20\nDOWN=-20\nNOTHING=0\nWORD=xyz\nLARGEST=2147483647\nSMALLEST=-2147483648\n");
  for (const Row& row : rows) {
    const EffectivePriority priority = map.effectivePriority(row.priorityClass, row.adjustment);
    EXPECT_EQ(row.number, priority.number) << row.reason;
    EXPECT_EQ(std::nullopt, priority.failure) << row.reason;
  }
}

TEST_F(PriorityMapTest, UnknownClassIsAFailureAndCountsAs9999) {
  load("NORMAL=50\nUP=20\n");
  for (const char* name : {"NoSuch", ""}) {
    const EffectivePriority priority = map.effectivePriority(name, nullptr);
    EXPECT_EQ(9999, priority.number);
    EXPECT_THAT(priority.failure, isFailure(Step::FindClass, name));
  }
}

TEST_F(PriorityMapTest, AdjustmentOfAnUnknownClassIsNotLookedUp) {
  load("DOWN=-20\n");
  for (const char* adjustment : {"DOWN", "NoSuchEither"}) {
    const EffectivePriority priority = map.effectivePriority("NoSuch", adjustment);
    EXPECT_EQ(9999, priority.number);
    EXPECT_THAT(priority.failure, isFailure(Step::FindClass, "NoSuch"));
  }
}

TEST_F(PriorityMapTest, UnknownAdjustmentIsAFailureAndKeepsTheClassUnclamped) {
  load("NORMAL=50\nBEYOND=12000\n");
  for (const char* adjustment : {"NoSuch", ""}) {
    const EffectivePriority normal = map.effectivePriority("NORMAL", adjustment);
    EXPECT_EQ(50, normal.number);
    EXPECT_THAT(normal.failure, isFailure(Step::FindAdjustment, adjustment));
    EXPECT_EQ(12000, map.effectivePriority("BEYOND", adjustment).number);
  }
}

}  // namespace
