#include "JobNumbers.h"

#include <gtest/gtest.h>

#include <string>

#include "TaskInstallation.h"

namespace velmo::cli {
namespace {

TEST(JobNumbersTest, NumberIsThatOfAnIdentifierTheMachineIssued) {
  EXPECT_EQ(17, jobNumberIn("J17"));
  EXPECT_EQ(17, jobNumberIn("node-J17"));
  EXPECT_EQ(0, jobNumberIn("a.b-J0"));
  for (const char* other : {"", "17", "J", "J17x", "nodeJ17", "J-17", "J1000000"}) {
    EXPECT_FALSE(jobNumberIn(other)) << other;
  }
}

TEST(JobNumbersTest, LargestNumberInDamagedText) {
  EXPECT_EQ(17, numberIn("17x"));
  EXPECT_EQ(170, numberIn("x3 170\n"));
  EXPECT_EQ(3, numberIn("3 99999999999"));
  EXPECT_FALSE(numberIn(""));
  EXPECT_FALSE(numberIn("x"));
}

TEST(JobNumbersTest, LargestNumberIsLookedForEverywhere) {
  test::TaskInstallation place;
  client::Settings settings;
  settings.var.value = place.directory.path("var");
  settings.tmp.value = place.directory.path("tmp");
  settings.data.value = place.directory.path("data");
  EXPECT_FALSE(largestJobNumber(settings));
  place.writeJobCounter("5x");
  EXPECT_EQ(5, largestJobNumber(settings));
  place.directory.writeFile("data/velmo/jobid_tmp", "6");
  EXPECT_EQ(6, largestJobNumber(settings));
  place.directory.writeFile("tmp/0050.20250303140509.J7.S0.T20250303140509-1.R0002.sh", "");
  EXPECT_EQ(7, largestJobNumber(settings));
  place.directory.writeFile("var/taskqueue/0050.20250303140509.a-J8.S0.T20250303140509-1.R0002.sh",
                            "");
  EXPECT_EQ(8, largestJobNumber(settings));
}

}  // namespace
}  // namespace velmo::cli
