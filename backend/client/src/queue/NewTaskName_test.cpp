#include "NewTaskName.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <random>
#include <string>

#include "ShownResult.h"
#include "TemporaryDirectory.h"

namespace {

using brix::velmo::formatTaskFileName;
using brix::velmo::parseTaskFileName;
using brix::velmo::TaskFileName;
using velmo::client::checkName;
using velmo::client::checkNewName;
using velmo::client::GivenTask;
using velmo::client::nameOf;
using velmo::client::Outcome;
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

// Names of pieces that a reader could take for something else.
class HostileNames {
 public:
  TaskFileName next() {
    TaskFileName name;
    name.created =
        pick({"20250303140509", "20250303140509", "20250303140509", "20250303140560",
              "20251303140509", "2025030314050", "100000101000000", "", "2025030314050x"});
    name.priority = number();
    name.relativePriority = number();
    name.taskId = number();
    name.jobId = text(name.created);
    name.subJobId = text(name.created);
    name.commandType = text(name.created);
    return name;
  }

 private:
  template <typename T>
  T pick(std::initializer_list<T> choices) {
    return choices.begin()[m_random() % choices.size()];
  }

  std::string pick(std::initializer_list<const char*> choices) {
    return pick<const char*>(choices);
  }

  int number() {
    const int any = static_cast<int>(m_random());
    return pick(
        {0, 7, -7, 999, -999, 9999, -9999, 10000, any % 20000, any, 2147483647, -2147483647 - 1});
  }

  std::string text(const std::string& created) {
    std::string result;
    for (std::size_t pieces = m_random() % 5; pieces > 0; --pieces) {
      result += m_random() % 3 == 0 ? created
                                    : pick({".", "S", ".S", "T", ".T", "-", "-1", ".R", "R0000",
                                            "0", "x", "17", ".R0002.", "2147483646"});
    }
    return m_random() % 16 == 0 ? result + std::string(m_random() % 200, 'y') : result;
  }

  std::mt19937 m_random{13};  // NOLINT: the same names in each run
};

// What checkName() finds, by writing the name and reading it.
std::string refusalByReading(TaskFileName name) {
  name.taskId = 2147483646;
  const std::string text = formatTaskFileName(name);
  if (text.size() > 255) {
    return "size " + std::to_string(text.size());
  }
  const auto read = parseTaskFileName(text);
  const bool isSame =
      read && read->priority == name.priority && read->created == name.created &&
      read->jobId == name.jobId && read->subJobId == name.subJobId && read->taskId == name.taskId &&
      read->relativePriority == name.relativePriority && read->commandType == name.commandType;
  return isSame ? "" : "ambiguous " + text;
}

std::string refusalByChecking(const TaskFileName& name) {
  const Outcome outcome = checkName(name);
  if (!outcome) {
    return "";
  }
  const bool isLong = outcome->problem == Problem::TaskNameTooLong;
  return (isLong ? "size " : "ambiguous ") + outcome->subject;
}

TEST(CheckNameTest, FindsWhatWritingAndReadingTheNameFinds) {
  HostileNames names;
  int refused = 0;
  constexpr int kNames = 200000;
  for (int i = 0; i < kNames; ++i) {
    const TaskFileName name = names.next();
    const std::string expected = refusalByReading(name);
    refused += expected.empty() ? 0 : 1;
    ASSERT_EQ(expected, refusalByChecking(name)) << formatTaskFileName(name);
  }
  EXPECT_LT(kNames / 10, refused);
  EXPECT_LT(kNames / 10, kNames - refused);
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
