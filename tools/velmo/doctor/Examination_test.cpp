#include "Examination.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "OrdinaryMachine.h"
#include "TaskInstallation.h"

namespace velmo::cli {
namespace {

using client::Fault;
using client::Problem;

class ExaminationTest : public testing::Test {
 protected:
  ExaminationTest() {
    place.writeHomePriorities("Normal=500\n");
    open();
  }

  void open() {
    auto result = client::openInstallation(nullptr);
    installation = std::move(result.value());
  }

  Site site() const {
    return {*installation, [](const std::string&) { return LockVerdict{}; }};
  }

  // Faults and skipped checks: "queue: skipped, VAR is not set".
  static std::vector<std::string> remarkable(const std::vector<Finding>& findings) {
    std::vector<std::string> lines;
    for (const Finding& finding : findings) {
      const std::string check = wordOf(finding.check);
      if (finding.kind == Finding::Kind::Skipped) {
        lines.push_back(check + ": skipped, " + finding.note);
      } else if (finding.kind == Finding::Kind::Fault) {
        lines.push_back(check + ": " + finding.fault);
      }
    }
    return lines;
  }

  std::vector<std::string> found(const std::vector<Fault>& faults) const {
    return remarkable(findingsOf(faults, site()));
  }

  const test::OrdinaryMachine machine;
  test::TaskInstallation place;
  std::unique_ptr<velmo_installation> installation;
};

using Lines = std::vector<std::string>;

TEST_F(ExaminationTest, EveryCheckIsThereOnceAndInOrder) {
  const std::vector<Finding> findings = findingsOf({}, site());
  ASSERT_EQ(21U, findings.size());
  for (std::size_t i = 0; i < findings.size(); ++i) {
    EXPECT_EQ(static_cast<Check>(i), findings[i].check);
    EXPECT_EQ(Finding::Kind::Ok, findings[i].kind);
    EXPECT_NE("", findings[i].lookedAt);
  }
}

TEST_F(ExaminationTest, InstallationIsLookedAt) {
  EXPECT_EQ(Lines(), remarkable(examine(site())));
  place.semaphore.setValue(2);
  EXPECT_EQ(1U, remarkable(examine(site())).size());
}

TEST_F(ExaminationTest, VariableThatIsNotSetSkipsWhatNeedsIt) {
  place.environment.unset("VAR");
  open();
  EXPECT_EQ(
      (Lines{"variables: VAR is not set", "queue: skipped, VAR is not set",
             "one_file_system: skipped, VAR is not set", "queue_files: skipped, VAR is not set"}),
      found({{Problem::VariableNotSet, "VAR"}}));
}

TEST_F(ExaminationTest, VariableThatIsUnusableIsOneFaultAndSkipsWhatNeedsIt) {
  place.environment.set("CONF", "conf");
  open();
  const Lines lines = remarkable(examine(site()));
  EXPECT_EQ(
      (Lines{"variables: CONF is not an absolute path: \"conf\"",
             "conf: skipped, CONF is not usable", "conf_priorities: skipped, CONF is not usable",
             "server_identity: skipped, CONF is not usable"}),
      lines);
}

TEST_F(ExaminationTest, VariableThatMayBeMissingIsNoFault) {
  place.environment.unset("CONF");
  open();
  EXPECT_EQ((Lines{"conf: skipped, CONF is not set", "conf_priorities: skipped, CONF is not set",
                   "server_identity: skipped, CONF is not set"}),
            remarkable(examine(site())));
}

TEST_F(ExaminationTest, ConsequencesOfADirectoryAreLeftOut) {
  EXPECT_EQ(
      (Lines{"data: the directory of DATA is missing: \"/x\"",
             "job_counter: skipped, \"data\" has a fault",
             "job_counter_copy: skipped, \"data\" has a fault"}),
      found({{Problem::DirectoryMissing, "DATA", "/x"}, {Problem::JobCounterUnreadable, "/x"}}));
}

TEST_F(ExaminationTest, DirectoryThatIsOpenToAllSkipsNothing) {
  EXPECT_EQ(1U, found({{Problem::DirectoryOpenToAll, "DATA", "/x"}}).size());
}

TEST_F(ExaminationTest, LockHidesTheCopyOfTheCounter) {
  EXPECT_EQ("job_counter_copy: skipped, \"job lock\" has a fault",
            found({{Problem::LockTimedOut, "/x", "y"}}).back());
}

TEST_F(ExaminationTest, TwoFaultsOfOneCheckAreTwoFindings) {
  const Lines lines =
      found({{Problem::PriorityLinesSkipped, place.directory.path("home/priorities.cfg"), "1"},
             {Problem::PrioritiesWithoutNumber, place.directory.path("home/priorities.cfg"), "a"}});
  EXPECT_EQ(2U, lines.size());
}

TEST_F(ExaminationTest, SameFaultIsReportedOnce) {
  EXPECT_EQ(1U,
            found({{Problem::UmaskHidesTasks, "0077"}, {Problem::UmaskHidesTasks, "0077"}}).size());
}

TEST_F(ExaminationTest, RemovalAtLogoutOfOneObjectIsReportedWithoutTheOther) {
  EXPECT_EQ(
      2U, found({{Problem::SegmentMissing, "1"}, {Problem::RemovedAtLogout, "x", "1000"}}).size());
  EXPECT_EQ("logout_removal: skipped, \"task counter\" has a fault",
            found({{Problem::SegmentMissing, "1"}}).back());
}

TEST_F(ExaminationTest, FileThatMayBeMissingIsSaid) {
  const std::vector<Finding> findings = findingsOf({}, site());
  const auto noteOf = [&](Check check) { return findings[static_cast<std::size_t>(check)].note; };
  EXPECT_EQ("", noteOf(Check::HomePriorities));
  EXPECT_EQ("it is missing, which is allowed", noteOf(Check::ConfPriorities));
  EXPECT_EQ("it is missing, which is allowed", noteOf(Check::ServerIdentity));
  EXPECT_EQ("it is missing: the first job gets the number 0", noteOf(Check::JobCounter));
}

TEST_F(ExaminationTest, MissingJobCounterIsAFaultIfNumbersAreInUse) {
  EXPECT_EQ(Lines(), remarkable(examine(site())));
  place.directory.writeFile("var/taskqueue/0050.20250303140509.J41.S0.T20250303140509-7.R0002.sh",
                            "");
  EXPECT_EQ((Lines{"job_counter: cannot read the job counter \"" +
                   place.directory.path("data/velmo/jobid") + "\": No such file or directory"}),
            remarkable(examine(site())));
}

TEST_F(ExaminationTest, KeysAreShownAsIpcsShowsThem) {
  place.environment.set("SHARED_VELMO_TASKID", "255");
  place.environment.set("SEMAPHORE_VELMO_TASKID", "-1");
  open();
  EXPECT_EQ("key 255 (0x000000ff)", lookedAt(Check::TaskCounter, *installation));
  EXPECT_EQ("key -1 (0xffffffff)", lookedAt(Check::Semaphore, *installation));
}

TEST_F(ExaminationTest, RequestToStopEndsTheConnecting) {
  const std::string modules = place.directory.writeFile(
      "modules.xml",
      "<system><machine hostname='127.0.0.1'><host websocket-port='1'><module name='velmo'/></host>"
      "</machine></system>");
  const std::atomic<int> stop{2};
  const std::vector<Finding> findings = examineService(modules, stop, site());
  ASSERT_EQ(2U, findings.size());
  EXPECT_EQ(Status::stopped, findings[1].status);
  EXPECT_EQ("127.0.0.1:1", findings[1].lookedAt);
}

}  // namespace
}  // namespace velmo::cli
