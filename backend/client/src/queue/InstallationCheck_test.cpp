#include "InstallationCheck.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "Findings.h"
#include "OrdinaryMachine.h"
#include "TaskInstallation.h"

namespace {

using velmo::client::checkInstallation;
using velmo::client::openInstallation;
using velmo::test::Findings;
using velmo::test::OrdinaryMachine;
using velmo::test::TaskInstallation;

using Lines = std::vector<std::string>;

class InstallationCheckTest : public testing::Test {
 protected:
  InstallationCheckTest() {
    place.writeHomePriorities("Normal=50\nMore=10\n");
    task.size = sizeof task;
    task.priority_class = "Normal";
    task.command = "true";
  }

  Lines found(const velmo_task* ofTask = nullptr) const {
    const auto installation = openInstallation(nullptr);
    Findings findings;
    checkInstallation(*installation.value(), ofTask, findings.report());
    return findings.lines();
  }

  std::string home() const {
    return "\"" + place.directory.path("home/priorities.cfg") + "\"";
  }
  std::string searched() const {
    return home() + " and \"" + place.directory.path("conf/priorities.cfg") + "\" (missing)";
  }

  const OrdinaryMachine machine;
  TaskInstallation place;
  velmo_task task{};
};

TEST_F(InstallationCheckTest, NothingIsFoundWhenAllIsWell) {
  EXPECT_EQ(Lines(), found());
  EXPECT_EQ(Lines(), found(&task));
}

TEST_F(InstallationCheckTest, NothingIsChanged) {
  place.writeJobCounter("16");
  place.directory.writeFile("lock/semaphore_velmo_jobid", "");
  found(&task);
  EXPECT_EQ("16", place.jobCounter());
  EXPECT_EQ(0, place.counter.value());
  EXPECT_TRUE(place.queue().empty());
  EXPECT_TRUE(place.temporary().empty());
  EXPECT_TRUE(velmo::test::exists(place.directory.path("lock/semaphore_velmo_jobid")));
}

// --- every part is looked at ---

TEST_F(InstallationCheckTest, FindingsOfEveryPartAreReported) {
  place.environment.set("DATA", "data");
  place.writeHomePriorities("x\n");
  place.writeServerIdentity("SELF_SERVER_ID=a/b\n");
  place.directory.writeFile("lock/semaphore_velmo_jobid", "");
  place.semaphore.setValue(2);
  place.directory.writeFile("var/taskqueue/README", "");
  umask(077);
  const Lines lines = found();
  const Lines starts{"DATA is not an absolute path: ",
                     "lines of ",
                     "no priority class in ",
                     "SELF_SERVER_ID in ",
                     "the job counter is locked: ",
                     "the semaphore of the task counter, ",
                     "files in the queue ",
                     "the umask 0077 hides tasks "};
  ASSERT_EQ(starts.size(), lines.size());
  for (std::size_t i = 0; i < starts.size(); ++i) {
    EXPECT_EQ(starts[i], lines[i].substr(0, starts[i].size()));
  }
}

// --- priorities ---

TEST_F(InstallationCheckTest, PriorityFilesThatAreNotNamedAreFound) {
  place.environment.unset("CONF");
  place.environment.set("VELMO_HOME", "");
  EXPECT_EQ(Lines{"neither VELMO_HOME nor CONF is set, so no priority is known; set one of them to "
                  "the directory of a file \"priorities.cfg\""},
            found());
}

TEST_F(InstallationCheckTest, PriorityFilesWithoutAClassAreFound) {
  place.writeHomePriorities("# nothing\n");
  EXPECT_EQ(Lines{"no priority class in " + searched() + "; add a line such as \"Normal=50\""},
            found());
}

TEST_F(InstallationCheckTest, LinesThatAreSkippedAreCounted) {
  place.writeHomePriorities("Normal=50\nNormal\n=1\n# Normal\n");
  EXPECT_EQ(Lines{"lines of " + home() +
                  " that are skipped, for they have no \"=\" or no name: 2; correct them, or begin "
                  "them with \"#\""},
            found());
}

TEST_F(InstallationCheckTest, ValuesThatAreNotNumbersAreNamed) {
  place.writeHomePriorities("Normal=50\nb=x\na=\n");
  EXPECT_EQ(Lines{"names in " + home() +
                  " without a number in the range of int: a, b; correct their lines"},
            found());
}

TEST_F(InstallationCheckTest, PriorityFileThatIsNoFileIsFound) {
  place.directory.makeDirectory("conf/priorities.cfg");
  EXPECT_EQ(Lines{"not a regular file: \"" + place.directory.path("conf/priorities.cfg") +
                  "\"; replace it by a file"},
            found());
}

// --- umask ---

TEST_F(InstallationCheckTest, UmaskThatHidesTasksIsFoundAndNotChanged) {
  for (const mode_t mask : {0077U, 0027U, 0004U, 0040U, 0400U}) {
    umask(mask);
    const Lines lines = found();
    EXPECT_EQ(mask, umask(mask));
    ASSERT_EQ(1U, lines.size()) << mask;
  }
  umask(0027);
  EXPECT_EQ(Lines{"the umask 0027 hides tasks from a service that runs as another user; set it to "
                  "0022"},
            found());
  for (const mode_t mask : {0022U, 0U, 0133U}) {
    umask(mask);
    EXPECT_EQ(Lines(), found()) << mask;
  }
}

// --- a task ---

TEST_F(InstallationCheckTest, EveryMistakeInATaskIsFound) {
  task.priority_class = "Norml";
  task.command = "";
  task.adjustment = "Less";
  task.job = "a/b";
  task.information = "a\nb";
  EXPECT_EQ((Lines{"command is missing; correct the call",
                   "information contains a line feed; correct the call",
                   "job contains \"/\": \"a/b\"; correct the call",
                   "no priority class \"Norml\" in " + searched() +
                       "; known: More, Normal; add a line for it, or correct the task",
                   "no priority adjustment \"Less\" in " + searched() +
                       "; known: More, Normal; add a line for it, or correct the task"}),
            found(&task));
}

TEST_F(InstallationCheckTest, TaskOfTheWrongSizeIsFound) {
  task.size = 8;
  EXPECT_EQ(Lines{"the size of velmo_task is 8: set it to the sizeof of the struct; correct the "
                  "call"},
            found(&task));
}

TEST_F(InstallationCheckTest, NameThatWouldBeTooLongIsFound) {
  const std::string job(200, 'j');
  task.job = job.c_str();
  ASSERT_EQ(1U, found(&task).size());
  EXPECT_EQ(0U, found(&task)[0].find("job, sub_job and type are too long together: "));
}

TEST_F(InstallationCheckTest, NewJobCountsInTheLengthOfTheName) {
  place.writeServerIdentity("SELF_SERVER_ID=" + std::string(190, 'n') + "\n");
  EXPECT_EQ(Lines(), found());
  EXPECT_EQ(1U, found(&task).size());
  task.job = "J1";
  EXPECT_EQ(Lines(), found(&task));
}

TEST_F(InstallationCheckTest, IdentityThatIsUnusableIsFoundOnce) {
  place.writeServerIdentity("SELF_SERVER_ID=a/b\n");
  EXPECT_EQ(1U, found(&task).size());
}

TEST_F(InstallationCheckTest, NameThatWouldReadBackDifferentlyIsFound) {
  task.sub_job = "0.S1";
  ASSERT_EQ(1U, found(&task).size());
  EXPECT_EQ(0U, found(&task)[0].find("the service would read other parts from the task's name: "));
}

}  // namespace
