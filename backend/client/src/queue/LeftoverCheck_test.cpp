#include "LeftoverCheck.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "Findings.h"
#include "MovedClock.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::checkLeftovers;
using velmo::client::Settings;
using velmo::test::Findings;
using velmo::test::setFileTime;
using velmo::test::TemporaryDirectory;

using Lines = std::vector<std::string>;

class LeftoverCheckTest : public testing::Test {
 protected:
  LeftoverCheckTest() {
    settings.var.value = directory.makeDirectory("var");
    settings.tmp.value = directory.makeDirectory("tmp");
    directory.makeDirectory("var/taskqueue");
  }

  void writeAged(const std::string& name, time_t seconds) const {
    setFileTime(directory.writeFile(name, "").c_str(), time(nullptr) - seconds);
  }

  Lines found() const {
    Findings findings;
    checkLeftovers(settings, findings.report());
    return findings.lines();
  }

  static std::string task(int number) {
    return "0050.20250303140509.J12.S0.T20250303140509-" + std::to_string(number) + ".R0002.sh";
  }

  const TemporaryDirectory directory;
  Settings settings;
};

TEST_F(LeftoverCheckTest, EmptyDirectoriesHaveNone) {
  EXPECT_EQ(Lines(), found());
}

TEST_F(LeftoverCheckTest, TaskFileInTmpIsFoundAfterAMinute) {
  writeAged("tmp/" + task(1), 55);
  EXPECT_EQ(Lines(), found());
  writeAged("tmp/" + task(1), 65);
  EXPECT_EQ(Lines{"task files were left behind in TMP, \"" + settings.tmp.value + "\": " + task(1) +
                  "; delete them, for they are not queued"},
            found());
}

TEST_F(LeftoverCheckTest, SeveralAreOneFinding) {
  for (const int number : {3, 1, 2}) {
    writeAged("tmp/" + task(number), 65);
  }
  EXPECT_EQ(Lines{"task files were left behind in TMP, \"" + settings.tmp.value +
                  "\": 3, the first is " + task(1) + "; delete them, for they are not queued"},
            found());
}

TEST_F(LeftoverCheckTest, OtherFilesInTmpAreNotOurs) {
  writeAged("tmp/other", 1000);
  EXPECT_EQ(Lines(), found());
}

TEST_F(LeftoverCheckTest, OtherFilesInTheQueueAreFound) {
  writeAged("var/taskqueue/" + task(1), 1000);
  writeAged("var/taskqueue/README", 0);
  writeAged("var/taskqueue/.hidden\n", 0);
  EXPECT_EQ(Lines{"files in the queue \"" + directory.path("var/taskqueue") +
                  "\" that are not tasks: 2, the first is .hidden\\x0A; move them elsewhere"},
            found());
}

TEST_F(LeftoverCheckTest, NamesOfTheFindingsAreListed) {
  writeAged("tmp/" + task(1), 65);
  writeAged("tmp/" + task(2), 55);
  writeAged("tmp/other", 65);
  writeAged("var/taskqueue/" + task(3), 65);
  writeAged("var/taskqueue/README", 0);
  EXPECT_EQ(Lines{task(1)}, velmo::client::leftoversIn(settings.tmp.value));
  EXPECT_EQ(Lines{"README"}, velmo::client::otherFilesIn(directory.path("var/taskqueue")));
  EXPECT_EQ(Lines(), velmo::client::leftoversIn(directory.path("missing")));
}

// If they were reported, the remedy "delete them" would empty the queue.
TEST_F(LeftoverCheckTest, TasksOfAQueueThatIsTmpAreNotLeftovers) {
  settings.tmp.value = directory.path("var/taskqueue");
  writeAged("var/taskqueue/" + task(1), 1000);
  EXPECT_EQ(Lines(), found());
}

TEST_F(LeftoverCheckTest, VariablesThatAreUnusableAreNotLookedAt) {
  writeAged("var/taskqueue/README", 0);
  writeAged("tmp/" + task(1), 65);
  settings.var.value.clear();
  settings.tmp.value = "tmp";
  EXPECT_EQ(Lines(), found());
}

}  // namespace
