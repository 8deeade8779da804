#include "NewTaskName.h"

#include <gtest/gtest.h>

#include <string>

#include "ShownResult.h"
#include "TemporaryDirectory.h"

namespace {

using brix::velmo::formatTaskFileName;
using brix::velmo::TaskFileName;
using velmo::client::checkName;
using velmo::client::checkNewName;
using velmo::client::GivenTask;
using velmo::client::nameOf;
using velmo::client::Problem;
using velmo::client::ServerIdentity;
using velmo::client::Settings;
using velmo::test::lineOf;
using velmo::test::TemporaryDirectory;

const TaskFileName kExample{50, "20250303140509", "J12", "0", 731, 2, "sh"};

TEST(NewTaskNameTest, HoldsWhatIsKnownOfTheTask) {
  GivenTask task;
  task.job = "J12";
  task.subJob = "1_x";
  task.type = "java";
  task.relativePriority = -3;
  EXPECT_EQ("0050.20250303140509.J12.S1_x.T20250303140509-0.R-003.java",
            formatTaskFileName(nameOf(task, 50, "20250303140509")));
}

// --- checkName ---

TEST(CheckNameTest, OrdinaryNamesAreAccepted) {
  EXPECT_EQ("", lineOf(checkName(kExample)));
  TaskFileName name = kExample;
  name.priority = -2147483647;
  name.relativePriority = 123456;
  name.jobId = "db.South-J1";
  name.subJobId = "4_x.y";
  name.commandType = "a.b";
  EXPECT_EQ("", lineOf(checkName(name)));
}

TEST(CheckNameTest, NameMustFitWithTheLongestTaskNumber) {
  TaskFileName name = kExample;
  name.taskId = 2147483646;
  name.jobId += std::string(255 - formatTaskFileName(name).size(), 'x');
  name.taskId = 1;
  EXPECT_EQ("", lineOf(checkName(name)));
  name.jobId += "x";
  EXPECT_EQ(
      "job, sub_job and type are too long together: the task's name could have 256 bytes, "
      "and 255 is the limit",
      lineOf(checkName(name)));
}

TEST(CheckNameTest, NameThatWouldReadBackDifferentlyIsRefused) {
  TaskFileName name = kExample;
  name.subJobId = "0.South";
  EXPECT_EQ(
      "the service would read other parts from the task's name: "
      "\"0050.20250303140509.J12.S0.South.T20250303140509-2147483646.R0002.sh\"",
      lineOf(checkName(name)));
  name = kExample;
  name.commandType = "sh.T20250303140509-9.R0000.x";
  EXPECT_EQ(Problem::TaskNameAmbiguous, checkName(name)->problem);
}

TEST(CheckNameTest, NameThatWouldNotReadBackIsRefused) {
  TaskFileName name = kExample;
  name.created = "100000101000000";  // a year beyond four digits
  EXPECT_EQ(Problem::TaskNameAmbiguous, checkName(name)->problem);
}

// --- checkNewName ---

class CheckNewNameTest : public testing::Test {
 protected:
  CheckNewNameTest() {
    settings.conf.value = directory.path();
    name.jobId.clear();
  }

  std::string refusal(const std::string& identity) const {
    directory.writeFile("serverid.cfg", "SELF_SERVER_ID=" + identity + "\n");
    return lineOf(checkNewName(name, ServerIdentity(settings)));
  }

  const TemporaryDirectory directory;
  Settings settings;
  TaskFileName name = kExample;
};

TEST_F(CheckNewNameTest, GivenJobDoesNotNeedAnIdentity) {
  name.jobId = "J12";
  EXPECT_EQ("", refusal("a/b"));
}

TEST_F(CheckNewNameTest, NewJobNeedsAnIdentityThatIsUsable) {
  EXPECT_EQ("", refusal("node2"));
  EXPECT_EQ("SELF_SERVER_ID in \"" + directory.path("serverid.cfg") +
                "\" cannot be part of a job: \"a/b\"",
            refusal("a/b"));
}

TEST_F(CheckNewNameTest, NameMustFitWithTheLongestNewJob) {
  name.jobId = "-J999999";
  name.taskId = 2147483646;
  const std::string longest(255 - formatTaskFileName(name).size(), 'n');
  name.jobId.clear();
  EXPECT_EQ("", refusal(longest));
  EXPECT_NE("", refusal(longest + "n"));
}

}  // namespace
