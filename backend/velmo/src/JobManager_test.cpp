#include "JobManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "JobManagerTest.h"
#include "PlatformCalls.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::JobManagerTest;
using velmo::test::MovedClock;
using velmo::test::namesIn;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::StubGetter;
using velmo::test::TaskInstallation;
using velmo::test::TemporaryDirectory;

char* newText(const std::string& text) {
  char* copy = new char[text.size() + 1];
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

// --- JobInfo ---

class JobInfoTest : public testing::Test {
 protected:
  const TemporaryDirectory directory;
  const std::string file = directory.path("job");
  const FakeScope fakes;
  const MovedClock clock{1741007469};
};

TEST_F(JobInfoTest, TakesItsValuesAndTheTime) {
  const JobInfo job(file, "J17", "u", "n", 50);
  EXPECT_EQ("J17", job.m_id);
  EXPECT_EQ("u", job.m_user);
  EXPECT_EQ("n", job.m_name);
  EXPECT_EQ("#1USE=u#1JNA=n", job.m_jobInfo);
  EXPECT_EQ(50, job.m_priority);
  EXPECT_EQ(file, job.m_fileName);
  EXPECT_EQ(1741007469, job.m_lastUsed);
  EXPECT_FALSE(exists(file));
}

TEST_F(JobInfoTest, JobInformationLeavesOutWhatIsEmpty) {
  EXPECT_EQ("#1USE=u#1JNA=n", JobInfo(file, "J1", "u", "n", 0).m_jobInfo);
  EXPECT_EQ("#1USE=u", JobInfo(file, "J1", "u", "", 0).m_jobInfo);
  EXPECT_EQ("#1JNA=n", JobInfo(file, "J1", "", "n", 0).m_jobInfo);
  EXPECT_EQ("", JobInfo(file, "J1", "", "", 0).m_jobInfo);
}

TEST_F(JobInfoTest, JobInformationTakesTheTextsAsTheyAre) {
  EXPECT_EQ("#1USE=#1JNA=#1JNA=\n\"", JobInfo(file, "J1", "#1JNA=", "\n\"", 0).m_jobInfo);
}

TEST_F(JobInfoTest, FileHasALineForEachFieldInOrder) {
  JobInfo(file, "node2-J17", "some user", "nightly", 50).createFile();
  EXPECT_EQ("id=\"node2-J17\"\nuser=\"some user\"\nname=\"nightly\"\npriority=\"50\"\n",
            readFile(file));
}

TEST_F(JobInfoTest, FileThatExistsStaysAsItIs) {
  directory.writeFile("job", "anything");
  JobInfo(file, "J1", "", "", 0).createFile();
  EXPECT_EQ("anything", readFile(file));
}

TEST_F(JobInfoTest, CopyIsIndependent) {
  const JobInfo job(file, "J17", "u", "n", 50);
  JobInfo copy = job;
  copy.m_id = "other";
  EXPECT_EQ("J17", job.m_id);
  EXPECT_EQ("n", copy.m_name);
}

// --- JobManager ---

class ThrowingGetter : public JobPropertyGetter {
 public:
  int getPriority() override {
    throw std::domain_error("no priority today");
  }
};

TEST_F(JobManagerTest, InterfaceIsAsCallersRelyOnIt) {
  EXPECT_TRUE(std::is_abstract_v<JobPropertyGetter>);
  EXPECT_TRUE(std::has_virtual_destructor_v<JobPropertyGetter>);
  EXPECT_FALSE(std::is_polymorphic_v<JobInfo>);
  EXPECT_FALSE(std::is_polymorphic_v<JobManager>);
  EXPECT_FALSE(std::is_copy_constructible_v<JobManager>);
  EXPECT_FALSE(std::is_copy_assignable_v<JobManager>);
}

TEST_F(JobManagerTest, BuildingAndDestroyingTouchesNoFile) {
  std::filesystem::remove(jobDir);
  {
    const JobManager jobs = manager();
    EXPECT_FALSE(exists(jobDir));
  }
  EXPECT_FALSE(exists(jobDir));
  EXPECT_EQ(0, getter.asked());
}

TEST_F(JobManagerTest, DestroyingLeavesTheJobFiles) {
  {
    JobManager jobs = manager();
    jobs.findJobInfo("a");
    clock.advance(1000);
  }
  EXPECT_EQ(newFile("J0"), contentsOf("a"));
  EXPECT_EQ(kNow, timeOf("a"));
}

TEST_F(JobManagerTest, PropertyGetterStaysTheCallers) {
  auto* const own = new StubGetter(5);
  {
    JobManager jobs(jobDir, 10, 0, "", "", own);
    EXPECT_EQ(5, jobs.findJobInfo("a")->m_priority);
  }
  EXPECT_EQ(5, own->getPriority());
  delete own;
}

TEST_F(JobManagerTest, NothingIsWrittenToTheSystemLog) {
  JobManager jobs = manager(1);
  jobs.findJobInfo("a");
  jobs.findJobInfo("b");
  jobs.findJobInfo("missing/c");
  jobs.addJob("d", "J1");
  EXPECT_THAT(log.cycles(), IsEmpty());
}

// --- createJob ---

class JobManagerCreateTest : public JobManagerTest {};

TEST_F(JobManagerCreateTest, NewJobHasTheManagersUserAndNameAndTheGettersPriority) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.createJob(path("file"), "key");
  ASSERT_NE(nullptr, job);
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("u", job->m_user);
  EXPECT_EQ("n", job->m_name);
  EXPECT_EQ("#1USE=u#1JNA=n", job->m_jobInfo);
  EXPECT_EQ(7, job->m_priority);
  EXPECT_EQ(path("file"), job->m_fileName);
  EXPECT_EQ(kNow, job->m_lastUsed);
  EXPECT_EQ(newFile("J0"), contentsOf("file"));
  EXPECT_EQ(1, getter.asked());
}

TEST_F(JobManagerCreateTest, WithoutAGetterThePriorityIs0) {
  JobManager jobs(jobDir, 10, 0, "", "", nullptr);
  const JobInfo* job = jobs.createJob(path("file"), "key");
  EXPECT_EQ(0, job->m_priority);
  EXPECT_EQ("", job->m_jobInfo);
  EXPECT_EQ("id=\"J0\"\npriority=\"0\"\n", contentsOf("file"));
}

TEST_F(JobManagerCreateTest, EachJobHasANewIdentifier) {
  JobManager jobs = manager();
  EXPECT_EQ("J0", jobs.createJob(path("a"), "a")->m_id);
  EXPECT_EQ("J1", jobs.createJob(path("b"), "b")->m_id);
  EXPECT_EQ(2, getter.asked());
}

TEST_F(JobManagerCreateTest, KeyThatIsTakenGivesNullAndUsesUpAnIdentifier) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.createJob(path("a"), "key");
  EXPECT_EQ(nullptr, jobs.createJob(path("b"), "key"));
  EXPECT_EQ(2, getter.asked());
  EXPECT_EQ("1", drawn());
  EXPECT_FALSE(hasFile("b"));
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ(job, jobs.findJobInfo("key"));
}

TEST_F(JobManagerCreateTest, IdentifierIsGeneratedBeforeTheGetterIsAsked) {
  class Watch : public JobPropertyGetter {
   public:
    explicit Watch(const TaskInstallation& watched) : m_watched(watched) {}
    int getPriority() override {
      EXPECT_EQ("0", m_watched.jobCounter());
      return 1;
    }

   private:
    const TaskInstallation& m_watched;
  };
  Watch watch(installation);
  JobManager jobs(jobDir, 10, 0, "", "", &watch);
  EXPECT_EQ(1, jobs.createJob(path("a"), "a")->m_priority);
}

TEST_F(JobManagerCreateTest, GetterThatRegistersTheKeyItselfLeavesNullForTheOuterCall) {
  class Registers : public JobPropertyGetter {
   public:
    int getPriority() override {
      if (std::exchange(m_inside, true)) {
        return 1;
      }
      m_job = m_jobs->findJobInfo("a");
      return 2;
    }
    JobManager* m_jobs = nullptr;
    JobInfo* m_job = nullptr;

   private:
    bool m_inside = false;
  };
  Registers registers;
  JobManager jobs(jobDir, 10, 0, "", "", &registers);
  registers.m_jobs = &jobs;
  EXPECT_EQ(nullptr, jobs.findJobInfo("a"));
  EXPECT_EQ("id=\"J1\"\npriority=\"1\"\n", contentsOf("a"));
  EXPECT_EQ(registers.m_job, jobs.findJobInfo("a"));
}

TEST_F(JobManagerCreateTest, GetterThatThrowsLeavesTheRegistryUnchanged) {
  ThrowingGetter throwing;
  JobManager jobs(jobDir, 10, 0, "", "", &throwing);
  EXPECT_THROW(jobs.createJob(path("a"), "a"), std::domain_error);
  EXPECT_THAT(namesIn(jobDir), IsEmpty());
  EXPECT_EQ("0", drawn());
  writeJob("a", "id=\"x\"\n");
  EXPECT_NE(nullptr, jobs.readJobFile(path("a"), "a")) << "the key is still free";
}

TEST_F(JobManagerCreateTest, GetterThatThrowsKeepsTheJobsThatAreHeld) {
  ThrowingGetter throwing;
  JobManager jobs(jobDir, 10, 0, "", "", &throwing);
  writeJob("a", "id=\"x\"\n");
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_THROW(jobs.findJobInfo("b"), std::domain_error);
  EXPECT_THROW(jobs.createJob(path("a"), "a"), std::domain_error);
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_THAT(namesIn(jobDir), ElementsAre("a"));
}

TEST_F(JobManagerCreateTest, IdentifierThatThrowsLeavesTheRegistryUnchanged) {
  JobManager jobs = manager();
  platform().generateJobID.setFake([]() -> char* { throw std::bad_alloc(); });
  EXPECT_THROW(jobs.createJob(path("a"), "a"), std::bad_alloc);
  EXPECT_EQ(0, getter.asked());
  EXPECT_THAT(namesIn(jobDir), IsEmpty());
  platform().generateJobID.setFake(nullptr);
  EXPECT_NE(nullptr, jobs.createJob(path("a"), "a"));
}

TEST_F(JobManagerCreateTest, NoIdentifierAtAllCountsAsAnEmptyOne) {
  JobManager jobs = manager();
  platform().generateJobID.setFake([]() -> char* { return nullptr; });
  EXPECT_EQ("", jobs.createJob(path("a"), "a")->m_id);
  EXPECT_EQ(newFile(""), contentsOf("a"));
}

TEST_F(JobManagerCreateTest, IdentifierThatCannotBeGeneratedIsEmpty) {
  std::filesystem::remove(installation.directory.path("data/velmo"));
  JobManager jobs = manager();
  EXPECT_EQ("", jobs.createJob(path("a"), "a")->m_id);
  EXPECT_EQ(newFile(""), contentsOf("a"));
  EXPECT_THAT(log.lines(), ElementsAre("Job ID file cannot be created!\n",
                                       "Errno: 2 Strerror: No such file or directory\n"));
}

TEST_F(JobManagerCreateTest, JobIsReturnedAlthoughItsFileExistsAlready) {
  writeJob("a", "id=\"x\"\n");
  JobManager jobs = manager();
  const JobInfo* job = jobs.createJob(path("a"), "a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("id=\"x\"\n", contentsOf("a"));
  EXPECT_EQ(job, jobs.findJobInfo("a"));
}

TEST_F(JobManagerCreateTest, JobIsReturnedAlthoughItsFileCannotBeCreated) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.createJob(path("missing/a"), "a");
  ASSERT_NE(nullptr, job);
  EXPECT_EQ("J0", job->m_id);
  EXPECT_THAT(namesIn(jobDir), IsEmpty());
  EXPECT_EQ(job, jobs.findJobInfo("a"));
}

TEST_F(JobManagerCreateTest, NeitherMakesRoomNorLooksAtAnyAge) {
  recordStats();
  JobManager jobs = manager(1);
  const JobInfo* first = jobs.createJob(path("a"), "a");
  const JobInfo* second = jobs.createJob(path("b"), "b");
  EXPECT_THAT(statted, IsEmpty());
  EXPECT_EQ(first, jobs.findJobInfo("a"));
  EXPECT_EQ(second, jobs.findJobInfo("b"));
}

// --- readJobFile ---

class JobManagerReadTest : public JobManagerTest {};

TEST_F(JobManagerReadTest, JobHasWhatItsFileSays) {
  writeJob("file", "id=\"x1\"\nuser=\"other\"\nname=\"work\"\npriority=\"50\"\n", 30);
  JobManager jobs = manager();
  const JobInfo* job = jobs.readJobFile(path("file"), "key");
  ASSERT_NE(nullptr, job);
  EXPECT_EQ("x1", job->m_id);
  EXPECT_EQ("other", job->m_user);
  EXPECT_EQ("work", job->m_name);
  EXPECT_EQ("#1USE=other#1JNA=work", job->m_jobInfo);
  EXPECT_EQ(50, job->m_priority);
  EXPECT_EQ(path("file"), job->m_fileName);
  EXPECT_EQ(kNow, job->m_lastUsed);
}

TEST_F(JobManagerReadTest, WhatTheFileLeavesOutIsEmptyAndNotTheManagers) {
  writeJob("a", "id=\"x1\"\n");
  JobManager jobs = manager();
  const JobInfo* job = jobs.readJobFile(path("a"), "a");
  EXPECT_EQ("", job->m_user);
  EXPECT_EQ("", job->m_name);
  EXPECT_EQ("", job->m_jobInfo);
  EXPECT_EQ(0, job->m_priority);
  EXPECT_EQ(0, getter.asked());
}

TEST_F(JobManagerReadTest, FileIsMarkedAsUsedNowAndKeepsItsContents) {
  writeJob("a", "id=\"x1\"\n", 30);
  JobManager jobs = manager();
  jobs.readJobFile(path("a"), "a");
  EXPECT_EQ(kNow, timeOf("a"));
  EXPECT_EQ("id=\"x1\"\n", contentsOf("a"));
}

TEST_F(JobManagerReadTest, FileIsOpenedForReadingAndClosedBeforeTheJobIsMade) {
  writeJob("a", "priority=\"1\"\n");
  std::vector<std::string> modes;
  platform().fopen.setFake([&modes](const char* file, const char* mode) {
    modes.emplace_back(mode);
    return platform().fopen.real(file, mode);
  });
  const std::size_t before = openDescriptors();
  platform().generateJobID.setFake([before] {
    EXPECT_EQ(before, openDescriptors());
    return newText("J9");
  });
  JobManager jobs = manager();
  EXPECT_EQ("J9", jobs.readJobFile(path("a"), "a")->m_id);
  EXPECT_THAT(modes, ElementsAre("r"));
}

TEST_F(JobManagerReadTest, FileWithAnIdentifierUsesNoneUp) {
  writeJob("a", "id=\"x1\"\n");
  JobManager jobs = manager();
  jobs.readJobFile(path("a"), "a");
  EXPECT_FALSE(exists(installation.directory.path("data/velmo/jobid")));
}

TEST_F(JobManagerReadTest, FileWithoutAnIdentifierGetsANewOneInMemoryOnly) {
  writeJob("a", "user=\"other\"\npriority=\"3\"\n", 30);
  JobManager jobs = manager();
  const JobInfo* job = jobs.readJobFile(path("a"), "a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("other", job->m_user);
  EXPECT_EQ(3, job->m_priority);
  EXPECT_EQ("user=\"other\"\npriority=\"3\"\n", contentsOf("a"));
  EXPECT_EQ(0, getter.asked());
}

TEST_F(JobManagerReadTest, NoNewIdentifierAtAllStaysEmpty) {
  writeJob("a", "user=\"other\"\n");
  JobManager jobs = manager();
  platform().generateJobID.setFake([]() -> char* { return nullptr; });
  EXPECT_EQ("", jobs.readJobFile(path("a"), "a")->m_id);
}

TEST_F(JobManagerReadTest, IdentifierThatThrowsLeavesTheRegistryUnchanged) {
  writeJob("a", "user=\"other\"\n", 30);
  JobManager jobs = manager();
  platform().generateJobID.setFake([]() -> char* { throw std::bad_alloc(); });
  EXPECT_THROW(jobs.readJobFile(path("a"), "a"), std::bad_alloc);
  platform().generateJobID.setFake(nullptr);
  EXPECT_EQ(kNow - 30, timeOf("a"));
  EXPECT_NE(nullptr, jobs.readJobFile(path("a"), "a"));
}

TEST_F(JobManagerReadTest, FileThatCannotBeOpenedIsCreated) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.readJobFile(path("a"), "a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ(7, job->m_priority);
  EXPECT_EQ(newFile("J0"), contentsOf("a"));
}

TEST_F(JobManagerReadTest, FileThatCannotBeReadStaysAndTheJobIsNew) {
  writeJob("a", "id=\"x1\"\n", 30);
  platform().fopen.setFake([this](const char* file, const char* mode) -> FILE* {
    if (file == path("a") && std::string(mode) == "r") {
      errno = EACCES;
      return nullptr;
    }
    return platform().fopen.real(file, mode);
  });
  JobManager jobs = manager();
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ("id=\"x1\"\n", contentsOf("a"));
  EXPECT_EQ(kNow - 30, timeOf("a"));
}

TEST_F(JobManagerReadTest, KeyThatIsTakenGivesNullAndLeavesTheFilesTime) {
  writeJob("a", "id=\"x1\"\n");
  writeJob("b", "id=\"x2\"\n", 30);
  JobManager jobs = manager();
  const JobInfo* job = jobs.readJobFile(path("a"), "key");
  EXPECT_EQ(nullptr, jobs.readJobFile(path("b"), "key"));
  EXPECT_EQ(kNow - 30, timeOf("b"));
  EXPECT_EQ("x1", job->m_id);
  EXPECT_EQ(job, jobs.findJobInfo("key"));
}

TEST_F(JobManagerReadTest, KeyThatIsTakenUsesUpAnIdentifierWhereTheFileHasNone) {
  writeJob("b", "priority=\"1\"\n");
  JobManager jobs = manager();
  jobs.createJob(path("a"), "key");
  EXPECT_EQ(nullptr, jobs.readJobFile(path("b"), "key"));
  EXPECT_EQ("1", drawn());
}

TEST_F(JobManagerReadTest, NeitherMakesRoomNorLooksAtAnyAge) {
  writeJob("a", "id=\"x1\"\n", 10 * kMaxAge);
  writeJob("b", "id=\"x2\"\n", 10 * kMaxAge);
  recordStats();
  JobManager jobs = manager(1);
  const JobInfo* first = jobs.readJobFile(path("a"), "a");
  const JobInfo* second = jobs.readJobFile(path("b"), "b");
  EXPECT_THAT(statted, IsEmpty());
  EXPECT_EQ(first, jobs.findJobInfo("a"));
  EXPECT_EQ(second, jobs.findJobInfo("b"));
}

TEST_F(JobManagerReadTest, FileThatAManagerWroteReadsBack) {
  {
    JobManager jobs = manager();
    jobs.findJobInfo("a");
  }
  JobManager jobs(jobDir, 10, kMaxAge, "other", "other", nullptr);
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("u", job->m_user);
  EXPECT_EQ("n", job->m_name);
  EXPECT_EQ(7, job->m_priority);
}

// --- addJob ---

TEST_F(JobManagerTest, AddJobReplacesALinkToADirectory) {
  installation.directory.makeDirectory("jobs/real");
  std::filesystem::create_directory_symlink("real", path("a"));
  JobManager jobs = manager();
  jobs.addJob("a", "J99");
  EXPECT_EQ("id=\"J99\"\nuser=\"u\"\nname=\"n\"\npriority=\"0\"\n", contentsOf("a"));
  EXPECT_EQ("J99", jobs.findJobInfo("a")->m_id);
}

class JobManagerAddTest : public JobManagerTest {};

TEST_F(JobManagerAddTest, WithoutADirectoryOfTheKeysNameNoTraceIsLeft) {
  JobManager jobs = manager();
  jobs.addJob("a", "J99");
  EXPECT_THAT(namesIn(jobDir), IsEmpty());
}

TEST_F(JobManagerAddTest, WithADirectoryOfTheKeysNameTheTemporaryFileStaysInIt) {
  installation.directory.makeDirectory("jobs/a");
  JobManager jobs = manager();
  jobs.addJob("a", "J99");
  EXPECT_THAT(namesIn(jobDir), ElementsAre("a"));
  EXPECT_THAT(namesIn(path("a")), ElementsAre("a.tmp"));
  EXPECT_EQ("id=\"J99\"\nuser=\"u\"\nname=\"n\"\npriority=\"0\"\n", contentsOf("a/a.tmp"));
}

TEST_F(JobManagerAddTest, TemporaryFileThatIsThereStaysAsItIs) {
  installation.directory.makeDirectory("jobs/a");
  JobManager jobs = manager();
  jobs.addJob("a", "J99");
  jobs.addJob("a", "J100");
  EXPECT_THAT(contentsOf("a/a.tmp"), testing::StartsWith("id=\"J99\"\n"));
}

TEST_F(JobManagerAddTest, JobFileThatIsThereStaysAsItIs) {
  writeJob("a", "id=\"x\"\n", 30);
  JobManager jobs = manager();
  jobs.addJob("a", "J99");
  EXPECT_EQ("id=\"x\"\n", contentsOf("a"));
  EXPECT_EQ(kNow - 30, timeOf("a"));
}

TEST_F(JobManagerAddTest, TemporaryFileIsMovedOntoTheJobFileUnexamined) {
  std::vector<std::string> moves;
  platform().rename.setFake([&moves](const char* from, const char* to) {
    moves.push_back(std::string(from) + " to " + to);
    errno = EIO;
    return -1;
  });
  JobManager jobs = manager();
  jobs.addJob("a", "J99");
  jobs.addJob("b/c", "J99");
  EXPECT_THAT(moves, ElementsAre(path("a/a.tmp") + " to " + path("a"),
                                 path("b/c/b/c.tmp") + " to " + path("b/c")));
}

TEST_F(JobManagerAddTest, NeitherRegistersTheKeyNorAsksTheGetterNorGeneratesAnIdentifier) {
  JobManager jobs = manager();
  jobs.addJob("a", "J99");
  EXPECT_EQ(0, getter.asked());
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerAddTest, JobThatIsHeldStaysAsItIs) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  jobs.addJob("a", "J99");
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ(newFile("J0"), contentsOf("a"));
}

}  // namespace
