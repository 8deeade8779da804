// The section WHEN NOTHING HAPPENS of libvelmo.7: each symptom occurs as the page says, and the
// page shows the line that is logged.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sem.h>
#include <velmo/CreateTaskFile.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

#include "CapturedLog.h"
#include "Environment.h"
#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using velmo::test::CapturedLog;
using velmo::test::Environment;
using velmo::test::FakeScope;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::TaskInstallation;
using velmo::test::UnusedKey;

// The part of the page from `from` up to the next `to`.
std::string between(const std::string& page, const std::string& from, const std::string& to) {
  const std::size_t begin = page.find(from);
  if (begin == std::string::npos) {
    ADD_FAILURE() << "the page has no line " << from;
    return {};
  }
  return page.substr(begin, page.find(to, begin + from.size()) - begin) + '\n';
}

std::string withoutEscapes(std::string text) {
  for (std::size_t at = 0; (at = text.find('\\', at)) != std::string::npos;) {
    text.erase(at, text[at + 1] == '&' ? 2 : 1);
  }
  return text;
}

class WhenNothingHappensTest : public testing::Test {
 protected:
  WhenNothingHappensTest() {
    installation.writeHomePriorities("NORMAL=500\n");
  }

  static int submit(const char* priorityType = "NORMAL", const char* jobId = "J1") {
    return createTaskFile(priorityType, "true", nullptr, nullptr, jobId, nullptr, nullptr, 0);
  }

  static std::string section() {
    return withoutEscapes(
        between(readFile(LIBVELMO_PAGE), "\n.Sh WHEN NOTHING HAPPENS\n", "\n.Sh "));
  }

  // The part of the page about a symptom.
  static std::string symptom(const std::string& title) {
    const std::string symptoms = section().substr(section().find("\n.Ss By symptom\n"));
    return between(symptoms, "\n.It " + title + "\n", "\n.It ");
  }

  // How the page shows a line: as an argument of Dq, which ends with the line or before a colon.
  static auto shows(const std::string& line) {
    return HasSubstr("\n.Dq " + line);
  }

  TaskInstallation installation;
  FakeScope fakes;
  CapturedLog log;
};

TEST_F(WhenNothingHappensTest, PageHasTheSymptomsThatAreTriedHere) {
  const std::string page = section();
  std::vector<std::string> titles;
  for (std::size_t at = page.find("\n.Ss By symptom\n");
       (at = page.find("\n.It ", at)) != std::string::npos; at += 5) {
    titles.push_back(page.substr(at + 5, page.find('\n', at + 1) - at - 5));
  }
  EXPECT_THAT(titles, ElementsAre("The call throws", "The call blocks for ever",
                                  "The call pauses for 30 seconds", "The job is EMPTYJOB",
                                  "The task runs last", "The call returns 1", "The call returns -1",
                                  "The call returns 0, but the task is not run"));
}

TEST_F(WhenNothingHappensTest, UnsetVelmoHomeThrows) {
  installation.environment.unset("VELMO_HOME");
  EXPECT_THROW(submit(), std::logic_error);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(symptom("The call throws"), HasSubstr("\n.Ev VELMO_HOME\n"));
}

TEST_F(WhenNothingHappensTest, UnsetConfThrows) {
  installation.environment.unset("CONF");
  EXPECT_THROW(submit(), std::logic_error);
  EXPECT_THAT(symptom("The call throws"), HasSubstr("\n.Ev CONF\n"));
}

// Answers the wait for the semaphore, and records whether the real wait would block for ever.
class SemaphoreWait {
 public:
  SemaphoreWait() {
    platform().semop.setFake([this](int id, sembuf* operation, std::size_t /*count*/) {
      const bool waits = operation->sem_op == -1 && (operation->sem_flg & IPC_NOWAIT) == 0;
      blocks = waits && platform().semctl.real(id, 0, GETVAL, 0) == 0;
      platform().semctl.real(id, 0, IPC_RMID, 0);
      errno = EIDRM;
      return -1;
    });
  }

  bool blocks = false;
};

TEST_F(WhenNothingHappensTest, WithoutTheServiceTheCallBlocksForEver) {
  SemaphoreWait wait;
  const UnusedKey key;
  installation.environment.set("SEMAPHORE_VELMO_TASKID", key.text());
  submit();
  EXPECT_TRUE(wait.blocks);
}

TEST_F(WhenNothingHappensTest, KeyThatIsNotANumberBlocksForEver) {
  SemaphoreWait wait;
  installation.environment.set("SEMAPHORE_VELMO_TASKID", "abc");
  submit();
  EXPECT_TRUE(wait.blocks);
  EXPECT_THAT(symptom("The call blocks for ever"),
              HasSubstr("\nThe same happens when the variable is not a number.\n"));
}

TEST_F(WhenNothingHappensTest, LockFileThatWasLeftPausesFor30SecondsAndGivesEmptyjob) {
  long waitedMs = 0;
  platform().nanosleep.setFake([&waitedMs](const timespec* pause, timespec* /*rest*/) {
    waitedMs += pause->tv_sec * 1000 + pause->tv_nsec / 1000000;
    return 0;
  });
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  EXPECT_EQ(0, submit("NORMAL", nullptr));
  EXPECT_GE(waitedMs, 30000);
  EXPECT_LT(waitedMs, 31000);
  EXPECT_THAT(installation.queue(), ElementsAre(HasSubstr(".EMPTYJOB.")));
  const std::string line = "CreateTaskFile::generateJobID exception: Semaphore timed out";
  EXPECT_THAT(log.lines(), ElementsAre(line));
  EXPECT_THAT(symptom("The call pauses for 30 seconds"), shows(line));
}

TEST_F(WhenNothingHappensTest, WithoutDataTheJobIsEmptyjobAtOnce) {
  installation.environment.unset("DATA");
  EXPECT_EQ(0, submit("NORMAL", nullptr));
  EXPECT_THAT(installation.queue(), ElementsAre(HasSubstr(".EMPTYJOB.")));
  EXPECT_THAT(log.lines(), ElementsAre("Job ID file cannot be created!\n",
                                       "Errno: 2 Strerror: No such file or directory\n"));
  EXPECT_THAT(symptom("The job is EMPTYJOB"), shows("Job ID file cannot be created!"));
}

TEST_F(WhenNothingHappensTest, WithoutALockDirectoryTheJobIsEmptyjobAtOnce) {
  installation.environment.set("LOCK_VAR", installation.directory.path("missing"));
  EXPECT_EQ(0, submit("NORMAL", nullptr));
  EXPECT_THAT(installation.queue(), ElementsAre(HasSubstr(".EMPTYJOB.")));
  const std::string line =
      "CreateTaskFile::generateJobID exception: Creating semaphore failed: velmo_jobid";
  EXPECT_THAT(log.lines(), ElementsAre(line + " [No such file or directory]"));
  EXPECT_THAT(symptom("The job is EMPTYJOB"), shows(line));
}

TEST_F(WhenNothingHappensTest, TaskOfAnUnknownClassRunsLast) {
  EXPECT_EQ(0, submit("Unknown"));
  EXPECT_THAT(installation.queue(), ElementsAre(StartsWith("9999.")));
  EXPECT_THAT(log.lines(), ElementsAre("Velmo unknown priority:Unknown"));
  EXPECT_THAT(symptom("The task runs last"), shows("Velmo unknown priority:%s"));
}

TEST_F(WhenNothingHappensTest, UnsetTmpReturns1) {
  installation.environment.unset("TMP");
  EXPECT_EQ(1, submit());
  EXPECT_THAT(log.lines(), ElementsAre(StartsWith("File cannot be created: (null)/0500."),
                                       "Errno: 2 Strerror: No such file or directory\n"));
  EXPECT_THAT(symptom("The call returns 1"), shows("File cannot be created: %s"));
}

TEST_F(WhenNothingHappensTest, UnsetVarReturns1) {
  installation.environment.unset("VAR");
  EXPECT_EQ(1, submit());
  EXPECT_THAT(log.lines(), ElementsAre(StartsWith("CreateTaskFile error: couldn't rename file: ")));
  EXPECT_THAT(symptom("The call returns 1"),
              shows("CreateTaskFile error: couldn't rename file: %s to file %s"));
}

TEST_F(WhenNothingHappensTest, TmpOnAnotherFileSystemReturns1) {
  platform().rename.setFake([](const char* /*from*/, const char* /*to*/) {
    errno = EXDEV;
    return -1;
  });
  EXPECT_EQ(1, submit());
  EXPECT_THAT(log.lines(), ElementsAre(StartsWith("CreateTaskFile error: couldn't rename file: ")));
}

TEST_F(WhenNothingHappensTest, NullArgumentsReturn1) {
  EXPECT_EQ(1, submit(nullptr));
  EXPECT_EQ(1, createTaskFile("NORMAL", nullptr, nullptr, nullptr, "J1", nullptr, nullptr, 0));
  EXPECT_THAT(log.lines(),
              ElementsAre("Priority type must be given!\n", "Command type must be given!\n"));
  EXPECT_THAT(symptom("The call returns 1"), shows("Priority type must be given!"));
  EXPECT_THAT(symptom("The call returns 1"), shows("Command type must be given!"));
}

TEST_F(WhenNothingHappensTest, EachUnsetKeyReturnsMinus1) {
  for (const std::string name : {"SHARED_VELMO_TASKID", "SEMAPHORE_VELMO_TASKID"}) {
    log.clear();
    Environment without;
    without.unset(name);
    EXPECT_EQ(-1, submit());
    EXPECT_THAT(log.lines(), ElementsAre("createTaskFile getenv(" + name + ") is NULL"));
  }
  EXPECT_THAT(symptom("The call returns -1"), shows("createTaskFile getenv(%s) is NULL"));
}

TEST_F(WhenNothingHappensTest, TaskCounterOfAnotherUserReturnsMinus1) {
  const auto refuse = [] {
    errno = EACCES;
    return -1;
  };
  platform().shmget.setFake([&](key_t, std::size_t, int) { return refuse(); });
  EXPECT_EQ(-1, submit());
  platform().semget.setFake([&](key_t, int, int) { return refuse(); });
  EXPECT_EQ(-1, submit());
  const std::string key = std::to_string(installation.semaphore.key());
  EXPECT_THAT(log.lines(), ElementsAre("createTaskFile shmget error",
                                       "Semaphore constructor - semget failed for key" + key,
                                       "Semaphore lock - semop failed for id:-1",
                                       "Couldn't lock the semaphore"));
  EXPECT_THAT(symptom("The call returns -1"), shows("createTaskFile shmget error"));
  EXPECT_THAT(symptom("The call returns -1"),
              shows("Semaphore constructor - semget failed for key%d"));
}

TEST_F(WhenNothingHappensTest, InterruptedWaitReturnsMinus1) {
  platform().semop.setFake([](int, sembuf*, std::size_t) {
    errno = EINTR;
    return -1;
  });
  EXPECT_EQ(-1, submit());
  EXPECT_THAT(log.lines(), ElementsAre(StartsWith("Semaphore lock - semop failed for id:"),
                                       "Couldn't lock the semaphore"));
  EXPECT_THAT(symptom("The call returns -1"), shows("Semaphore lock - semop failed for id:%d"));
}

TEST_F(WhenNothingHappensTest, TaskThatNobodyTakesStaysInTheQueue) {
  EXPECT_EQ(0, submit());
  EXPECT_THAT(installation.queue(), ElementsAre(EndsWith(".sh")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
