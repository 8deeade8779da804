#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "CreateTaskFileTest.h"
#include "IMException.h"

namespace {

using brix::imutils::IMIOException;
using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::CreateTaskFileTest;
using velmo::test::exists;
using velmo::test::platform;
using velmo::test::readFile;

class JobIdentifierTest : public CreateTaskFileTest {
 protected:
  const std::string lockFile = installation.directory.path("lock/semaphore_velmo_jobid");
};

// --- the job identifier in the name ---

TEST_F(JobIdentifierTest, MissingOrEmptyJobIdentifierIsGenerated) {
  EXPECT_EQ(0, submitWithNewJob());
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", nullptr, nullptr, "", nullptr, nullptr, 0));
  EXPECT_THAT(installation.queue(),
              ElementsAre("0050.20250303140509.J0.S0.T20250303140509-1.R0000.sh",
                          "0050.20250303140509.J1.S0.T20250303140509-2.R0000.sh"));
}

TEST_F(JobIdentifierTest, GivenJobIdentifierLeavesTheJobCounterAlone) {
  EXPECT_EQ(0, submit("NORMAL"));
  EXPECT_FALSE(exists(installation.directory.path("data/velmo/jobid")));
}

TEST_F(JobIdentifierTest, JobCounterThatCannotBeWrittenGivesEmptyjob) {
  std::filesystem::remove(installation.directory.path("data/velmo"));
  EXPECT_EQ(0, createTaskFile("NORMAL", "true", nullptr, nullptr, "", nullptr, nullptr, 0));
  EXPECT_THAT(installation.queue(),
              ElementsAre("0050.20250303140509.EMPTYJOB.S0.T20250303140509-1.R0000.sh"));
  EXPECT_THAT(log.cycles(), ElementsAre(line("Job ID file cannot be created!\n"),
                                        line("Errno: 2 Strerror: No such file or directory\n")));
}

TEST_F(JobIdentifierTest, JobIdentifierIsGeneratedBeforeTheTaskIdentifier) {
  installation.environment.unset("SHARED_VELMO_TASKID");
  EXPECT_EQ(-1, submitWithNewJob());
  EXPECT_EQ("0", installation.jobCounter());
}

// --- generateJobID ---

TEST_F(JobIdentifierTest, FreshInstallationBeginsWithJob0) {
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
  EXPECT_EQ("J1", creator.generateJobID());
  EXPECT_EQ("1", installation.jobCounter());
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(JobIdentifierTest, JobAfterJ999999IsJ0) {
  installation.writeJobCounter("999998");
  EXPECT_EQ("J999999", creator.generateJobID());
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
}

TEST_F(JobIdentifierTest, CounterFileThatIsNotANumberIsLoggedAndGivesJob0) {
  installation.writeJobCounter("abc");
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
  EXPECT_THAT(log.cycles(), ElementsAre(line("Job ID file cannot be parsed\n")));
}

TEST_F(JobIdentifierTest, CopyIsWrittenAndMovedUnderTheLock) {
  std::vector<std::string> steps;
  platform().fopen.setFake([&](const char* path, const char* mode) {
    EXPECT_TRUE(exists(lockFile));
    steps.push_back(std::string(mode) + " " + std::filesystem::path(path).filename().string());
    return platform().fopen.real(path, mode);
  });
  platform().rename.setFake([&](const char* from, const char* to) {
    EXPECT_TRUE(exists(lockFile));
    EXPECT_EQ("18", readFile(from));
    steps.push_back(std::filesystem::path(from).filename().string() + " to " +
                    std::filesystem::path(to).filename().string());
    return platform().rename.real(from, to);
  });
  installation.writeJobCounter("17");
  steps.clear();
  EXPECT_EQ("J18", creator.generateJobID());
  EXPECT_THAT(steps, testing::IsSupersetOf(
                         {"rb jobid", "wb jobid_tmp", "jobid_tmp to jobid", "rb serverid.cfg"}));
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, CopyThatCannotBeCreatedIsLoggedAndTheCounterStays) {
  installation.writeJobCounter("17");
  installation.directory.makeDirectory("data/velmo/jobid_tmp");
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(log.cycles(), ElementsAre(line("Job ID file cannot be created!\n"),
                                        line("Errno: 21 Strerror: Is a directory\n")));
  EXPECT_EQ("17", installation.jobCounter());
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, UnsetDataReadsAsNullTextAndFailsAsAMissingDirectory) {
  installation.environment.unset("DATA");
  std::vector<std::string> opened;
  platform().fopen.setFake([&opened](const char* path, const char* mode) {
    opened.emplace_back(path);
    return platform().fopen.real(path, mode);
  });
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(opened, ElementsAre("(null)/velmo/jobid", "(null)/velmo/jobid_tmp"));
  EXPECT_THAT(log.lines(), ElementsAre("Job ID file cannot be created!\n",
                                       "Errno: 2 Strerror: No such file or directory\n"));
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, DataIsReadAtEveryCall) {
  EXPECT_EQ("J0", creator.generateJobID());
  installation.directory.makeDirectory("other/velmo");
  installation.directory.writeFile("other/velmo/jobid", "41");
  installation.environment.set("DATA", installation.directory.path("other"));
  EXPECT_EQ("J42", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
}

TEST_F(JobIdentifierTest, CounterAndCopyAreOfOneDirectoryWhateverHappensDuringTheWait) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  platform().nanosleep.setFake([this](const timespec*, timespec*) {
    std::filesystem::remove(lockFile);
    installation.environment.set("DATA", installation.directory.path("missing"));
    return 0;
  });
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
}

// --- the lock of the job counter ---

TEST_F(JobIdentifierTest, StaleLockFileTimesOutAfter30SecondsOfPauses) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  long waitedMs = 0;
  platform().nanosleep.setFake([&waitedMs](const timespec* pause, timespec*) {
    waitedMs += pause->tv_nsec / 1000000;
    return 0;
  });
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_GE(waitedMs, 30000);
  EXPECT_LT(waitedMs, 30989);
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("CreateTaskFile::generateJobID exception: Semaphore timed out")));
  EXPECT_TRUE(exists(lockFile)) << "the lock of somebody else is left alone";
}

TEST_F(JobIdentifierTest, SignalsThatInterruptEachPauseEndTheWaitLongBefore30Seconds) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  int pauses = 0;
  platform().nanosleep.setFake([&pauses](const timespec* pause, timespec*) {
    EXPECT_LT(pause->tv_nsec, 1000000000);
    ++pauses;
    errno = EINTR;  // at once: no time has gone by
    return -1;
  });
  platform().rand.setFake([] { return RAND_MAX; });  // 989 milliseconds each
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_EQ(31, pauses);
  EXPECT_THAT(log.lines(),
              ElementsAre("CreateTaskFile::generateJobID exception: Semaphore timed out"));
}

TEST_F(JobIdentifierTest, LockThatIsReleasedInTimeIsWaitedFor) {
  installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  platform().nanosleep.setFake([this](const timespec*, timespec*) {
    std::filesystem::remove(lockFile);
    return 0;
  });
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_THAT(log.cycles(), IsEmpty());
}

TEST_F(JobIdentifierTest, MissingLockDirectoryIsLoggedWithoutWaiting) {
  installation.environment.set("LOCK_VAR", installation.directory.path("missing"));
  EXPECT_EQ("", creator.generateJobID());
  EXPECT_THAT(
      log.cycles(),
      ElementsAre(line("CreateTaskFile::generateJobID exception: Creating semaphore failed: "
                       "velmo_jobid [No such file or directory]")));
  EXPECT_FALSE(exists(installation.directory.path("data/velmo/jobid")));
}

TEST_F(JobIdentifierTest, LockFileThatCannotBeRemovedEndsTheProcess) {
  EXPECT_DEATH(
      {
        platform().unlink.setFake([](const char*) {
          errno = EACCES;
          return -1;
        });
        creator.generateJobID();
      },
      "terminate called after throwing an instance of 'brix::imutils::IMIOException'");
}

TEST_F(JobIdentifierTest, OtherExceptionsPassAndReleaseTheLock) {
  platform().fopen.setFake([](const char* path, const char* mode) -> FILE* {
    if (std::string(path).find("serverid.cfg") != std::string::npos) {
      throw std::bad_alloc();
    }
    return platform().fopen.real(path, mode);
  });
  EXPECT_THROW(creator.generateJobID(), std::bad_alloc);
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(JobIdentifierTest, LinesAreWrittenBeforeTheLockIsReleased) {
  installation.writeJobCounter("abc");
  platform().fopen.setFake([](const char* path, const char* mode) -> FILE* {
    if (std::string(path).find("serverid.cfg") != std::string::npos) {
      throw IMIOException(5, "no");
    }
    return platform().fopen.real(path, mode);
  });
  std::vector<std::string> linesBefore;
  platform().unlink.setFake([&](const char* path) {
    linesBefore = log.lines();
    return platform().unlink.real(path);
  });
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_THAT(linesBefore, ElementsAre("Job ID file cannot be parsed\n",
                                       "Exception at adding servername: no\n"));
}

// --- the server identity ---

TEST_F(JobIdentifierTest, ServerIdentityIsPutInFront) {
  installation.writeServerIdentity("OTHER=x\nSELF_SERVER_ID=node2\n");
  EXPECT_EQ("node2-J0", creator.generateJobID());
  EXPECT_EQ("0", installation.jobCounter());
}

TEST_F(JobIdentifierTest, EmptyServerIdentityIsStillPutInFront) {
  installation.writeServerIdentity("SELF_SERVER_ID=\n");
  EXPECT_EQ("-J0", creator.generateJobID());
}

TEST_F(JobIdentifierTest, ServerIdentityIsReadAtEveryCall) {
  installation.writeServerIdentity("SELF_SERVER_ID=node2\n");
  EXPECT_EQ("node2-J0", creator.generateJobID());
  installation.writeServerIdentity("SELF_SERVER_ID=node3\n");
  EXPECT_EQ("node3-J1", creator.generateJobID());
  installation.environment.set("CONF", installation.directory.path("missing"));
  EXPECT_EQ("J2", creator.generateJobID());
}

TEST_F(JobIdentifierTest, UnsetConfGivesNoPrefix) {
  installation.writeServerIdentity("SELF_SERVER_ID=node2\n");
  installation.environment.unset("CONF");
  EXPECT_EQ("J0", creator.generateJobID());
}

TEST_F(JobIdentifierTest, ExceptionFromTheServerIdentityIsLoggedAndThePrefixLeftOut) {
  platform().fopen.setFake([](const char* path, const char* mode) -> FILE* {
    if (std::string(path).find("serverid.cfg") != std::string::npos) {
      throw IMIOException(5, "no reading today");
    }
    return platform().fopen.real(path, mode);
  });
  EXPECT_EQ("J0", creator.generateJobID());
  EXPECT_THAT(log.cycles(),
              ElementsAre(line("Exception at adding servername: no reading today\n")));
  EXPECT_EQ("0", installation.jobCounter());
  EXPECT_FALSE(exists(lockFile));
}

// --- the free function ---

TEST_F(JobIdentifierTest, FreeFunctionReturnsAnArrayOfTheCaller) {
  installation.writeServerIdentity("SELF_SERVER_ID=node2\n");
  const std::unique_ptr<char[]> id(generateJobID());
  EXPECT_STREQ("node2-J0", id.get());
}

TEST_F(JobIdentifierTest, FreeFunctionReturnsAnEmptyTextOnFailure) {
  installation.environment.set("LOCK_VAR", installation.directory.path("missing"));
  const std::unique_ptr<char[]> id(generateJobID());
  ASSERT_NE(nullptr, id);
  EXPECT_STREQ("", id.get());
}

}  // namespace
