#include "TaskFileName.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdio>
#include <ctime>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Environment.h"
#include "MovedClock.h"
#include "PlatformCalls.h"

namespace {

using brix::velmo::childSubJobId;
using brix::velmo::currentTimestamp;
using brix::velmo::formatTaskFileName;
using brix::velmo::parseTaskFileName;
using brix::velmo::TaskFileName;
using velmo::test::Environment;
using velmo::test::FakeScope;
using velmo::test::MovedClock;

const TaskFileName kExample{50, "20250303140509", "J12", "0", 731, 2, "sh"};

auto partsOf(const TaskFileName& name) {
  return std::make_tuple(name.priority, name.created, name.jobId, name.subJobId, name.taskId,
                         name.relativePriority, name.commandType);
}

void expectParsed(const TaskFileName& expected, const std::string& text) {
  const std::optional<TaskFileName> name = parseTaskFileName(text);
  ASSERT_TRUE(name) << text;
  EXPECT_EQ(partsOf(expected), partsOf(*name)) << text;
}

// --- formatTaskFileName ---

TEST(TaskFileNameTest, NameHasItsEightPartsInOrder) {
  EXPECT_EQ("0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
            formatTaskFileName(kExample));
}

TEST(TaskFileNameTest, PrioritiesArePaddedToFourDigitsAndNotCut) {
  const std::vector<std::pair<int, std::string>> rows{
      {0, "0000"},  {7, "0007"},   {9999, "9999"},          {12345, "12345"},
      {-5, "-005"}, {-12, "-012"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"},
  };
  for (const auto& [number, text] : rows) {
    TaskFileName name = kExample;
    name.priority = number;
    name.relativePriority = number;
    EXPECT_EQ(text + ".20250303140509.J12.S0.T20250303140509-731.R" + text + ".sh",
              formatTaskFileName(name));
  }
}

TEST(TaskFileNameTest, EmptyPartsLeaveTheirMarks) {
  EXPECT_EQ("0050.20250303140509..S.T20250303140509-1.R0000.",
            formatTaskFileName({50, "20250303140509", "", "", 1, 0, ""}));
}

TEST(TaskFileNameTest, LongTextsAreNotCut) {
  const std::string text(3000, 'x');
  EXPECT_EQ("0050.20250303140509." + text + ".S" + text + ".T20250303140509-1.R0000." + text,
            formatTaskFileName({50, "20250303140509", text, text, 1, 0, text}));
}

TEST(TaskFileNameTest, AnyNameIsWhatPrintfWrites) {
  std::mt19937 random(20261122);
  const auto text = [&random] {
    return std::string(random() % 40, static_cast<char>(1 + random() % 255));
  };
  for (int i = 0; i < 20000; ++i) {
    const TaskFileName name{static_cast<int>(random()) >> (random() % 32),
                            text(),
                            text(),
                            text(),
                            static_cast<int>(random()) >> (random() % 32),
                            static_cast<int>(random()) >> (random() % 32),
                            text()};
    std::array<char, 512> expected{};
    std::snprintf(expected.data(), expected.size(), "%04d.%s.%s.S%s.T%s-%d.R%04d.%s", name.priority,
                  name.created.c_str(), name.jobId.c_str(), name.subJobId.c_str(),
                  name.created.c_str(), name.taskId, name.relativePriority,
                  name.commandType.c_str());
    ASSERT_STREQ(expected.data(), formatTaskFileName(name).c_str());
  }
}

// --- parseTaskFileName ---

struct GoodName {
  const char* text;
  TaskFileName name;
  const char* reason;
};

const std::vector<GoodName> kGoodNames{
    {"0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh", kExample, "an ordinary name"},
    {"12000.20250303140509.J12.S0.T20250303140509-0.R-005.sh",
     {12000, "20250303140509", "J12", "0", 0, -5, "sh"},
     "a configured priority may have more than four digits"},
    {"-005.20250303140509.J12.S0.T20250303140509-2147483646.R123456.java",
     {-5, "20250303140509", "J12", "0", 2147483646, 123456, "java"},
     "a relative priority may have more than four digits"},
    {"0050.20250303140509.db.example-J-6.S4_x.y-z.T20250303140509-1.R0000.sh",
     {50, "20250303140509", "db.example-J-6", "4_x.y-z", 1, 0, "sh"},
     "dots and hyphens in the identifiers"},
    {"0050.20250303140509.db.South-J1.S0.T20250303140509-1.R0000.sh",
     {50, "20250303140509", "db.South-J1", "0", 1, 0, "sh"},
     "the last .S begins the sub-job"},
    {"0050.20250303140509.J1.S0.T20250303140509-1.R0000.sh.T20250303140509-2.R0000.sh",
     {50, "20250303140509", "J1", "0.T20250303140509-1.R0000.sh", 2, 0, "sh"},
     "a sub-job that looks like the parts behind it"},
    {"0050.20250303140509.J12.S.T20250303140509-1.R0000.",
     {50, "20250303140509", "J12", "", 1, 0, ""},
     "empty sub-job and type"},
    {"0050.20250303140509.J12.S0.T20250303140509-1.R0000.a.b",
     {50, "20250303140509", "J12", "0", 1, 0, "a.b"},
     "a dot in the type"},
    {"9999.20161231235960.EMPTYJOB.S0.T20161231235960-1.R0000.sh",
     {9999, "20161231235960", "EMPTYJOB", "0", 1, 0, "sh"},
     "a leap second"},
};

const std::vector<const char*> kBadNames{
    "", ".", "README", ".0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    // the priority is not written with four digits, or not a number, or beyond 32 bits
    "50.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    "00050.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    "+050.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    "high.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    "4294967296.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    // the time is cut, not in digits, not a time of day, or not the same twice
    "0050.2025030314050.J12.S0.T2025030314050-731.R0002.sh",
    "0050.2025030314050x.J12.S0.T2025030314050x-731.R0002.sh",
    "0050.20251303140509.J12.S0.T20251303140509-731.R0002.sh",
    "0050.20250332140509.J12.S0.T20250332140509-731.R0002.sh",
    "0050.20250303240509.J12.S0.T20250303240509-731.R0002.sh",
    "0050.20250303146009.J12.S0.T20250303146009-731.R0002.sh",
    "0050.20250303140561.J12.S0.T20250303140561-731.R0002.sh",
    "0050.20250303140509.J12.S0.T20250303140510-731.R0002.sh",
    // no job, no sub-job
    "0050.20250303140509..S0.T20250303140509-731.R0002.sh",
    "0050.20250303140509.J12.T20250303140509-731.R0002.sh",
    // the task is missing, negative, padded, or beyond 31 bits
    "0050.20250303140509.J12.S0.T20250303140509-.R0002.sh",
    "0050.20250303140509.J12.S0.T20250303140509--1.R0002.sh",
    "0050.20250303140509.J12.S0.T20250303140509-0731.R0002.sh",
    "0050.20250303140509.J12.S0.T20250303140509-2147483648.R0002.sh",
    // the relative priority is missing or short, and the type is missing
    "0050.20250303140509.J12.S0.T20250303140509-731.0002.sh",
    "0050.20250303140509.J12.S0.T20250303140509-731.R2.sh",
    "0050.20250303140509.J12.S0.T20250303140509-731.R.sh",
    "0050.20250303140509.J12.S0.T20250303140509-731.R0002",
    "0050.20250303140509.J12.S0.T20250303140509-731"};

TEST(TaskFileNameTest, NamesOfTaskFilesAreTakenApart) {
  for (const GoodName& row : kGoodNames) {
    SCOPED_TRACE(row.reason);
    expectParsed(row.name, row.text);
  }
}

TEST(TaskFileNameTest, NamesThatWereTakenApartAreFormattedAsTheyWere) {
  for (const GoodName& row : kGoodNames) {
    EXPECT_EQ(row.text, formatTaskFileName(row.name));
  }
}

TEST(TaskFileNameTest, OtherNamesAreRefused) {
  for (const char* text : kBadNames) {
    EXPECT_FALSE(parseTaskFileName(text)) << text;
  }
}

TEST(TaskFileNameTest, NameCutAnywhereBeforeItsTypeIsRefused) {
  const std::string text = formatTaskFileName(kExample);
  for (std::size_t size = 0; size < text.size() - 2; ++size) {
    EXPECT_FALSE(parseTaskFileName(text.substr(0, size))) << text.substr(0, size);
  }
}

// An identifier with ".S" in the sub-job, or with ".T", the time and "-" in the type, is read
// otherwise than it was written.
TEST(TaskFileNameTest, EveryOtherNameThatIsFormattedParsesBackToItsParts) {
  const std::vector<std::string> jobs{
      "J0", "node2-J17", "db.example-J-6", "EMPTYJOB",       "db.South-J1.",       "-",
      ".",  "S",         "T1-2.R3.sh",     "a/b c%\xc3\xa4", "J.T20240229005400-1"};
  const std::vector<std::string> subJobs{"",       "0",  "4_x_y", "-2147483648_x",    "S0",
                                         "R0.T-1", "..", "x.R1.", "T20250303140509-1"};
  const std::vector<std::string> types{"", "sh", "java", "a.b", ".", ".S0", "R0000.sh"};
  for (const int priority : {INT_MIN, -1000, -5, 0, 50, 9999, 12000, INT_MAX}) {
    for (const std::string& job : jobs) {
      for (const std::string& subJob : subJobs) {
        for (const std::string& type : types) {
          for (const int taskId : {0, 731, 2147483646, INT_MAX}) {
            const TaskFileName name{priority, "20250303140509", job, subJob,
                                    taskId,   -priority / 2,    type};
            expectParsed(name, formatTaskFileName(name));
          }
        }
      }
    }
  }
}

TEST(TaskFileNameTest, SurprisingIdentifiersAreReadOtherwise) {
  TaskFileName name = kExample;
  name.subJobId = "0.South";
  EXPECT_EQ("J12.S0", parseTaskFileName(formatTaskFileName(name))->jobId);
  name = kExample;
  name.commandType = "sh.T20250303140509-9.R0000.x";
  EXPECT_EQ(9, parseTaskFileName(formatTaskFileName(name))->taskId);
}

// --- currentTimestamp ---

class TimestampTest : public testing::Test {
 protected:
  TimestampTest() {
    environment.set("TZ", "EAST-0:54");
    tzset();
  }

  std::string at(time_t now) {
    clock.set(now);
    return currentTimestamp();
  }

  Environment environment;
  const FakeScope fakes;
  MovedClock clock{0};
};

TEST_F(TimestampTest, IsTheLocalTimeInFourteenDigits) {
  EXPECT_EQ("20250303140509", at(1741007469));
  EXPECT_EQ("19700101005400", at(0));
  EXPECT_EQ("19991231235959", at(946684799 - 54 * 60));
  EXPECT_EQ("20240229005400", at(1709164800));
  EXPECT_EQ("19700101000000", at(-3240));
  EXPECT_EQ("19700101005359", at(-1));
}

TEST_F(TimestampTest, YearBeyondFourDigitsIsNotCut) {
  EXPECT_EQ("100000101000000", at(253402300800 - 3240));
  EXPECT_EQ("21474855471231235959", at(67768036191676799 - 3240));
}

TEST_F(TimestampTest, TimeThatHasNoLocalTimeReadsAsTheEmptyRecord) {
  EXPECT_EQ("19000100000000", at(67768036191676799));
  EXPECT_EQ("19000100000000", at(std::numeric_limits<time_t>::max()));
  EXPECT_EQ("19000100000000", at(std::numeric_limits<time_t>::min()));
}

// --- childSubJobId ---

TEST(ChildSubJobIdTest, IsTheParentsRaisedByOneWithTheSuffix) {
  struct Row {
    const char* parent;
    const char* suffix;
    std::string child;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"3_x", "y", "4_x_y", "number, tail, suffix"},
      {"2_abc", "k", "3_abc_k", "a longer tail"},
      {"_x", nullptr, "1_x", "an empty head counts as 0"},
      {"_", nullptr, "1_", "an underscore alone"},
      {"_", "", "1__", "an empty suffix still adds its underscore"},
      {"abc_x", "y", "1_x_y", "a head that is not a number counts as 0"},
      {"7up_x", nullptr, "8_x", "text behind the number does not count"},
      {" 5_x", nullptr, "6_x", "white space first"},
      {"-3_x", nullptr, "-2_x", "a sign"},
      {"-1_x", nullptr, "0_x", "up to 0"},
      {"009_x", nullptr, "10_x", "decimal"},
      {"1_a_b", "c", "2_a_b_c", "the first underscore counts"},
      {"2147483647_x", nullptr, "-2147483648_x", "the sum is cut to 32 bits"},
      {"4294967295_x", nullptr, "0_x", "the sum is cut to 32 bits"},
      {"9223372036854775807_x", nullptr, "0_x", "the largest long wraps"},
      {"99999999999999999999_x", nullptr, "0_x", "beyond a long"},
      {"-99999999999999999999_x", nullptr, "1_x", "below a long"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.child, childSubJobId(row.parent, row.suffix)) << row.reason;
  }
}

TEST(ChildSubJobIdTest, ParentWithoutUnderscoreHasNone) {
  for (const char* parent : {"abc", "12", ""}) {
    EXPECT_EQ(std::nullopt, childSubJobId(parent, "k")) << parent;
  }
}

}  // namespace
