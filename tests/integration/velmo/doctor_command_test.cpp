// velmo doctor: what it prints, --connect and --break-lock.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>

#include "ChildProgram.h"
#include "EndedProcess.h"
#include "StandinProcess.h"
#include "TaskInstallation.h"
#include "ToolProcess.h"
#include "VisibleProcesses.h"

namespace velmo::test {
namespace {

using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// A process that has no library of this project mapped.
pid_t sleepingProcess() {
  std::string program = "sleep";
  std::string seconds = "60";
  const std::array<char*, 3> arguments{program.data(), seconds.data(), nullptr};
  pid_t process = -1;
  EXPECT_EQ(0, posix_spawnp(&process, "sleep", nullptr, nullptr, arguments.data(), environ));
  return process;
}

class DoctorCommandTest : public testing::Test {
 protected:
  DoctorCommandTest() {
    place.environment.set("TMPDIR", place.directory.path().parent_path());
    place.writeHomePriorities("Normal=500\n");
    place.writeJobCounter("16");
  }

  ~DoctorCommandTest() override {
    umask(mask);
  }

  std::string path(const std::string& name) const {
    return place.directory.path(name);
  }

  std::string lock() const {
    return path("lock/semaphore_velmo_jobid");
  }

  void writeLock(const std::string& contents) const {
    place.directory.writeFile("lock/semaphore_velmo_jobid", contents);
  }

  // Makes the lock file older than every process.
  void makeLockOld() const {
    const std::array<timespec, 2> times{{{1'000'000, 0}, {1'000'000, 0}}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, lock().c_str(), times.data(), 0));
  }

  // Elsewhere each --break-lock is refused, whatever the lock file holds.
  bool isProvable() const {
    return seesEveryProcess();
  }

  void expectHidden(const ToolResult& result) const {
    EXPECT_EQ(4, result.status);
    EXPECT_THAT(result.output,
                AnyOf(StartsWith("FAULT  job lock"), StartsWith("{\"check\":\"job_lock\",")));
    EXPECT_EQ(
        "velmo: the lock file \"" + lock() +
            "\" was not broken: processes that may have made it are hidden from this one: run "
            "as root, outside of a container\n",
        result.errors);
    EXPECT_TRUE(exists(lock()));
  }

  void expectBroken(const ToolResult& result) const {
    if (!isProvable()) {
      expectHidden(result);
      return;
    }
    EXPECT_THAT(result.output, StartsWith("broken: "));
    EXPECT_FALSE(exists(lock()));
  }

  const mode_t mask = umask(022);  // before the directories
  TaskInstallation place;
};

// --- output ---

TEST_F(DoctorCommandTest, EveryCheckIsListed) {
  const ToolResult result = runTool({"doctor"});
  for (const char* name : {"variables",
                           "queue",
                           "tmp",
                           "data",
                           "lock directory",
                           "velmo home",
                           "conf",
                           "one file system",
                           "home priorities",
                           "conf priorities",
                           "priorities",
                           "server identity",
                           "job counter",
                           "job lock",
                           "job counter copy",
                           "task counter",
                           "semaphore",
                           "logout removal",
                           "leftovers",
                           "queue files",
                           "umask"}) {
    EXPECT_THAT("\n" + result.output, HasSubstr("\nok     " + std::string(name) + "  "));
  }
  EXPECT_EQ("", result.errors);
}

TEST_F(DoctorCommandTest, FaultHasItsTextItsConsequenceAndItsRepair) {
  place.directory.setMode("tmp", 0777);
  const ToolResult result = runTool({"doctor"});
  EXPECT_EQ(2, result.status);
  EXPECT_THAT(result.output,
              HasSubstr("\nFAULT  tmp               " + path("tmp") +
                        "\n       every user can write to the directory of TMP: \"" + path("tmp") +
                        "\"\n       Every user of the machine can change a task before it is in "
                        "the queue.\n       Repair:\n         chmod o-w '" +
                        path("tmp") + "'\n"));
}

TEST_F(DoctorCommandTest, FirstFaultDecidesTheStatus) {
  place.directory.writeFile("var/taskqueue/README", "");
  place.semaphore.remove();
  const ToolResult result = runTool({"doctor"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.output, EndsWith("\n2 faults: semaphore, queue files\n"));
}

TEST_F(DoctorCommandTest, WhatCouldNotBeLookedAtIsNeverOk) {
  place.environment.unset("VAR");
  const std::string output = runTool({"doctor", "--json"}).output;
  for (const char* check : {"queue", "queue_files"}) {
    EXPECT_THAT(output, HasSubstr("{\"check\":\"" + std::string(check) +
                                  "\",\"looked_at\":\"VAR\",\"status\":\"skipped\",\"note\":\"VAR "
                                  "is not set\"}\n"));
  }
  EXPECT_THAT(runTool({"doctor"}).output,
              HasSubstr("\n-      queue             VAR not looked at: VAR is not set\n"));
}

TEST_F(DoctorCommandTest, JsonOfACheckHasWhatWasLookedAt) {
  EXPECT_THAT(runTool({"doctor", "--json"}).output,
              HasSubstr("{\"check\":\"queue\",\"looked_at\":\"" + path("var/taskqueue") +
                        "\",\"status\":\"ok\"}\n"));
}

TEST_F(DoctorCommandTest, JsonOfAFaultHasEveryField) {
  std::filesystem::remove(path("tmp"));
  EXPECT_THAT(runTool({"doctor", "--json"}).output,
              HasSubstr("{\"check\":\"tmp\",\"looked_at\":\"" + path("tmp") +
                        "\",\"status\":\"not_configured\",\"fault\":\"the directory of TMP is "
                        "missing: \\\"" +
                        path("tmp") +
                        "\\\": No such file or directory\",\"consequence\":\"no task can be "
                        "submitted\",\"repair\":\"mkdir -p '" +
                        path("tmp") + "'\",\"advice\":null,\"look\":null}\n"));
}

TEST_F(DoctorCommandTest, ControlCharactersDoNotReachTheTerminal) {
  place.directory.writeFile("var/taskqueue/\x1b[2J\a", "");
  const std::string output = runTool({"doctor"}).output;
  EXPECT_THAT(output, Not(HasSubstr("\x1b")));
  EXPECT_THAT(output, HasSubstr("\\033[2J\\007"));
}

// --- --connect ---

TEST_F(DoctorCommandTest, ServiceThatAnswersIsOk) {
  StandinProcess service({"--port", "0"});
  service.applyEnvironment();
  const std::string output = runTool({"doctor", "--connect"}).output;
  EXPECT_THAT(output,
              HasSubstr("\nok     service           127.0.0.1:" + std::to_string(service.port())));
  EXPECT_EQ("", service.errors());
}

TEST_F(DoctorCommandTest, ServiceThatDoesNotListenIsUnreachable) {
  const std::string modules = [&] {
    StandinProcess service({"--port", "0"});
    return textOf(service.environment().at("VELMO_MODULES_XML"));
  }();
  const std::string file = place.directory.writeFile("modules.xml", modules);
  const std::string port = std::to_string(portIn(file));
  const ToolResult result = runTool({"doctor", "--connect", "--modules", file, "--json"});
  EXPECT_EQ(8, result.status);
  EXPECT_THAT(result.output, HasSubstr("{\"check\":\"modules\",\"looked_at\":\"" + file +
                                       "\",\"status\":\"ok\"}"));
  EXPECT_THAT(
      result.output,
      HasSubstr("{\"check\":\"service\",\"looked_at\":\"127.0.0.1:" + port +
                "\",\"status\":\"unreachable\",\"fault\":\"cannot connect to 127.0.0.1:" + port +
                ": Connection refused\",\"consequence\":\"no task can be submitted "
                "by message\",\"repair\":null,"));
  EXPECT_THAT(result.output, HasSubstr("\"look\":\"ss -ltn 'sport = :" + port + "'\"}\n"));
}

TEST_F(DoctorCommandTest, ServiceThatIsNotNamedIsNotLookedAt) {
  place.environment.set("VELMO_MODULES_XML", path("modules.xml"));
  const ToolResult result = runTool({"doctor", "--connect", "--json"});
  EXPECT_EQ(2, result.status);
  EXPECT_THAT(result.output, HasSubstr("{\"check\":\"modules\",\"looked_at\":\"" +
                                       path("modules.xml") + "\",\"status\":\"not_configured\""));
  EXPECT_THAT(result.output,
              EndsWith("{\"check\":\"service\",\"looked_at\":null,\"status\":\"skipped\",\"note\":"
                       "\"\\\"modules\\\" has a fault\"}\n"));
}

TEST_F(DoctorCommandTest, ModulesWithoutConnectIsWrongUsage) {
  EXPECT_EQ(1, runTool({"doctor", "--modules", "x"}).status);
}

// --- --break-lock ---

TEST_F(DoctorCommandTest, WithoutALockFileNothingIsBroken) {
  const ToolResult result = runTool({"doctor", "--break-lock"});
  EXPECT_THAT(result.output, StartsWith("no lock file\n"));
}

TEST_F(DoctorCommandTest, LockOfAProcessThatEndedIsBroken) {
  const std::string process = std::to_string(endedProcess());
  writeLock(process + "\n");
  const ToolResult result = runTool({"doctor", "--break-lock"});
  if (!isProvable()) {
    expectHidden(result);
    return;
  }
  EXPECT_THAT(result.output, StartsWith("broken: the lock file \"" + lock() + "\": process " +
                                        process + ", which made it, has ended\n"));
  EXPECT_TRUE(namesIn(path("lock")).empty());
}

TEST_F(DoctorCommandTest, CopyThatTheBrokenLockHidIsReported) {
  writeLock(std::to_string(endedProcess()) + "\n");
  place.directory.writeFile("data/velmo/jobid_tmp", "17");
  EXPECT_THAT(runTool({"doctor"}).output, HasSubstr("\n-      job counter copy"));
  const ToolResult result = runTool({"doctor", "--break-lock"});
  if (!isProvable()) {
    expectHidden(result);
    return;
  }
  EXPECT_THAT(result.output, HasSubstr("\nFAULT  job counter copy"));
}

TEST_F(DoctorCommandTest, LockOfARunningProcessIsNotBroken) {
  writeLock(std::to_string(getpid()) + "\n");
  const ToolResult result = runTool({"doctor", "--break-lock"});
  if (!isProvable()) {
    expectHidden(result);
    return;
  }
  EXPECT_EQ(4, result.status);
  const std::string text = "the lock file \"" + lock() + "\" was not broken: process " +
                           std::to_string(getpid()) + " (tool_tests), which made it, is running\n";
  EXPECT_EQ("velmo: " + text, result.errors);
  EXPECT_THAT(result.output, HasSubstr("\n       " + text));
  EXPECT_TRUE(exists(lock()));
}

TEST_F(DoctorCommandTest, LockThatIsNotBrokenIsTheFirstFinding) {
  std::filesystem::create_symlink(place.directory.writeFile("x", ""), lock());
  place.directory.setMode("tmp", 0777);
  const ToolResult text = runTool({"doctor", "--break-lock"});
  EXPECT_EQ(4, text.status);
  EXPECT_THAT(text.output, StartsWith("FAULT  job lock"));
  EXPECT_THAT(text.output, EndsWith("\n2 faults: job lock, tmp\n"));
  const ToolResult json = runTool({"doctor", "--break-lock", "--json"});
  EXPECT_EQ(4, json.status);
  EXPECT_THAT(json.output, StartsWith("{\"check\":\"job_lock\",\"looked_at\":\"" + lock() +
                                      "\",\"status\":\"timed_out\",\"fault\":\"the lock file \\\"" +
                                      lock() + "\\\" was not broken: it is not a regular file\","));
  EXPECT_THAT(json.output, HasSubstr("\n{\"check\":\"tmp\","));
}

TEST_F(DoctorCommandTest, LockOlderThanTheProcessWithItsNumberIsBroken) {
  ChildProgram other;
  other.adopt(sleepingProcess());
  writeLock(std::to_string(other.pid()) + "\n");
  makeLockOld();
  if (isProvable()) {
    EXPECT_THAT(runTool({"doctor"}).output, Not(HasSubstr("which is running")));
  }
  expectBroken(runTool({"doctor", "--break-lock"}));
}

// The clock may have been set since then.
TEST_F(DoctorCommandTest, OldLockWithTheNumberOfAProcessThatUsesTheLibraryIsNotBroken) {
  writeLock(std::to_string(getpid()) + "\n");
  makeLockOld();
  const ToolResult result = runTool({"doctor", "--break-lock"});
  if (!isProvable()) {
    expectHidden(result);
    return;
  }
  EXPECT_EQ(4, result.status);
  EXPECT_THAT(result.errors,
              HasSubstr("(tool_tests), whose number it holds, is running and uses "));
  EXPECT_TRUE(exists(lock()));
}

// This program has the library mapped.
TEST_F(DoctorCommandTest, EmptyLockIsNotBrokenWhileAProcessCanHaveMadeIt) {
  writeLock("");
  const ToolResult result = runTool({"doctor", "--break-lock"});
  if (!isProvable()) {
    expectHidden(result);
    return;
  }
  EXPECT_EQ(4, result.status);
  EXPECT_THAT(result.errors, HasSubstr("was not broken: it names no process, and "));
  EXPECT_TRUE(exists(lock()));
}

TEST_F(DoctorCommandTest, EmptyLockOlderThanEveryProcessIsBroken) {
  writeLock("");
  makeLockOld();
  expectBroken(runTool({"doctor", "--break-lock"}));
}

TEST_F(DoctorCommandTest, LinkInThePlaceOfTheLockIsNotBroken) {
  std::filesystem::create_symlink(place.directory.writeFile("x", ""), lock());
  const ToolResult result = runTool({"doctor", "--break-lock"});
  EXPECT_EQ(4, result.status);
  EXPECT_THAT(result.errors, EndsWith(": it is not a regular file\n"));
  EXPECT_TRUE(exists(lock()));
}

TEST_F(DoctorCommandTest, JsonSaysWhatWasBroken) {
  EXPECT_THAT(runTool({"doctor", "--break-lock", "--json"}).output,
              HasSubstr("\"looked_at\":\"" + lock() + "\",\"status\":\"ok\",\"broken\":null}\n"));
  writeLock(std::to_string(endedProcess()) + "\n");
  const ToolResult result = runTool({"doctor", "--break-lock", "--json"});
  if (!isProvable()) {
    expectHidden(result);
    return;
  }
  EXPECT_THAT(result.output, HasSubstr("\"status\":\"ok\",\"broken\":\"the lock file "));
}

TEST_F(DoctorCommandTest, WithoutLockVarTheStatusIsNotConfigured) {
  place.environment.unset("LOCK_VAR");
  const ToolResult result = runTool({"doctor", "--break-lock"});
  EXPECT_EQ(2, result.status);
  EXPECT_EQ("velmo: LOCK_VAR is not set\n", result.errors);
}

}  // namespace
}  // namespace velmo::test
