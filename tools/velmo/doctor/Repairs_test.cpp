#include "Repairs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "TaskInstallation.h"

namespace velmo::cli {
namespace {

using client::Fault;
using client::Problem;

// What the units of a check can report: "DirectoryMissing" and so on.
std::set<std::string> problemsIn(const std::vector<std::string>& files) {
  const std::string mark = "Problem::";
  std::set<std::string> names;
  for (const std::string& file : files) {
    const std::string text = test::readFile(std::string(CLIENT_SOURCES "/") + file);
    for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos;) {
      at += mark.size();
      const std::size_t end =
          text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", at);
      names.insert(text.substr(at, end - at));
    }
  }
  return names;
}

class RepairsTest : public testing::Test {
 protected:
  RepairsTest() {
    place.writeHomePriorities("Normal=500\n");
    open();
  }

  // Reads the environment again.
  void open() {
    auto result = client::openInstallation(nullptr);
    installation = std::move(result.value());
  }

  Finding find(const Fault& fault) const {
    return findingOf(fault, Site{*installation, [this](const std::string&) { return verdict; }});
  }

  std::string command(const Fault& fault) const {
    return find(fault).remedy.command.value_or("none");
  }

  std::string advice(const Fault& fault) const {
    return find(fault).remedy.advice;
  }

  std::string path(const std::string& name) const {
    return place.directory.path(name);
  }

  test::TaskInstallation place;
  std::unique_ptr<velmo_installation> installation;
  LockVerdict verdict;
};

// --- the table ---

TEST_F(RepairsTest, EveryProblemOfACheckHasARow) {
  std::set<std::string> problems =
      problemsIn({"queue/InstallationCheck.cpp", "queue/DirectoryCheck.cpp",
                  "queue/CounterCheck.cpp", "queue/LeftoverCheck.cpp", "queue/Settings.cpp",
                  "queue/PropertiesFile.cpp", "queue/ServerIdentity.cpp"});
  for (const char* ofTheCounter : {"JobCounterUnreadable", "JobCounterNotANumber"}) {
    problems.insert(ofTheCounter);
  }
  problems.insert("PriorityFileUnreadable");
  EXPECT_LE(34U, problems.size());
  const std::string table = test::readFile(TOOL_SOURCES "/doctor/Repairs.cpp");
  for (const std::string& problem : problems) {
    EXPECT_NE(std::string::npos, table.find("{Problem::" + problem + ", ")) << problem;
  }
}

TEST_F(RepairsTest, EveryProblemOfConnectingHasARow) {
  const std::set<std::string> problems =
      problemsIn({"remote/Dialling.cpp", "remote/TcpConnector.cpp", "remote/HostAddresses.cpp",
                  "remote/Handshake.cpp", "remote/RandomBytes.cpp", "remote/ModulesReader.cpp"});
  EXPECT_LE(15U, problems.size());
  const std::string table = test::readFile(TOOL_SOURCES "/doctor/Repairs.cpp");
  for (const std::string& problem : problems) {
    EXPECT_NE(std::string::npos, table.find("{Problem::" + problem + ", ")) << problem;
  }
}

TEST_F(RepairsTest, EveryFaultHasAConsequenceAndARemedy) {
  const std::string missing = path("missing");
  for (const Fault& fault :
       std::vector<Fault>{{Problem::VariableNotSet, "VAR"},
                          {Problem::VariableNotAbsolute, "TMP", "x"},
                          {Problem::VariableNotAKey, "SHARED_VELMO_TASKID", "x"},
                          {Problem::DirectoryMissing, "DATA", missing, ENOENT},
                          {Problem::NotADirectory, "LOCK_VAR", missing},
                          {Problem::DirectoryNotUsable, "CONF", missing, EROFS},
                          {Problem::DirectoryOpenToAll, "VELMO_HOME", missing},
                          {Problem::DifferentFileSystems, missing, missing},
                          {Problem::TmpIsQueue, missing},
                          {Problem::PriorityFilesNotNamed},
                          {Problem::PriorityFileUnreadable, missing, "", EIO},
                          {Problem::FileNotRegular, missing},
                          {Problem::PriorityLinesSkipped, missing, "1"},
                          {Problem::PrioritiesWithoutNumber, missing, "a"},
                          {Problem::NoPriorities, missing},
                          {Problem::ServerFileUnreadable, missing, "", EACCES},
                          {Problem::ServerIdentityUnusable, missing, "a/b"},
                          {Problem::JobCounterUnreadable, missing, "", EIO},
                          {Problem::JobCounterNotANumber, missing},
                          {Problem::LockTimedOut, missing, "x"},
                          {Problem::SegmentMissing, "1"},
                          {Problem::SegmentFailed, "1", "", EACCES},
                          {Problem::SegmentTooSmall, "1", "2"},
                          {Problem::SemaphoreMissing, "1"},
                          {Problem::SemaphoreFailed, "1", "", EACCES},
                          {Problem::SemaphoreSetTooLarge, "1", "2"},
                          {Problem::SemaphoreNeverReady, "1"},
                          {Problem::SemaphoreTimedOut, "1", "process 7 took it last"},
                          {Problem::SemaphoreAboveOne, "1", "2"},
                          {Problem::RemovedAtLogout, "x", "1000"},
                          {Problem::QueueHasOtherFiles, missing, "x"},
                          {Problem::UmaskHidesTasks, "0077"}}) {
    const Finding finding = find(fault);
    EXPECT_TRUE(isKnown(fault.problem));
    EXPECT_NE("", finding.consequence) << finding.fault;
    EXPECT_TRUE(finding.remedy.command || !finding.remedy.advice.empty()) << finding.fault;
    EXPECT_NE("", finding.lookedAt) << finding.fault;
    EXPECT_NE(Status::ok, finding.status) << finding.fault;
  }
}

TEST_F(RepairsTest, ProblemOfACallHasNoRow) {
  EXPECT_FALSE(isKnown(Problem::ArgumentMissing));
  EXPECT_FALSE(isKnown(Problem::TaskNotInQueue));
}

TEST_F(RepairsTest, FaultBelongsToTheDirectoryOrTheFileOfItsSubject) {
  const client::Settings& settings = installation->settings;
  EXPECT_EQ(Check::Data, checkOf({Problem::DirectoryMissing, "DATA", "/x"}, settings));
  EXPECT_EQ(Check::Conf, checkOf({Problem::DirectoryOpenToAll, "CONF", "/x"}, settings));
  EXPECT_EQ(Check::Variables, checkOf({Problem::VariableNotSet, "CONF"}, settings));
  EXPECT_EQ(Check::ServerIdentity,
            checkOf({Problem::FileNotRegular, path("conf/serverid.cfg")}, settings));
  EXPECT_EQ(Check::HomePriorities,
            checkOf({Problem::FileNotRegular, path("home/priorities.cfg")}, settings));
  EXPECT_EQ(Check::ConfPriorities,
            checkOf({Problem::FileNotRegular, path("conf/priorities.cfg")}, settings));
}

TEST_F(RepairsTest, TextIsThatOfTheLibraryWithoutItsRemedy) {
  EXPECT_EQ("VAR is not set", find({Problem::VariableNotSet, "VAR"}).fault);
  EXPECT_EQ(Status::notConfigured, find({Problem::VariableNotSet, "VAR"}).status);
}

TEST_F(RepairsTest, ConsequenceIsThatOfTheDirectory) {
  EXPECT_EQ("no task can be submitted", find({Problem::DirectoryMissing, "VAR", "/x"}).consequence);
  EXPECT_EQ("no task of a new job can be submitted",
            find({Problem::DirectoryMissing, "LOCK_VAR", "/x"}).consequence);
  EXPECT_EQ("every user of the machine can change the job counter",
            find({Problem::DirectoryOpenToAll, "DATA", "/x"}).consequence);
}

// --- variables and directories ---

TEST_F(RepairsTest, VariableIsSetToTheDirectoryBesideTheOthers) {
  EXPECT_EQ("export DATA='" + path("data") + "'", command({Problem::VariableNotSet, "DATA"}));
}

TEST_F(RepairsTest, WithoutAnySensibleDirectoryOnlyTheVariableIsNamed) {
  std::filesystem::remove_all(path("data"));
  EXPECT_EQ("none", command({Problem::VariableNotSet, "DATA"}));
  EXPECT_EQ("set DATA to the directory that the service uses",
            advice({Problem::VariableNotSet, "DATA"}));
}

TEST_F(RepairsTest, TmpThatExistsNowhereIsMadeBesideTheQueue) {
  std::filesystem::remove_all(path("tmp"));
  EXPECT_EQ("mkdir -p '" + path("var/tmp") + "' && export TMP='" + path("var/tmp") + "'",
            command({Problem::VariableNotSet, "TMP"}));
}

TEST_F(RepairsTest, TmpIsNotMadeBesideAQueueThatIsMissing) {
  std::filesystem::remove_all(path("var/taskqueue"));
  EXPECT_EQ("none", command({Problem::TmpIsQueue, "/x"}));
}

TEST_F(RepairsTest, FileThatAWrongVariableNamesIsNotMoved) {
  place.environment.set("TMP", "/etc/passwd");
  std::filesystem::remove_all(path("tmp"));
  open();
  EXPECT_EQ("none", command({Problem::NotADirectory, "TMP", "/etc/passwd"}));
  EXPECT_EQ("set TMP to a directory", advice({Problem::NotADirectory, "TMP", "/etc/passwd"}));
}

TEST_F(RepairsTest, LinkToNothingIsNotMadeADirectory) {
  std::filesystem::create_symlink("/no/such", path("link"));
  EXPECT_EQ("none", command({Problem::DirectoryMissing, "TMP", path("link"), ENOENT}));
  EXPECT_EQ("none", command({Problem::DirectoryMissing, "VAR", path("link/taskqueue"), ENOENT}));
  EXPECT_EQ("\"" + path("link") + "\" is a link that leads nowhere: correct the link, or VAR",
            advice({Problem::DirectoryMissing, "VAR", path("link/taskqueue"), ENOENT}));
}

TEST_F(RepairsTest, OnlyWhatIsMissingInTheDirectoryOfAVariableIsCreated) {
  EXPECT_EQ("mkdir -p '" + path("var/taskqueue") + "'",
            command({Problem::DirectoryMissing, "VAR", path("var/taskqueue"), ENOENT}));
}

TEST_F(RepairsTest, MisspeltVariableIsCorrected) {
  for (const auto& [variable, name, rest] :
       std::vector<std::tuple<const char*, const char*, const char*>>{{"VAR", "var", "/taskqueue"},
                                                                      {"TMP", "tmp", ""},
                                                                      {"DATA", "data", "/velmo"},
                                                                      {"LOCK_VAR", "lock", ""},
                                                                      {"VELMO_HOME", "home", ""},
                                                                      {"CONF", "conf", ""}}) {
    const std::string misspelt = path(std::string(name) + "x");
    place.environment.set(variable, misspelt);
    open();
    EXPECT_EQ("export " + std::string(variable) + "='" + path(name) + "'",
              command({Problem::DirectoryMissing, variable, misspelt + rest, ENOENT}));
    place.environment.set(variable, path(name));
  }
}

TEST_F(RepairsTest, DirectoryIsCreatedBesideTheOthers) {
  std::filesystem::remove_all(path("lock"));
  EXPECT_EQ("mkdir -p '" + path("lock") + "'",
            command({Problem::DirectoryMissing, "LOCK_VAR", path("lock"), ENOENT}));
}

TEST_F(RepairsTest, DirectoryWithAnotherNameIsNotCreated) {
  std::filesystem::remove_all(path("lock"));
  place.environment.set("LOCK_VAR", path("lokc"));
  open();
  const Fault fault{Problem::DirectoryMissing, "LOCK_VAR", path("lokc"), ENOENT};
  EXPECT_EQ("none", command(fault));
  EXPECT_EQ("create it, or correct LOCK_VAR", advice(fault));
}

TEST_F(RepairsTest, DirectoryInAnotherPlaceIsNotCreated) {
  std::filesystem::remove_all(path("lock"));
  const std::string other = place.directory.makeDirectory("other") + "/lock";
  place.environment.set("LOCK_VAR", other);
  open();
  EXPECT_EQ("none", command({Problem::DirectoryMissing, "LOCK_VAR", other, ENOENT}));
}

TEST_F(RepairsTest, TmpThatHasAFaultIsReplacedByAnother) {
  place.environment.set("TMP", place.directory.makeDirectory("var/tmp"));
  ASSERT_EQ(0, chmod(path("var/tmp").c_str(), 01777));
  open();
  EXPECT_EQ("mkdir -p '" + path("var/tmp2") + "' && export TMP='" + path("var/tmp2") + "'",
            command({Problem::DirectoryOpenToAll, "TMP", path("var/tmp")}));
}

TEST_F(RepairsTest, PathThatCannotBeUsedIsCorrected) {
  for (const int error : {ELOOP, ENAMETOOLONG, EIO}) {
    EXPECT_EQ("correct TMP", advice({Problem::DirectoryNotUsable, "TMP", path("tmp"), error}));
  }
}

TEST_F(RepairsTest, DirectoryOfAllUsersStaysOpen) {
  ASSERT_EQ(0, chmod(path("lock").c_str(), 01777));
  EXPECT_EQ("none", command({Problem::DirectoryOpenToAll, "LOCK_VAR", path("lock")}));
}

TEST_F(RepairsTest, FileSystemThatCannotBeWrittenToIsSaid) {
  EXPECT_EQ("the file system cannot be written to: mount it for writing",
            advice({Problem::DirectoryNotUsable, "TMP", path("tmp"), EROFS}));
}

// --- configuration ---

TEST_F(RepairsTest, OfManyLinesTheRestIsAnnounced) {
  std::string lines;
  for (int i = 0; i < 300; ++i) {
    lines += "x\n";
  }
  place.writeHomePriorities(lines);
  EXPECT_THAT(advice({Problem::PriorityLinesSkipped, path("home/priorities.cfg"), "300"}),
              testing::MatchesRegex("or write NAME=NUMBER into these lines; [0-9]+ more lines "
                                    "remain: run velmo doctor again"));
}

TEST_F(RepairsTest, EveryValueOfANameWithoutANumberBecomesAComment) {
  place.writeHomePriorities("a=x\n");
  place.writeConfPriorities("b=1\na=\nb=y\n");
  open();
  EXPECT_EQ(
      "LC_ALL=C sed -i --follow-symlinks '1{/^b=1$/s/^/#/};2{/^a=$/s/^/#/};3{/^b=y$/s/^/#/}' '" +
          path("conf/priorities.cfg") + "'",
      command({Problem::PrioritiesWithoutNumber, path("conf/priorities.cfg"), "a, b"}));
  EXPECT_EQ("none", command({Problem::PrioritiesWithoutNumber, path("home/priorities.cfg"), "a"}));
}

// --- counters ---

TEST_F(RepairsTest, WithoutAJobNumberInSightTheCounterBecomesOne) {
  const Fault fault{Problem::JobCounterNotANumber, path("data/velmo/jobid")};
  EXPECT_EQ("printf '%s\\n' 1 > '" + path("data/velmo/jobid") + "'", command(fault));
  EXPECT_EQ(
      "no job number was found; if the service's logs have one, write a larger one, so that none "
      "is issued twice",
      advice(fault));
}

TEST_F(RepairsTest, CounterIsNotWrittenWithoutALookAtTheQueue) {
  std::filesystem::remove_all(path("var/taskqueue"));
  EXPECT_EQ("none", command({Problem::JobCounterNotANumber, path("data/velmo/jobid")}));
}

TEST_F(RepairsTest, CounterIsNotWrittenWithoutALargerNumber) {
  place.directory.writeFile(
      "var/taskqueue/0050.20250303140509.J999998.S0.T20250303140509-1.R0002.sh", "");
  EXPECT_EQ("none", command({Problem::JobCounterNotANumber, path("data/velmo/jobid")}));
}

TEST_F(RepairsTest, LockThatIsStaleIsBrokenAndAnotherIsWaitedFor) {
  verdict = {true, "process 7, which made it, has ended"};
  EXPECT_EQ("velmo doctor --break-lock", command({Problem::LockTimedOut, "/x", "y"}));
  verdict = {false, "process 7 (report), which made it, is running"};
  EXPECT_EQ("none", command({Problem::LockTimedOut, "/x", "y"}));
  EXPECT_EQ(
      "wait until the file is gone: process 7 (report), which made it, is running; delete the file "
      "if no running program is taking a job number",
      advice({Problem::LockTimedOut, "/x", "y"}));
}

TEST_F(RepairsTest, TextOfAStaleLockDoesNotSayThatItsMakerRuns) {
  const Fault fault{Problem::LockTimedOut, "/x", "exists, made by process 7, which is running"};
  verdict = {true,
             "process 7, which made it, has ended: the one that has this number started later"};
  EXPECT_EQ("the job counter is locked: \"/x\" exists, made by process 7", find(fault).fault);
  verdict = {false, "process 7 (report), which made it, is running"};
  EXPECT_EQ("the job counter is locked: \"/x\" exists, made by process 7, which is running",
            find(fault).fault);
}

TEST_F(RepairsTest, WhatIsNoFileIsMovedAwayBeforeTheJobCounterIsWritten) {
  const std::string counter = path("data/velmo/jobid");
  ASSERT_EQ(0, mkfifo(counter.c_str(), 0600));
  const std::string expected =
      "mv '" + counter + "' '" + counter + ".old' && printf '%s\\n' 1 > '" + counter + "'";
  EXPECT_EQ(expected, command({Problem::JobCounterNotANumber, counter}));
  EXPECT_EQ(expected, command({Problem::JobCounterUnreadable, counter, "", ENXIO}));
}

TEST_F(RepairsTest, WithoutANumberForItTheJobCounterIsNotMovedAway) {
  std::filesystem::remove_all(path("var/taskqueue"));
  place.directory.makeDirectory("data/velmo/jobid");
  EXPECT_EQ("none", command({Problem::JobCounterUnreadable, path("data/velmo/jobid"), "", EISDIR}));
}

TEST_F(RepairsTest, MissingJobCounterIsWritten) {
  place.directory.writeFile("tmp/0050.20250303140509.J97.S0.T20250303140509-1.R0002.sh", "");
  const Fault fault{Problem::JobCounterUnreadable, path("data/velmo/jobid"), "", ENOENT};
  EXPECT_EQ("printf '%s\\n' 98 > '" + path("data/velmo/jobid") + "'", command(fault));
  EXPECT_EQ("new jobs get numbers that other jobs have", find(fault).consequence);
}

TEST_F(RepairsTest, SemaphoreIsLookedAtByItsIdentifier) {
  EXPECT_EQ(
      "ipcs -s -i " + std::to_string(place.semaphore.id()),
      find({Problem::SemaphoreTimedOut, std::to_string(place.semaphore.key()), "x"}).remedy.look);
}

TEST_F(RepairsTest, SemaphoreOfAProcessThatEndedNeedsARestart) {
  EXPECT_EQ("restart the service: only it sets the semaphore to 1 again",
            advice({Problem::SemaphoreTimedOut, "1", "process 7, which has ended, took it last"}));
  EXPECT_EQ(
      "wait, or end the process that took it: the system then releases the semaphore; if it stays "
      "locked, restart the service",
      advice({Problem::SemaphoreTimedOut, "1", "process 7 took it last"}));
}

TEST_F(RepairsTest, ServiceIsStartedByAPerson) {
  EXPECT_EQ("none", command({Problem::SegmentMissing, "1"}));
  EXPECT_EQ("start the service", advice({Problem::SegmentMissing, "1"}));
}

TEST_F(RepairsTest, RemovalAtLogoutIsSwitchedOff) {
  const Fault fault{Problem::RemovedAtLogout, "the task counter", "1000"};
  EXPECT_EQ(
      "mkdir -p /etc/systemd/logind.conf.d && printf '[Login]\\nRemoveIPC=no\\n' > "
      "/etc/systemd/logind.conf.d/velmo.conf",
      command(fault));
  EXPECT_EQ("run it as root, and then: systemctl restart systemd-logind", advice(fault));
}

// --- the service elsewhere ---

TEST_F(RepairsTest, ModulesFileOfTheInstallationIsFound) {
  place.directory.writeFile("conf/modules.xml", "");
  EXPECT_EQ("export VELMO_MODULES_XML='" + path("conf/modules.xml") + "'",
            command({Problem::ModulesUnreadable, "/no/modules.xml", "", ENOENT}));
}

TEST_F(RepairsTest, ListenerIsLookedForByItsPort) {
  EXPECT_EQ("ss -ltn 'sport = :8080'",
            find({Problem::NotConnected, "[::1]:8080", "", ECONNREFUSED}).remedy.look);
  EXPECT_EQ("ss -ltnp 'sport = :80'",
            find({Problem::HandshakeRefused, "node:80", "HTTP/1.1 404"}).remedy.look);
}

TEST_F(RepairsTest, ServiceThatHangsIsNotTakenForAnotherProgram) {
  const std::string mayHang =
      "the service hangs, or another program listens there: restart the service, or correct the "
      "port in \"modules.xml\"";
  EXPECT_EQ(mayHang, advice({Problem::HandshakeTimedOut, "node:80"}));
  EXPECT_EQ(mayHang, advice({Problem::HandshakeRefused, "node:80", "HTTP/1.1 503", 0, 503}));
  EXPECT_EQ("correct the port in \"modules.xml\": another program listens there",
            advice({Problem::HandshakeRefused, "node:80", "HTTP/1.1 404", 0, 404}));
}

}  // namespace
}  // namespace velmo::cli
