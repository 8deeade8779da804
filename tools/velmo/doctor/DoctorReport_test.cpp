#include "DoctorReport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Environment.h"
#include "FileDescriptor.h"

namespace velmo::cli {
namespace {

Finding fault() {
  Finding finding{Check::Tmp, "/x/tmp", Finding::Kind::Fault};
  finding.status = Status::notConfigured;
  finding.fault = "every user can write to the directory of TMP: \"/x/tmp\"";
  finding.consequence = "every user can change a task";
  finding.remedy = {"chmod o-w '/x/tmp'", "as root", "ls -ld '/x/tmp'"};
  return finding;
}

// A terminal of 50 columns.
class Terminal {
 public:
  Terminal() {
    const winsize size{24, 50, 0, 0};
    EXPECT_EQ(0, openpty(&m_master, &m_slave, nullptr, nullptr, &size));
  }
  ~Terminal() {
    close(m_master);
    close(m_slave);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  Output output() const {
    return Output(m_slave);
  }

 private:
  int m_master = -1;
  int m_slave = -1;
};

class DoctorReportTest : public testing::Test {
 protected:
  DoctorReportTest() : m_null(open("/dev/null", O_WRONLY | O_CLOEXEC)) {}

  std::string text(const std::vector<Finding>& findings) const {
    return reportText(findings, Output(m_null.get()));
  }

 private:
  tools::FileDescriptor m_null;
};

// --- for people ---

TEST_F(DoctorReportTest, NothingFoundIsSaidLast) {
  EXPECT_EQ(
      "ok     queue  /x/var/taskqueue\n"
      "ok     umask  0022\n"
      "nothing found\n",
      text({{Check::Queue, "/x/var/taskqueue"}, {Check::Umask, "0022"}}));
}

TEST_F(DoctorReportTest, FaultIsFollowedByItsConsequenceAndRepair) {
  EXPECT_EQ(
      "FAULT  tmp  /x/tmp\n"
      "       every user can write to the directory of TMP: \"/x/tmp\"\n"
      "       Every user can change a task.\n"
      "       Repair:\n"
      "         chmod o-w '/x/tmp'\n"
      "       Note: as root\n"
      "       Look:\n"
      "         ls -ld '/x/tmp'\n"
      "1 fault: tmp\n",
      text({fault()}));
}

TEST_F(DoctorReportTest, FaultWithoutACommandHasItsRepairInWords) {
  Finding finding = fault();
  finding.remedy = {{}, "start the service"};
  EXPECT_NE(std::string::npos, text({finding}).find("\n       Repair: start the service\n"));
}

TEST_F(DoctorReportTest, SkippedCheckSaysWhy) {
  EXPECT_EQ("-      job lock  LOCK_VAR not looked at: LOCK_VAR is not set\nnothing found\n",
            text({{Check::JobLock, "LOCK_VAR", Finding::Kind::Skipped, "LOCK_VAR is not set"}}));
}

TEST_F(DoctorReportTest, LastLineNamesTheFaults) {
  Finding other = fault();
  other.check = Check::LockDirectory;
  const std::string lines = text({fault(), other});
  EXPECT_EQ("2 faults: tmp, lock directory\n",
            lines.substr(lines.rfind('\n', lines.size() - 2) + 1));
}

TEST_F(DoctorReportTest, OnATerminalTextIsWrappedAndTheRepairIsNot) {
  test::Environment environment;
  environment.set("TERM", "xterm");
  environment.unset("NO_COLOR");
  Finding finding = fault();
  finding.remedy = {"mkdir -p '/a/long/directory/with a blank' && export TMP='/a/long/directory'"};
  const Terminal terminal;
  EXPECT_EQ(
      "\x1b[1;31mFAULT\x1b[0m  tmp  /x/tmp\n"
      "       every user can write to the directory of\n"
      "       TMP: \"/x/tmp\"\n"
      "       Every user can change a task.\n"
      "       Repair:\n"
      "         mkdir -p '/a/long/directory/with a blank' && export TMP='/a/long/directory'\n"
      "1 fault: tmp\n",
      reportText({finding}, terminal.output()));
}

// --- JSON ---

TEST_F(DoctorReportTest, FieldsOfACheckThatIsOk) {
  EXPECT_EQ("{\"check\":\"queue\",\"looked_at\":\"/x\",\"status\":\"ok\"}\n",
            jsonLine(fieldsOf({Check::Queue, "/x"})));
}

TEST_F(DoctorReportTest, FieldsOfAFault) {
  EXPECT_EQ(
      "{\"check\":\"tmp\",\"looked_at\":\"/x/tmp\",\"status\":\"not_configured\",\"fault\":\"every "
      "user can write to the directory of TMP: \\\"/x/tmp\\\"\",\"consequence\":\"every user can "
      "change a task\",\"repair\":\"chmod o-w '/x/tmp'\",\"advice\":\"as root\",\"look\":\"ls -ld "
      "'/x/tmp'\"}\n",
      jsonLine(fieldsOf(fault())));
}

TEST_F(DoctorReportTest, WhatAFaultDoesNotHaveIsNull) {
  Finding finding = fault();
  finding.remedy = {};
  const Json fields = fieldsOf(finding);
  EXPECT_TRUE(fields["repair"].is_null());
  EXPECT_TRUE(fields["advice"].is_null());
  EXPECT_TRUE(fields["look"].is_null());
}

TEST_F(DoctorReportTest, StatusIsThatOfTheFirstFault) {
  Finding other = fault();
  other.status = Status::notRunning;
  EXPECT_EQ(Status::ok, statusOf({{Check::Queue, "/x"}}));
  EXPECT_EQ(Status::notRunning, statusOf({{Check::Queue, "/x"}, other, fault()}));
}

}  // namespace
}  // namespace velmo::cli
