// velmo-standin from start to end: command line, installation, environment, exit status.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/prioritiesconfig.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "StandinProcess.h"
#include "SystemVObjects.h"

namespace fs = std::filesystem;

namespace velmo::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::vector<const char*> kDirectoryVariables{"CONF", "VELMO_HOME", "VAR",
                                                   "TMP",  "DATA",       "LOCK_VAR"};

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// The directories in the TMPDIR of the process.
std::vector<fs::path> installationsOf(const StandinProcess& standin) {
  std::vector<fs::path> result;
  for (const auto& entry : fs::directory_iterator(standin.temporaryDirectory())) {
    if (entry.is_directory()) {
      result.push_back(entry.path());
    }
  }
  return result;
}

// --- exit status ---

TEST(StandinTest, EndsWithTheExitStatusOfCommand) {
  StandinProcess success(shell("exit 0"));
  StandinProcess failure(shell("exit 7"));
  EXPECT_EQ(0, success.wait());
  EXPECT_EQ(7, failure.wait());
  EXPECT_EQ("", success.errors());
}

TEST(StandinTest, CommandThatFailsWithoutATaskIsToldOfThePort) {
  const std::string hint =
      "velmo-standin: no task was submitted; a program that submits by message needs --port 0\n";
  const std::string task = TestTask{50, 1}.fileName();
  const std::string submit =
      "echo true >\"$TMP/x\"; mv \"$TMP/x\" \"$VAR/taskqueue/" + task + "\"; ";
  struct Row {
    std::vector<std::string> options;
    std::string script;
    bool isHinted;
  };
  const std::vector<Row> rows{
      {{}, "exit 7", true},
      {{}, "kill -ABRT $$", true},
      {{"--no-run"}, "exit 7", true},
      {{}, "exit 0", false},
      {{"--port", "0"}, "exit 7", false},
      {{"--no-run"}, submit + "exit 7", false},
      {{"--show-output"}, submit + "exit 7", false},
  };
  for (const Row& row : rows) {
    std::vector<std::string> arguments = row.options;
    for (const std::string& argument : shell(row.script)) {
      arguments.push_back(argument);
    }
    StandinProcess standin(arguments);
    standin.wait();
    EXPECT_EQ(row.isHinted ? 0U : std::string::npos, standin.errors().find(hint)) << row.script;
  }
}

TEST(StandinTest, CommandEndedByASignalGives128AndTheSignal) {
  StandinProcess standin(shell("kill -KILL $$"));
  EXPECT_EQ(128 + 9, standin.wait());
}

TEST(StandinTest, CommandNotFoundEndsWith127AndRemovesEverything) {
  StandinProcess standin({"--", "no-such-command"});
  EXPECT_EQ(127, standin.wait());
  EXPECT_EQ("velmo-standin: cannot run no-such-command: No such file or directory\n",
            standin.errors());
  EXPECT_THAT(installationsOf(standin), IsEmpty());
}

TEST(StandinTest, CommandThatCannotBeExecutedEndsWith126AndRemovesEverything) {
  StandinProcess standin({"--", "/dev/null"});
  EXPECT_EQ(126, standin.wait());
  EXPECT_EQ("velmo-standin: cannot run /dev/null: Permission denied\n", standin.errors());
  EXPECT_THAT(installationsOf(standin), IsEmpty());
}

TEST(StandinTest, CommandThatDoesNotStartLeavesTheQueueAlone) {
  const TemporaryDirectory directory;
  const TestTask task{50, 1};
  StandinProcess(inHome(directory.path(), {"--", "true"})).wait();
  queueFile(directory.path(), task.fileName(), "true\n");
  StandinProcess standin(inHome(directory.path(), {"--", "no-such-command"}));
  EXPECT_EQ(127, standin.wait());
  EXPECT_TRUE(fs::exists(directory.path() / "var/taskqueue" / task.fileName()));
}

TEST(StandinTest, WrongUsageEndsWith2AndSaysWhatIsWrong) {
  struct Row {
    std::vector<std::string> arguments;
    const char* text;
  };
  const std::vector<Row> rows{
      {{"--bad", "--"}, "COMMAND after -- is required"},
      {{"--bad", "a b", "--keep", "--", "true"},
       "not an option of velmo-standin: --bad 'a b' --keep; only options may come before --"},
      {{"true", "--", "true"},
       "not an option of velmo-standin: true; only options may come before --"},
      {{"--home", "--", "true"}, "--home: 1 required TEXT missing"},
      {{"--home", "", "--", "true"}, "--home: the directory is empty"},
  };
  for (const Row& row : rows) {
    StandinProcess standin(row.arguments);
    EXPECT_EQ(2, standin.wait());
    EXPECT_EQ("velmo-standin: " + std::string(row.text) + " (--help tells more)\n",
              standin.errors());
    EXPECT_EQ("", standin.output());
  }
}

// A shell starts it: StandinProcess expects a server if the arguments contain no separator.
TEST(StandinTest, MissingSeparatorIsNamedWithTheLineToType) {
  StandinProcess outer(shell("'" STANDIN_PROGRAM "' --keep ./first --help 'a b' >\"$TMP/output\"; "
                             "echo $?; cat \"$TMP/output\""));
  EXPECT_EQ(0, outer.wait());
  EXPECT_EQ("2\n", outer.output());
  EXPECT_EQ(
      "velmo-standin: put -- before the program: velmo-standin --keep -- ./first --help 'a b'\n",
      outer.errors());
}

TEST(StandinTest, OwnFailureEndsWith125AndOneLine) {
  StandinProcess standin({"--home", "/dev/null/x", "--", "true"});
  EXPECT_EQ(125, standin.wait());
  EXPECT_EQ("velmo-standin: cannot make the directory /dev/null: Not a directory\n",
            standin.errors());
}

TEST(StandinTest, HomeInUseIsRefusedWith125) {
  const TemporaryDirectory directory;
  const StandinProcess first(inHome(directory.path()));
  StandinProcess second(inHome(directory.path(), {"--", "true"}));
  EXPECT_EQ(125, second.wait());
  EXPECT_EQ("velmo-standin: " + directory.path().string() + " is in use by another velmo-standin\n",
            second.errors());
}

TEST(StandinTest, EnvironmentThatCannotBePrintedIsAFailureOfItsOwn) {
  StandinProcess outer(shell("'" STANDIN_PROGRAM "' >/dev/full"));
  EXPECT_EQ(125, outer.wait());
  EXPECT_THAT(outer.errors(),
              StartsWith("velmo-standin: cannot print the environment: No space left on device\n"));
  EXPECT_THAT(installationsOf(outer), IsEmpty());
}

// --- help and version ---

TEST(StandinTest, VersionIsThatOfTheProject) {
  StandinProcess outer(shell("'" STANDIN_PROGRAM "' --version"));
  EXPECT_EQ(0, outer.wait());
  EXPECT_EQ("velmo-standin " STANDIN_VERSION "\n", outer.output());
}

TEST(StandinTest, HelpIsOnePageThatNamesOptionsVariablesFilesAndStatuses) {
  StandinProcess outer(shell("'" STANDIN_PROGRAM "' --help"));
  EXPECT_EQ(0, outer.wait());
  const std::string help = outer.output();
  EXPECT_THAT(help, StartsWith("Usage: velmo-standin [OPTION...] [-- COMMAND [ARG...]]\n"));
  for (const char* part : {"--home DIR ",
                           "--keep ",
                           "--no-run ",
                           "--show-output ",
                           "--fail-on-task ",
                           "--port N ",
                           "CONF",
                           "VELMO_HOME",
                           "VAR",
                           "TMP",
                           "DATA",
                           "LOCK_VAR",
                           "SHARED_VELMO_TASKID",
                           "SEMAPHORE_VELMO_TASKID",
                           "conf/priorities.cfg",
                           "VELMO_MODULES_XML",
                           "conf/serverid.cfg",
                           "conf/modules.xml",
                           "home/priorities.cfg",
                           "var/taskqueue/",
                           "var/log/",
                           "128+N",
                           "123 ",
                           "125 ",
                           "126 ",
                           "127 "}) {
    EXPECT_THAT(help, HasSubstr(part));
  }
  EXPECT_LE(linesOf(help).size(), 50U);
}

// --- environment ---

TEST(StandinTest, CommandSeesEveryVariable) {
  StandinProcess standin(
      shell("printf '%s\\n' \"$CONF\" \"$VELMO_HOME\" \"$VAR\" \"$TMP\" \"$DATA\" \"$LOCK_VAR\" "
            "\"$SHARED_VELMO_TASKID\" \"$SEMAPHORE_VELMO_TASKID\"; ls \"$VAR\" \"$DATA\""));
  EXPECT_EQ(0, standin.wait());
  const std::vector<std::string> lines = linesOf(standin.output());
  const std::string home = lines.at(0).substr(0, lines.at(0).rfind('/'));
  EXPECT_EQ(standin.temporaryDirectory(), fs::path(home).parent_path());
  EXPECT_THAT(lines,
              ElementsAre(home + "/conf", home + "/home", home + "/var", home + "/tmp",
                          home + "/data", home + "/lock", testing::MatchesRegex("[1-9][0-9]*"),
                          testing::MatchesRegex("[1-9][0-9]*"), home + "/data:", "velmo", "",
                          home + "/var:", "log", "taskqueue"));
}

TEST(StandinTest, WithoutCommandExportLinesArePrintedOnceEverythingIsReady) {
  StandinProcess standin;
  std::vector<std::string> names;
  for (const std::string& line : linesOf(standin.output())) {
    EXPECT_THAT(line, StartsWith("export "));
    EXPECT_THAT(line, EndsWith("'"));
    names.push_back(line.substr(7, line.find('=') - 7));
  }
  EXPECT_THAT(names, ElementsAre("CONF", "VELMO_HOME", "VAR", "TMP", "DATA", "LOCK_VAR",
                                 "SHARED_VELMO_TASKID", "SEMAPHORE_VELMO_TASKID"));
  for (const char* name : kDirectoryVariables) {
    EXPECT_TRUE(fs::is_directory(standin.environment().at(name))) << name;
  }
  EXPECT_TRUE(segmentExists(standin.key("SHARED_VELMO_TASKID")));
  EXPECT_TRUE(semaphoreExists(standin.key("SEMAPHORE_VELMO_TASKID")));
}

TEST(StandinTest, ExportLinesEndTheOutputSoThatAReaderSeesTheEndOfFile) {
  StandinProcess outer(shell("mkfifo \"$TMP/pipe\"; '" STANDIN_PROGRAM
                             "' >\"$TMP/pipe\" & text=$(cat \"$TMP/pipe\"); kill $!; wait $!; "
                             "echo \"status $?\"; echo \"$text\" | wc -l"));
  EXPECT_EQ(0, outer.wait());
  EXPECT_EQ("status 0\n8\n", outer.output());
}

TEST(StandinTest, ValuesAreQuotedForAShell) {
  const TemporaryDirectory directory;
  const fs::path home = directory.path() / "it's `a` $HOME \"x\"";
  StandinProcess standin(inHome(home));
  StandinProcess reader(
      shell(". '" + (standin.temporaryDirectory() / "stdout").string() + "'; printf %s \"$VAR\""));
  EXPECT_EQ(0, reader.wait());
  EXPECT_EQ((home / "var").string(), reader.output());
}

TEST(StandinTest, QueueAndTmpLieOnOneFileSystem) {
  const StandinProcess standin;
  struct stat queue {};
  struct stat tmp {};
  ASSERT_EQ(0, stat((standin.home() / "var/taskqueue").c_str(), &queue));
  ASSERT_EQ(0, stat(standin.environment().at("TMP").c_str(), &tmp));
  EXPECT_EQ(queue.st_dev, tmp.st_dev);
}

TEST(StandinTest, EverythingItMakesIsPrivateWhateverTheUmask) {
  StandinProcess standin({}, 0);
  const TestTask task{50, 1};
  queueFile(standin.home(), task.fileName(), "true\n");
  const fs::path queued = standin.home() / "var/taskqueue" / task.fileName();
  ASSERT_TRUE(waitUntil([&] { return !fs::exists(queued); }));
  EXPECT_EQ(fs::perms::owner_all, fs::status(standin.home()).permissions());
  for (const auto& entry : fs::recursive_directory_iterator(standin.home())) {
    EXPECT_EQ(entry.is_directory() ? fs::perms::owner_all
                                   : fs::perms::owner_read | fs::perms::owner_write,
              entry.status().permissions())
        << entry.path();
  }
  EXPECT_TRUE(fs::exists(standin.home() / "var/log" / (task.fileName() + ".log")));
}

TEST(StandinTest, CommandHasTheCallersUmaskStreamsAndProcessGroup) {
  StandinProcess standin(shell("umask; echo to stderr >&2; for process in $$ $PPID; do "
                               "cut -d' ' -f5 /proc/$process/stat; done | uniq | wc -l"),
                         027);
  EXPECT_EQ(0, standin.wait());
  EXPECT_EQ("0027\n1\n", standin.output());
  EXPECT_EQ("to stderr\n", standin.errors());
}

TEST(StandinTest, WhatFollowsTheSeparatorIsPassedAsItStands) {
  StandinProcess standin({"--", "printf", "%s|", "--keep", "--", "a b", ""});
  EXPECT_EQ(0, standin.wait());
  EXPECT_EQ("--keep|--|a b||", standin.output());
}

// --- what stays and what goes ---

TEST(StandinTest, SystemVObjectsAndTemporaryDirectoryAreGoneAfterwards) {
  StandinProcess standin;
  const int segment = standin.key("SHARED_VELMO_TASKID");
  const int semaphore = standin.key("SEMAPHORE_VELMO_TASKID");
  EXPECT_EQ(1, semctl(semget(semaphore, 1, 0), 0, GETVAL));
  EXPECT_EQ(0, standin.end());
  EXPECT_FALSE(segmentExists(segment));
  EXPECT_FALSE(semaphoreExists(semaphore));
  EXPECT_THAT(installationsOf(standin), IsEmpty());
}

TEST(StandinTest, KeepLeavesTheTemporaryDirectoryAndTellsWhere) {
  StandinProcess standin({"--keep", "--", "true"});
  EXPECT_EQ(0, standin.wait());
  ASSERT_EQ(1U, installationsOf(standin).size());
  const fs::path kept = installationsOf(standin).front();
  EXPECT_TRUE(fs::exists(kept / "conf/serverid.cfg"));
  EXPECT_EQ("velmo-standin: the installation stays in " + kept.string() + "\n", standin.errors());
}

TEST(StandinTest, HomeStaysAndTheSystemVObjectsGo) {
  const TemporaryDirectory directory;
  StandinProcess standin(inHome(directory.path()));
  const int segment = standin.key("SHARED_VELMO_TASKID");
  const int semaphore = standin.key("SEMAPHORE_VELMO_TASKID");
  EXPECT_EQ(directory.path(), standin.home());
  EXPECT_EQ(0, standin.end());
  EXPECT_TRUE(fs::exists(directory.path() / "conf/serverid.cfg"));
  EXPECT_FALSE(segmentExists(segment));
  EXPECT_FALSE(semaphoreExists(semaphore));
}

TEST(StandinTest, HomeIsReusedWithItsJobCounterAndEditedConfiguration) {
  const TemporaryDirectory directory;
  std::string jobs;
  for (int run = 0; run < 2; ++run) {
    StandinProcess standin(inHome(directory.path()));
    standin.applyEnvironment();
    const std::unique_ptr<char[]> jobId(generateJobID());
    jobs += std::string(jobId.get()) + " ";
    EXPECT_EQ(0, standin.end());
    fs::resize_file(directory.path() / "conf/serverid.cfg", 0);  // removes the identity
  }
  EXPECT_EQ("standin-J0 J1 ", jobs);
}

// --- the library against it ---

TEST(StandinTest, TaskSubmittedThroughTheLibraryIsRun) {
  StandinProcess standin;
  standin.applyEnvironment();
  ASSERT_EQ(0, createTaskFile("Interactive", "echo from the task; pwd", nullptr, "Sooner", "J5",
                              "3_x", "#1USE=u", 7));
  EXPECT_EQ(0, standin.end());
  EXPECT_THAT(standin.errors(),
              testing::MatchesRegex("velmo-standin: priority 0180, created "
                                    "[-0-9]+ [:0-9]+, job J5, sub-job 3_x, task 1, relative 7, "
                                    "type sh: exit 0\nvelmo-standin: the output .*\n"));
}

TEST(StandinTest, OutputThatIsRemovedAtTheEndIsNotNamedButToldOfOnce) {
  StandinProcess standin;
  const TestTask silent{50, 1};
  const TestTask first{60, 2};
  const TestTask second{70, 3};
  queueFile(standin.home(), silent.fileName(), "true\n");
  queueFile(standin.home(), first.fileName(), "echo first\n");
  queueFile(standin.home(), second.fileName(), "echo second\n");
  EXPECT_EQ(0, standin.end());
  EXPECT_EQ(silent.description() + ": exit 0\n" + first.description() +
                ": exit 0\nvelmo-standin: the output of tasks is removed at the end; "
                "--show-output prints it, --keep keeps it\n" +
                second.description() + ": exit 0\n",
            standin.errors());
}

TEST(StandinTest, OutputThatIsShownNeedsNoOtherPlace) {
  StandinProcess standin({"--show-output"});
  const TestTask task{50, 1};
  queueFile(standin.home(), task.fileName(), "echo hello\n");
  EXPECT_EQ(0, standin.end());
  EXPECT_EQ(task.description() + ": exit 0\nvelmo-standin: | hello\n", standin.errors());
}

TEST(StandinTest, KeptOutputIsWhereTheReportSays) {
  StandinProcess standin({"--keep"});
  const TestTask task{50, 1};
  queueFile(standin.home(), task.fileName(), "echo hello\n");
  EXPECT_EQ(0, standin.end());
  EXPECT_THAT(standin.errors(), EndsWith(task.ranLine("exit 0", standin.home())));
  EXPECT_EQ("hello\n", textOf(standin.home() / "var/log" / (task.fileName() + ".log")));
}

TEST(StandinTest, ClassThatIsUnknownToTheLibraryIsWarnedOf) {
  StandinProcess standin;
  standin.applyEnvironment();
  ASSERT_EQ(0, createTaskFile("Norml", "true", nullptr, nullptr, "J5", nullptr, nullptr, 0));
  EXPECT_EQ(0, standin.end());
  EXPECT_THAT(standin.errors(),
              testing::MatchesRegex(
                  "velmo-standin: warning: priority 9999, created .*: a priority class that is not "
                  "in priorities.cfg gets the priority 9999\n"
                  "velmo-standin: priority 9999, created .*: exit 0\n"));
}

TEST(StandinTest, OutputOfATaskSubmittedThroughTheLibraryIsInTheLog) {
  const TemporaryDirectory directory;
  StandinProcess standin(inHome(directory.path()));
  standin.applyEnvironment();
  ASSERT_EQ(0, createTaskFile("Nightly", "echo from the task", nullptr, nullptr, nullptr, nullptr,
                              nullptr, 0));
  EXPECT_EQ(0, standin.end());
  const fs::directory_iterator logs(directory.path() / "var/log");
  ASSERT_NE(fs::end(logs), logs);
  EXPECT_THAT(logs->path().filename(), StartsWith("0900."));
  EXPECT_THAT(logs->path().filename(), HasSubstr(".standin-J0.S0."));
  EXPECT_EQ("from the task\n", textOf(logs->path()));
}

TEST(StandinTest, HomeHasATuningValueForTheLibrary) {
  StandinProcess standin;
  standin.applyEnvironment();
  EXPECT_EQ(-30, brix::velmo::PrioritiesConfig::Instance()->getRelativePriorityStatStudy());
}

TEST(StandinTest, ExampleSubmitsItsTasksInTheOrderOfTheirUrgency) {
  const TemporaryDirectory directory;
  StandinProcess submitter(inHome(directory.path(), {"--no-run", "--", SUBMIT_BY_FILE_PROGRAM}));
  ASSERT_EQ(0, submitter.wait());
  EXPECT_EQ(
      "job standin-J0\n"
      "queued: collect, Normal\n"
      "queued: archive, Batch, Sooner\n"
      "queued: notify, Urgent\n"
      "queued: print, Normal, Later, child of collect\n",
      submitter.output());

  StandinProcess runner(inHome(directory.path(), {"--", "true"}));
  EXPECT_EQ(0, runner.wait());
  std::vector<std::string> tasks;
  for (const std::string& line : linesOf(runner.errors())) {
    const std::size_t created = line.find(", created");
    const std::size_t job = line.find(", job");
    tasks.push_back(line.substr(15, created - 15) + line.substr(job, line.find(", output") - job));
  }
  EXPECT_THAT(
      tasks,
      ElementsAre(
          "priority 0050, job standin-J0, sub-job 0, task 3, relative 0, type sh: exit 0",
          "priority 0500, job standin-J0, sub-job 0_report, task 1, relative 0, type sh: exit 0",
          "priority 0520, job standin-J0, sub-job 1_report_print, task 4, relative 0, type sh: "
          "exit 0",
          "priority 0780, job standin-J0, sub-job 0, task 2, relative 0, type sh: exit 0"));
}

}  // namespace
}  // namespace velmo::test
