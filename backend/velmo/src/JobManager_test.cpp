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
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "CapturedLog.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::CapturedLog;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::fileTime;
using velmo::test::MovedClock;
using velmo::test::MovedFileTimes;
using velmo::test::namesIn;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::setFileTime;
using velmo::test::TaskInstallation;
using velmo::test::TemporaryDirectory;

constexpr time_t kNow = 1741007469;
constexpr long kMaxAge = 100;
constexpr time_t kEarliest = std::numeric_limits<time_t>::min();
constexpr time_t kLatest = std::numeric_limits<time_t>::max();

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
  const MovedClock clock{kNow};
};

TEST_F(JobInfoTest, TakesItsValuesAndTheTime) {
  const JobInfo job(file, "J17", "u", "n", 50);
  EXPECT_EQ("J17", job.m_id);
  EXPECT_EQ("u", job.m_user);
  EXPECT_EQ("n", job.m_name);
  EXPECT_EQ("#1USE=u#1JNA=n", job.m_jobInfo);
  EXPECT_EQ(50, job.m_priority);
  EXPECT_EQ(file, job.m_fileName);
  EXPECT_EQ(kNow, job.m_lastUsed);
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

TEST_F(JobInfoTest, EmptyUserAndNameHaveNoLine) {
  struct Row {
    std::string user;
    std::string name;
    std::string contents;
  };
  const std::vector<Row> rows{
      {"", "", "id=\"J1\"\npriority=\"0\"\n"},
      {"u", "", "id=\"J1\"\nuser=\"u\"\npriority=\"0\"\n"},
      {"", "n", "id=\"J1\"\nname=\"n\"\npriority=\"0\"\n"},
  };
  for (const Row& row : rows) {
    JobInfo(file, "J1", row.user, row.name, 0).createFile();
    EXPECT_EQ(row.contents, readFile(file));
    std::filesystem::remove(file);
  }
}

TEST_F(JobInfoTest, EmptyIdentifierHasItsLineAllTheSame) {
  JobInfo(file, "", "", "", INT_MIN).createFile();
  EXPECT_EQ("id=\"\"\npriority=\"-2147483648\"\n", readFile(file));
}

TEST_F(JobInfoTest, NothingInTheFileIsEscaped) {
  JobInfo(file, "a\"b", "%s\\n", "line\nid=\"x\"", 0).createFile();
  EXPECT_EQ("id=\"a\"b\"\nuser=\"%s\\n\"\nname=\"line\nid=\"x\"\"\npriority=\"0\"\n",
            readFile(file));
}

TEST_F(JobInfoTest, NulEndsATextInTheFile) {
  JobInfo(file, std::string("a\0b", 3), std::string("\0u", 2), "", 0).createFile();
  EXPECT_EQ("id=\"a\"\nuser=\"\"\npriority=\"0\"\n", readFile(file));
}

TEST_F(JobInfoTest, LongTextsAreWrittenWhole) {
  const std::string text(100000, 'x');
  JobInfo(file, text, "", "", 0).createFile();
  EXPECT_EQ("id=\"" + text + "\"\npriority=\"0\"\n", readFile(file));
}

TEST_F(JobInfoTest, FileIsOpenedExclusivelyAndClosed) {
  std::vector<std::string> modes;
  platform().fopen.setFake([&](const char* path, const char* mode) {
    EXPECT_EQ(file, path);
    modes.emplace_back(mode);
    return platform().fopen.real(path, mode);
  });
  const std::size_t before = openDescriptors();
  JobInfo(file, "J1", "", "", 0).createFile();
  EXPECT_THAT(modes, ElementsAre("wx"));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(JobInfoTest, FileIsForAllLessTheUmask) {
  for (const auto& [mask, mode] : {std::pair<mode_t, mode_t>{0, 0666}, {022, 0644}, {077, 0600}}) {
    const mode_t before = umask(mask);
    JobInfo(file, "J1", "", "", 0).createFile();
    umask(before);
    struct stat status {};
    ASSERT_EQ(0, stat(file.c_str(), &status));
    EXPECT_EQ(mode, status.st_mode & 07777U);
    std::filesystem::remove(file);
  }
}

TEST_F(JobInfoTest, FileThatExistsStaysAsItIs) {
  directory.writeFile("job", "anything");
  JobInfo(file, "J1", "", "", 0).createFile();
  EXPECT_EQ("anything", readFile(file));
}

TEST_F(JobInfoTest, DanglingLinkCountsAsAFileThatExists) {
  std::filesystem::create_symlink(directory.path("elsewhere"), file);
  JobInfo(file, "J1", "", "", 0).createFile();
  EXPECT_THAT(namesIn(directory.path()), ElementsAre("job"));
}

TEST_F(JobInfoTest, FileThatCannotBeCreatedLeavesNoTrace) {
  JobInfo(directory.path("missing/job"), "J1", "", "", 0).createFile();
  JobInfo("", "J1", "", "", 0).createFile();
  EXPECT_THAT(namesIn(directory.path()), IsEmpty());
}

TEST_F(JobInfoTest, FileThatCannotBeWrittenWholeStaysAsFarAsItWasWritten) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
  const rlimit small{6, limit.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  JobInfo(file, "J17", "", "", 50).createFile();
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ("id=\"J1", readFile(file));
}

TEST_F(JobInfoTest, CopyIsIndependent) {
  const JobInfo job(file, "J17", "u", "n", 50);
  JobInfo copy = job;
  copy.m_id = "other";
  EXPECT_EQ("J17", job.m_id);
  EXPECT_EQ("n", copy.m_name);
}

// --- JobManager ---

class StubGetter : public JobPropertyGetter {
 public:
  explicit StubGetter(int priority) : m_priority(priority) {}

  int getPriority() override {
    ++m_asked;
    return m_priority;
  }

  int asked() const {
    return m_asked;
  }

 private:
  int m_priority;
  int m_asked = 0;
};

class ThrowingGetter : public JobPropertyGetter {
 public:
  int getPriority() override {
    throw std::domain_error("no priority today");
  }
};

// A fresh installation: the first job identifier is J0.
class JobManagerTest : public testing::Test {
 protected:
  JobManagerTest() {
    installation.directory.makeDirectory("jobs");
  }

  // Of the user "u" and the name "n", with the priority 7.
  JobManager manager(unsigned long maxJobs = 10, long maxAge = kMaxAge) {
    return JobManager(jobDir, maxJobs, maxAge, "u", "n", &getter);
  }

  std::string path(const std::string& key) const {
    return jobDir + "/" + key;
  }

  // A job file that was last used `age` seconds ago.
  void writeJob(const std::string& key, const std::string& contents, time_t age = 0) const {
    installation.directory.writeFile("jobs/" + key, contents);
    setAge(key, age);
  }

  void setAge(const std::string& key, time_t age) const {
    setFileTime(path(key).c_str(), clock.now() - age);
  }

  time_t timeOf(const std::string& key) const {
    return fileTime(path(key).c_str());
  }

  bool hasFile(const std::string& key) const {
    return exists(path(key));
  }

  std::string contentsOf(const std::string& key) const {
    return readFile(path(key));
  }

  // The job counter's last number: how many identifiers were drawn.
  std::string drawn() const {
    return installation.jobCounter();
  }

  // What a new job's file holds.
  static std::string newFile(const std::string& id) {
    return "id=\"" + id + "\"\nuser=\"u\"\nname=\"n\"\npriority=\"7\"\n";
  }

  // The names of the files looked at from now on.
  void recordStats() {
    platform().stat.setFake([this](const char* file, struct stat* status) {
      statted.push_back(std::filesystem::path(file).filename().string());
      return platform().stat.real(file, status);
    });
  }

  // The paths removed from now on, those of other units' files included.
  void recordUnlinks() {
    platform().unlink.setFake([this](const char* file) {
      unlinked.emplace_back(file);
      return platform().unlink.real(file);
    });
  }

  TaskInstallation installation;
  const std::string jobDir = installation.directory.path("jobs");
  FakeScope fakes;
  CapturedLog log;
  MovedClock clock{kNow};
  MovedFileTimes fileTimes{clock};
  StubGetter getter{7};
  std::vector<std::string> statted;
  std::vector<std::string> unlinked;
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

TEST_F(JobManagerCreateTest, IdentifierIsDrawnBeforeTheGetterIsAsked) {
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

TEST_F(JobManagerCreateTest, IdentifierThatCannotBeHadIsEmpty) {
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

TEST_F(JobManagerReadTest, FieldWithoutAValueTakesTheLastOneBeforeItInTheFile) {
  struct Row {
    std::string contents;
    std::string id;
    std::string user;
    std::string name;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"id=\"x\"\nuser=\"\"\n", "x", "x", "", "the identifier becomes the user"},
      {"user=\"\"\nid=\"x\"\n", "x", "", "", "nothing was there before"},
      {"id=\"x\"\nuser=\"v\"\nname=\"\"\n", "x", "v", "v", "the user becomes the name"},
      {"name=\"w\"\nid=\"\"\n", "w", "", "w", "the name becomes the identifier"},
      {"id=\"x\"\npriority=\"1\"\n name=\"w\"\nuser=\"=\"\n", "x", "x", "", "past other lines"},
  };
  for (const Row& row : rows) {
    writeJob("a", row.contents);
    JobManager jobs = manager();
    const JobInfo* job = jobs.readJobFile(path("a"), "a");
    EXPECT_EQ(row.id, job->m_id) << row.reason;
    EXPECT_EQ(row.user, job->m_user) << row.reason;
    EXPECT_EQ(row.name, job->m_name) << row.reason;
  }
}

TEST_F(JobManagerReadTest, CarryOverDoesNotReachTheNextFile) {
  writeJob("a", "id=\"x\"\nuser=\"v\"\n");
  writeJob("b", "user=\"\"\nid=\"y\"\n");
  JobManager jobs = manager();
  jobs.readJobFile(path("a"), "a");
  EXPECT_EQ("", jobs.readJobFile(path("b"), "b")->m_user);
}

TEST_F(JobManagerReadTest, PieceOf255CharactersOfALongLineCountsAsALine) {
  struct Row {
    std::string contents;
    std::string id;
    std::string reason;
  };
  const std::vector<Row> rows{
      {std::string(255, '#') + "id=\"x\"\n", "x", "the second piece begins with the key"},
      {std::string(254, '#') + "id=\"x\"\n", "J0", "one short: the key is cut"},
      {std::string(256, '#') + "id=\"x\"\n", "J0", "one more: something stands before the key"},
      {std::string(510, '#') + "id=\"x\"\n", "x", "the third piece"},
      {std::string(254, '#') + "\nid=\"x\"\n", "x", "254 characters and a line end are one piece"},
      {std::string(255, '#') + "\nid=\"x\"\n", "x", "the line end alone is a piece"},
      {"id=\"" + std::string(300, 'x') + "\"\n", std::string(251, 'x'),
       "a value is cut with its piece"},
      {"id=\"" + std::string(251, 'x') + "id=\"y\"\n", "y", "and the next piece may replace it"},
  };
  for (const Row& row : rows) {
    std::filesystem::remove(installation.directory.path("data/velmo/jobid"));
    writeJob("a", row.contents);
    JobManager jobs = manager();
    EXPECT_EQ(row.id, jobs.readJobFile(path("a"), "a")->m_id) << row.reason;
  }
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

// --- findJobInfo: a job in memory ---

class JobManagerFindTest : public JobManagerTest {};

TEST_F(JobManagerFindTest, FirstLookUpCreatesTheJobAndItsFile) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  ASSERT_NE(nullptr, job);
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ(path("a"), job->m_fileName);
  EXPECT_EQ(newFile("J0"), contentsOf("a"));
}

TEST_F(JobManagerFindTest, WithoutUserAndNameTheFileHasTwoLines) {
  JobManager jobs(jobDir, 10, 0, "", "", &getter);
  EXPECT_EQ("", jobs.findJobInfo("a")->m_jobInfo);
  EXPECT_EQ("id=\"J0\"\npriority=\"7\"\n", contentsOf("a"));
}

TEST_F(JobManagerFindTest, SecondLookUpReturnsTheSameObjectAndMarksItsUse) {
  for (const long maxAge : {0L, kMaxAge}) {
    JobManager jobs = manager(10, maxAge);
    const JobInfo* job = jobs.findJobInfo("a");
    clock.advance(30);
    EXPECT_EQ(job, jobs.findJobInfo("a"));
    EXPECT_EQ(clock.now(), job->m_lastUsed);
    EXPECT_EQ(clock.now(), timeOf("a"));
  }
  EXPECT_EQ(1, getter.asked());
}

TEST_F(JobManagerFindTest, UseIsMarkedWithTheKernelsNow) {
  JobManager jobs = manager();
  jobs.findJobInfo("a");
  std::vector<std::string> touched;
  platform().utime.setFake([&touched](const char* file, const utimbuf* times) {
    touched.emplace_back(file);
    EXPECT_EQ(nullptr, times);
    errno = EACCES;
    return -1;  // which is nobody's concern
  });
  EXPECT_NE(nullptr, jobs.findJobInfo("a"));
  EXPECT_THAT(touched, ElementsAre(path("a")));
}

TEST_F(JobManagerFindTest, WithoutAMaximumAgeAHitLooksAtNoFile) {
  JobManager jobs = manager(10, 0);
  const JobInfo* job = jobs.findJobInfo("a");
  recordStats();
  clock.advance(LONG_MAX / 2);
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_THAT(statted, IsEmpty());
}

TEST_F(JobManagerFindTest, WithAMaximumAgeAHitLooksAtItsFileOnce) {
  JobManager jobs = manager();
  jobs.findJobInfo("a");
  jobs.findJobInfo("b");
  recordStats();
  jobs.findJobInfo("a");
  EXPECT_THAT(statted, ElementsAre("a"));
}

TEST_F(JobManagerFindTest, HitOfAJobWhoseFileIsGoneDoesNotBringItBack) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  std::filesystem::remove(path("a"));
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_FALSE(hasFile("a"));
}

TEST_F(JobManagerFindTest, HitKeepsTheFilesContents) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  writeJob("a", "id=\"x\"\n");
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("id=\"x\"\n", contentsOf("a"));
}

// The job's file lies elsewhere, so that what becomes of the key's own file does not matter.
TEST_F(JobManagerFindTest, JobInMemoryExpiresAtTheMaximumAgeAndKeepsItsFile) {
  for (const auto& [age, expires] :
       {std::pair<time_t, bool>{kMaxAge - 1, false}, {kMaxAge, true}, {kMaxAge + 1, true}}) {
    JobManager jobs = manager();
    jobs.createJob(path("elsewhere"), "a");
    setAge("elsewhere", age);
    EXPECT_EQ(expires ? path("a") : path("elsewhere"), jobs.findJobInfo("a")->m_fileName) << age;
    EXPECT_EQ(expires ? clock.now() - age : clock.now(), timeOf("elsewhere"));
    EXPECT_EQ(expires, hasFile("a"));
    std::filesystem::remove(path("a"));
    std::filesystem::remove(path("elsewhere"));
  }
}

TEST_F(JobManagerFindTest, ExpiryFollowsTheFilesTimeNotTheMemorys) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  clock.advance(5 * kMaxAge);
  setAge("a", kMaxAge - 1);  // another process has used it
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  setAge("a", kMaxAge);
  EXPECT_EQ("J1", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerFindTest, JobWhoseFileCannotBeLookedAtExpiresByTheMemorysTime) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  std::filesystem::remove(path("a"));
  clock.advance(kMaxAge - 1);
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  clock.advance(kMaxAge);
  EXPECT_EQ("J1", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ(newFile("J1"), contentsOf("a"));
}

TEST_F(JobManagerFindTest, ExpiredJobWhoseFileIsFreshAgainIsReadFromIt) {
  JobManager jobs = manager();
  jobs.createJob(path("elsewhere"), "a");
  setAge("elsewhere", kMaxAge);
  writeJob("a", "id=\"x\"\n", kMaxAge - 1);
  EXPECT_EQ("x", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerFindTest, ExpiredJobMakesRoomForItself) {
  JobManager jobs = manager(2);
  jobs.findJobInfo("a");
  const JobInfo* other = jobs.findJobInfo("b");
  setAge("a", kMaxAge);
  setAge("b", 10);
  EXPECT_EQ("J2", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ(other, jobs.findJobInfo("b"));
}

TEST_F(JobManagerFindTest, HitNeverEvicts) {
  JobManager jobs = manager(1);
  std::vector<JobInfo*> held;
  for (const std::string key : {"a", "b", "c"}) {
    held.push_back(jobs.createJob(path(key), key));
  }
  EXPECT_EQ(held[2], jobs.findJobInfo("c"));
  EXPECT_EQ(held[1], jobs.findJobInfo("b"));
  EXPECT_EQ(held[0], jobs.findJobInfo("a"));
}

TEST_F(JobManagerFindTest, AgesAreThoseAtTheStartOfTheCallAndTheUseIsThatAtItsEnd) {
  JobManager jobs = manager(1);
  jobs.findJobInfo("held");
  setAge("held", kMaxAge);
  writeJob("a", "id=\"x\"\n", kMaxAge - 1);
  platform().stat.setFake([this](const char* file, struct stat* status) {
    clock.advance(10);  // a slow disk
    return platform().stat.real(file, status);
  });
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_TRUE(hasFile("held"));
  EXPECT_EQ("x", job->m_id);
  EXPECT_EQ(clock.now(), job->m_lastUsed);
  EXPECT_EQ(clock.now(), timeOf("a"));
}

TEST_F(JobManagerFindTest, KeyMayBeATextOfTheJobThatGoes) {
  JobManager jobs = manager(1);
  JobInfo* job = jobs.findJobInfo("a");
  job->m_name = std::string(100, 'b');
  EXPECT_EQ(path(std::string(100, 'b')), jobs.findJobInfo(job->m_name)->m_fileName) << "evicted";

  job = jobs.createJob(path("elsewhere"), "c");
  job->m_user = "c";
  setAge("elsewhere", kMaxAge);
  EXPECT_EQ(path("c"), jobs.findJobInfo(job->m_user)->m_fileName) << "expired";
}

// --- findJobInfo: the file ---

TEST_F(JobManagerFindTest, JobFileIsStaleAtTheMaximumAgeAndReplaced) {
  for (const auto& [age, stale] :
       {std::pair<time_t, bool>{kMaxAge - 1, false}, {kMaxAge, true}, {kMaxAge + 1, true}}) {
    std::filesystem::remove(installation.directory.path("data/velmo/jobid"));
    writeJob("a", "id=\"x\"\n", age);
    JobManager jobs = manager();
    EXPECT_EQ(stale ? "J0" : "x", jobs.findJobInfo("a")->m_id) << age;
    EXPECT_EQ(stale ? newFile("J0") : "id=\"x\"\n", contentsOf("a")) << age;
    EXPECT_EQ(kNow, timeOf("a"));
  }
}

TEST_F(JobManagerFindTest, WithoutAMaximumAgeNoFileIsStale) {
  writeJob("a", "id=\"x\"\n", kNow);
  JobManager jobs = manager(10, 0);
  EXPECT_EQ("x", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ(kNow, timeOf("a"));
}

TEST_F(JobManagerFindTest, FileOfTheFutureIsFresh) {
  writeJob("a", "id=\"x\"\n", -1000);
  JobManager jobs = manager();
  EXPECT_EQ("x", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ(kNow, timeOf("a"));
}

TEST_F(JobManagerFindTest, StaleFileThatCannotBeRemovedStaysAndTheJobIsNew) {
  writeJob("a", "id=\"x\"\n", kMaxAge);
  platform().unlink.setFake([this](const char* file) {
    if (file == path("a")) {
      errno = EACCES;
      return -1;
    }
    return platform().unlink.real(file);
  });
  JobManager jobs = manager();
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ("id=\"x\"\n", contentsOf("a"));
  EXPECT_EQ(kNow - kMaxAge, timeOf("a"));
}

TEST_F(JobManagerFindTest, SecondConstructorLooksBelowTheRootDirectory) {
  const std::string key = path("a").substr(1);
  {
    JobManager jobs(10, 0, "u", "n", &getter);
    EXPECT_EQ(path("a"), jobs.findJobInfo(key)->m_fileName);
  }
  EXPECT_EQ(newFile("J0"), contentsOf("a"));
  JobManager jobs(10, 0, "", "", nullptr);
  EXPECT_EQ("J0", jobs.findJobInfo(key)->m_id);
}

TEST_F(JobManagerFindTest, TwoManagersOverOneDirectoryFindTheSameIdentifier) {
  JobManager first = manager();
  JobManager second = manager();
  EXPECT_EQ("J0", first.findJobInfo("a")->m_id);
  EXPECT_EQ("J0", second.findJobInfo("a")->m_id);
}

TEST_F(JobManagerFindTest, LoserOfARaceKeepsItsIdentifierUntilItDropsTheJob) {
  JobManager jobs = manager(1);
  platform().stat.setFake([this](const char* file, struct stat* status) {
    const int result = platform().stat.real(file, status);
    if (result != 0 && file == path("a")) {
      writeJob("a", "id=\"theirs\"\n");  // right after the look
    }
    return result;
  });
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ("id=\"theirs\"\n", contentsOf("a"));
  jobs.findJobInfo("b");
  EXPECT_EQ("theirs", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerFindTest, FileThatGoesBetweenTheLookAndTheReadingIsCreated) {
  writeJob("a", "id=\"x\"\n");
  platform().stat.setFake([](const char* file, struct stat* status) {
    const int result = platform().stat.real(file, status);
    platform().unlink.real(file);
    return result;
  });
  JobManager jobs = manager();
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ(newFile("J0"), contentsOf("a"));
}

// --- findJobInfo: the sweep ---

class JobManagerSweepTest : public JobManagerTest {};

// "b" is younger, so "a" is the one that eviction would take: only its file tells the two apart.
TEST_F(JobManagerSweepTest, OnlyJobsStrictlyOlderThanTheMaximumAgeLoseTheirFiles) {
  for (const auto& [age, swept] :
       {std::pair<time_t, bool>{kMaxAge - 1, false}, {kMaxAge, false}, {kMaxAge + 1, true}}) {
    JobManager jobs = manager(2);
    jobs.findJobInfo("a");
    const JobInfo* young = jobs.findJobInfo("b");
    setAge("a", age);
    setAge("b", 1);
    jobs.findJobInfo("c");
    EXPECT_EQ(!swept, hasFile("a")) << age;
    EXPECT_EQ(young, jobs.findJobInfo("b"));
  }
}

TEST_F(JobManagerSweepTest, EveryOldJobGoesEvenIfOneWouldDo) {
  JobManager jobs = manager(4);
  for (const std::string key : {"a", "b", "c", "d"}) {
    jobs.findJobInfo(key);
    setAge(key, key == "c" ? kMaxAge : kMaxAge + 1);
  }
  jobs.findJobInfo("e");
  EXPECT_THAT(namesIn(jobDir), ElementsAre("c", "e"));
}

TEST_F(JobManagerSweepTest, RoomThatTheSweepMadeSparesTheOthers) {
  JobManager jobs = manager(2);
  jobs.findJobInfo("a");
  const JobInfo* kept = jobs.findJobInfo("b");
  setAge("a", kMaxAge + 1);
  setAge("b", kMaxAge - 1);
  recordStats();
  jobs.findJobInfo("c");
  EXPECT_THAT(statted, ElementsAre("a", "b", "c")) << "a look at each held, then the new one's";
  EXPECT_EQ(kept, jobs.findJobInfo("b"));
}

TEST_F(JobManagerSweepTest, JobThatAnotherProcessUsedStays) {
  JobManager jobs = manager(1);
  jobs.findJobInfo("a");
  clock.advance(5 * kMaxAge);
  setAge("a", 3);
  jobs.findJobInfo("b");
  EXPECT_TRUE(hasFile("a"));
}

TEST_F(JobManagerSweepTest, JobWhoseFileCannotBeLookedAtGoesByTheMemorysTime) {
  for (const auto& [age, swept] : {std::pair<time_t, bool>{kMaxAge, false}, {kMaxAge + 1, true}}) {
    JobManager jobs = manager(1);
    jobs.findJobInfo("a");
    platform().stat.setFake([](const char*, struct stat*) { return -1; });
    clock.advance(age);
    jobs.findJobInfo("b");
    EXPECT_EQ(!swept, hasFile("a")) << age;
    platform().stat.setFake(nullptr);
    std::filesystem::remove(path("b"));
  }
}

TEST_F(JobManagerSweepTest, JobWithoutAPathHasNoFileToRemove) {
  JobManager jobs = manager(1);
  jobs.createJob("", "a");
  jobs.createJob(path("b"), "b");
  setAge("b", kMaxAge + 1);
  clock.advance(kMaxAge + 1);
  recordUnlinks();
  jobs.findJobInfo("c");
  EXPECT_THAT(unlinked, testing::Contains(path("b")));
  EXPECT_THAT(unlinked, testing::Not(testing::Contains("")));
}

TEST_F(JobManagerSweepTest, FileThatCannotBeRemovedStaysAndTheJobGoesAllTheSame) {
  JobManager jobs = manager(1);
  jobs.findJobInfo("a");
  setAge("a", kMaxAge + 1);
  platform().unlink.setFake(
      [this](const char* file) { return file == path("a") ? -1 : platform().unlink.real(file); });
  jobs.findJobInfo("b");
  platform().unlink.setFake(nullptr);
  setAge("a", 0);
  writeJob("a", "id=\"x\"\n");
  EXPECT_EQ("x", jobs.findJobInfo("a")->m_id) << "read again";
}

TEST_F(JobManagerSweepTest, WithRoomLeftNothingIsSwept) {
  JobManager jobs = manager(3);
  jobs.findJobInfo("a");
  jobs.findJobInfo("b");
  setAge("a", kMaxAge + 1);
  jobs.findJobInfo("c");
  EXPECT_TRUE(hasFile("a"));
}

TEST_F(JobManagerSweepTest, WithoutAMaximumAgeNothingIsSwept) {
  JobManager jobs = manager(1, 0);
  jobs.findJobInfo("a");
  setAge("a", kNow);
  recordStats();
  jobs.findJobInfo("b");
  EXPECT_THAT(statted, ElementsAre("a", "a", "b")) << "eviction only";
  EXPECT_TRUE(hasFile("a"));
}

TEST_F(JobManagerSweepTest, SweepsTheOldestPossibleAgeWithoutOverflow) {
  JobManager jobs = manager(1, LONG_MAX - 1);
  jobs.createJob("", "a")->m_lastUsed = kEarliest;
  jobs.createJob(path("b"), "b")->m_lastUsed = kEarliest;
  std::filesystem::remove(path("b"));
  recordUnlinks();
  jobs.findJobInfo("c");
  EXPECT_THAT(unlinked, testing::Contains(path("b")));
}

// --- findJobInfo: eviction ---

class JobManagerEvictionTest : public JobManagerTest {};

TEST_F(JobManagerEvictionTest, LeastRecentlyUsedLeavesTheMemoryAndKeepsItsFile) {
  JobManager jobs = manager(2);
  const std::string first = jobs.findJobInfo("a")->m_id;
  const JobInfo* second = jobs.findJobInfo("b");
  setAge("a", 20);
  setAge("b", 10);
  jobs.findJobInfo("c");
  EXPECT_EQ(newFile(first), contentsOf("a"));
  EXPECT_EQ(kNow - 20, timeOf("a"));
  EXPECT_EQ(second, jobs.findJobInfo("b"));
  EXPECT_EQ(first, jobs.findJobInfo("a")->m_id);
}

class JobManagerVictimTest : public JobManagerTest {
 protected:
  // The keys of those of the jobs with these ages that go when another comes.
  std::vector<std::string> victims(const std::vector<std::pair<std::string, time_t>>& ages) {
    JobManager jobs = manager(ages.size(), 0);
    for (const auto& [key, age] : ages) {
      jobs.createJob(path(key), key);
      setAge(key, age);
    }
    jobs.findJobInfo("another");
    std::vector<std::string> gone;
    for (const auto& [key, age] : ages) {
      EXPECT_TRUE(hasFile(key));
      if (jobs.createJob(path(key), key) != nullptr) {  // null: it is held
        gone.push_back(key);
      }
      std::filesystem::remove(path(key));
    }
    std::filesystem::remove(path("another"));
    return gone;
  }
};

TEST_F(JobManagerVictimTest, OldestGoesWhereverItStands) {
  EXPECT_THAT(victims({{"a", 30}, {"b", 20}, {"c", 10}}), ElementsAre("a"));
  EXPECT_THAT(victims({{"a", 20}, {"b", 30}, {"c", 10}}), ElementsAre("b"));
  EXPECT_THAT(victims({{"a", 10}, {"b", 20}, {"c", 30}}), ElementsAre("c"));
}

TEST_F(JobManagerVictimTest, OfEquallyOldJobsTheFirstInKeyOrderGoes) {
  EXPECT_THAT(victims({{"a", 30}, {"b", 30}, {"c", 30}}), ElementsAre("a"));
  EXPECT_THAT(victims({{"a", 10}, {"b", 30}, {"c", 30}}), ElementsAre("b"));
  EXPECT_THAT(victims({{"c", 30}, {"b", 30}, {"a", 10}}), ElementsAre("b"));
}

TEST_F(JobManagerVictimTest, KeyOrderIsThatOfTheBytes) {
  EXPECT_THAT(victims({{"a", 30}, {"B", 30}}), ElementsAre("B"));
  EXPECT_THAT(victims({{"\xc3\xa4", 30}, {"z", 30}}), ElementsAre("z"));
  EXPECT_THAT(victims({{"ab", 30}, {"a", 30}}), ElementsAre("a"));
}

TEST_F(JobManagerVictimTest, OnlyOneGoesWhereOneIsEnough) {
  EXPECT_THAT(victims({{"a", 30}, {"b", 30}, {"c", 20}, {"d", 20}}), ElementsAre("a"));
}

TEST_F(JobManagerEvictionTest, GoesOnUntilThereIsRoom) {
  JobManager jobs = manager(2, 0);
  for (const std::string key : {"a", "b", "c", "d"}) {
    jobs.createJob(path(key), key);
  }
  setAge("a", 10);
  setAge("b", 40);
  setAge("c", 30);
  setAge("d", 20);
  jobs.findJobInfo("e");
  EXPECT_EQ(nullptr, jobs.createJob(path("a"), "a")) << "held";
  EXPECT_NE(nullptr, jobs.createJob(path("b"), "b")) << "gone";
  EXPECT_NE(nullptr, jobs.createJob(path("c"), "c")) << "gone";
  EXPECT_NE(nullptr, jobs.createJob(path("d"), "d")) << "gone";
}

TEST_F(JobManagerEvictionTest, WithOneJobLessThanTheMaximumNobodyGoes) {
  JobManager jobs = manager(3);
  const JobInfo* first = jobs.findJobInfo("a");
  const JobInfo* second = jobs.findJobInfo("b");
  recordStats();
  jobs.findJobInfo("c");
  EXPECT_THAT(statted, ElementsAre("c"));
  EXPECT_EQ(first, jobs.findJobInfo("a"));
  EXPECT_EQ(second, jobs.findJobInfo("b"));
}

TEST_F(JobManagerEvictionTest, MaximumOf0CountsAs1) {
  JobManager jobs = manager(0);
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  jobs.findJobInfo("b");
  EXPECT_NE(nullptr, jobs.createJob(path("a"), "a")) << "gone";
}

TEST_F(JobManagerEvictionTest, MaximumMayBeTheLargestNumber) {
  JobManager jobs = manager(ULONG_MAX);
  const JobInfo* job = jobs.findJobInfo("a");
  jobs.findJobInfo("b");
  EXPECT_EQ(job, jobs.findJobInfo("a"));
}

TEST_F(JobManagerEvictionTest, EachJobVisitedAndTheOldestSoFarAreLookedAt) {
  JobManager jobs = manager(3, 0);
  for (const std::string key : {"a", "b", "c"}) {
    jobs.findJobInfo(key);
  }
  setAge("a", 10);
  setAge("b", 30);
  setAge("c", 20);
  recordStats();
  jobs.findJobInfo("d");
  EXPECT_THAT(statted, ElementsAre("a", "a", "b", "a", "c", "b", "d"));
}

TEST_F(JobManagerEvictionTest, OldestThatIsUsedDuringTheWalkIsSpared) {
  JobManager jobs = manager(3, 0);
  const JobInfo* first = jobs.findJobInfo("a");
  jobs.findJobInfo("b");
  jobs.findJobInfo("c");
  setAge("a", 30);
  setAge("b", 10);
  setAge("c", 20);
  platform().stat.setFake([this](const char* file, struct stat* status) {
    if (file == path("c")) {
      setAge("a", 0);  // another process uses it while the walk is at the last job
    }
    return platform().stat.real(file, status);
  });
  jobs.findJobInfo("d");
  platform().stat.setFake(nullptr);
  EXPECT_EQ(nullptr, jobs.createJob(path("b"), "b")) << "held: passed before";
  EXPECT_NE(nullptr, jobs.createJob(path("c"), "c")) << "gone in its place";
  EXPECT_EQ(first, jobs.findJobInfo("a"));
}

TEST_F(JobManagerEvictionTest, JobThatAnotherProcessUsedIsSpared) {
  JobManager jobs = manager(2, 0);
  const JobInfo* first = jobs.findJobInfo("a");
  clock.advance(10);
  jobs.findJobInfo("b");
  clock.advance(10);
  setAge("a", 0);
  jobs.findJobInfo("c");
  EXPECT_EQ(first, jobs.findJobInfo("a"));
  EXPECT_NE(nullptr, jobs.createJob(path("b"), "b")) << "gone";
}

TEST_F(JobManagerEvictionTest, JobWhoseFileCannotBeLookedAtKeepsTheMemorysTime) {
  JobManager jobs = manager(2, 0);
  jobs.findJobInfo("a");
  clock.advance(10);
  const JobInfo* second = jobs.findJobInfo("b");
  clock.advance(10);
  std::filesystem::remove(path("a"));
  std::filesystem::remove(path("b"));
  jobs.findJobInfo("c");
  EXPECT_EQ(second, jobs.findJobInfo("b"));
  EXPECT_NE(nullptr, jobs.createJob(path("a"), "a")) << "gone";
}

// --- addJob ---

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

TEST_F(JobManagerAddTest, NeitherRegistersTheKeyNorAsksTheGetterNorDrawsAnIdentifier) {
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

// --- bad input ---

class JobManagerBadInputTest : public JobManagerTest {};

TEST_F(JobManagerBadInputTest, EmptyFileGivesANewIdentifierAndStaysEmpty) {
  writeJob("a", "");
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("", job->m_user);
  EXPECT_EQ(0, job->m_priority);
  EXPECT_EQ("", contentsOf("a"));
}

TEST_F(JobManagerBadInputTest, TenMegabytesWithoutALineEndAreReadPieceByPiece) {
  const std::string contents = "id=\"" + std::string(10'000'000, 'x');
  writeJob("a", contents);
  JobManager jobs = manager();
  EXPECT_EQ(std::string(251, 'x'), jobs.findJobInfo("a")->m_id);
  EXPECT_EQ(contents, contentsOf("a"));
}

TEST_F(JobManagerBadInputTest, TenMegabytesOfKeysWithoutALineEndEndWithTheLast) {
  std::string contents;
  for (int i = 0; contents.size() < 10'000'000; ++i) {
    const std::string line = "id=\"" + std::to_string(i) + "\"";
    contents += line + std::string(255 - line.size(), ' ');
  }
  const std::string last = std::to_string(contents.size() / 255 - 1);
  writeJob("a", contents);
  JobManager jobs = manager();
  EXPECT_EQ(last, jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerBadInputTest, NulHidesTheRestOfItsLineOnly) {
  struct Row {
    std::string contents;
    std::string id;
    std::string reason;
  };
  const std::vector<Row> rows{
      {std::string("id=\"a\0b\"\n", 9), "a", "in the value"},
      {std::string("\0id=\"a\"\n", 8), "J0", "before the key"},
      {std::string("i\0d=\"a\"\n", 8), "J0", "in the key"},
      {std::string("\0\nid=\"a\"\n", 9), "a", "on the line before"},
      {std::string("id=\"a\"\0id=\"b\"\n", 14), "a", "behind the value"},
      {std::string(100000, '\0') + "\nid=\"a\"\n", "a", "many of them"},
      {std::string(255, '\0') + "id=\"a\"\n", "a", "a whole piece of them"},
  };
  for (const Row& row : rows) {
    std::filesystem::remove(installation.directory.path("data/velmo/jobid"));
    writeJob("a", row.contents);
    JobManager jobs = manager();
    EXPECT_EQ(row.id, jobs.findJobInfo("a")->m_id) << row.reason;
  }
}

TEST_F(JobManagerBadInputTest, BinaryNoiseIsIgnored) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    std::string noise;
    while (noise.size() < 50000) {
      noise += static_cast<char>(std::uniform_int_distribution<int>(0, 255)(random));
    }
    writeJob("a", noise + "\nid=\"x\"\n");
    JobManager jobs = manager();
    EXPECT_EQ("x", jobs.findJobInfo("a")->m_id) << "seed " << seed;
    EXPECT_EQ(noise + "\nid=\"x\"\n", contentsOf("a"));
  }
}

TEST_F(JobManagerBadInputTest, FreshDirectoryInPlaceOfTheFileReadsAsAnEmptyOne) {
  installation.directory.makeDirectory("jobs/a");
  setAge("a", 30);
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("", job->m_user) << "read, not created";
  EXPECT_EQ(kNow, timeOf("a"));
  EXPECT_EQ(0, getter.asked());
}

TEST_F(JobManagerBadInputTest, StaleDirectoryInPlaceOfTheFileStaysAndTheJobIsNew) {
  installation.directory.makeDirectory("jobs/a");
  setAge("a", kMaxAge);
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("u", job->m_user) << "created, not read";
  EXPECT_TRUE(std::filesystem::is_directory(path("a")));
  EXPECT_EQ(kNow - kMaxAge, timeOf("a"));
}

TEST_F(JobManagerBadInputTest, DirectoryIsNotSweptAway) {
  installation.directory.makeDirectory("jobs/a");
  JobManager jobs = manager(1);
  jobs.findJobInfo("a");
  setAge("a", kMaxAge + 1);
  jobs.findJobInfo("b");
  EXPECT_TRUE(std::filesystem::is_directory(path("a")));
}

TEST_F(JobManagerBadInputTest, DanglingLinkInPlaceOfTheFileStaysAndTheJobIsNew) {
  std::filesystem::create_symlink(path("nowhere"), path("a"));
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ("u", job->m_user);
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_THAT(namesIn(jobDir), ElementsAre("a"));
}

TEST_F(JobManagerBadInputTest, EmptyKeyHasTheDirectoryInPlaceOfAFile) {
  setFileTime(jobDir.c_str(), kNow);
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ(jobDir + "/", job->m_fileName);
  EXPECT_EQ("", job->m_user) << "read, not created";
  EXPECT_EQ(job, jobs.findJobInfo(""));
  EXPECT_THAT(namesIn(jobDir), IsEmpty());
}

TEST_F(JobManagerBadInputTest, KeyWithASlashIsAPathBelowTheDirectory) {
  installation.directory.makeDirectory("jobs/sub");
  JobManager jobs = manager();
  EXPECT_EQ(path("sub/a"), jobs.findJobInfo("sub/a")->m_fileName);
  EXPECT_EQ(newFile("J0"), contentsOf("sub/a"));
  EXPECT_EQ(path("missing/a"), jobs.findJobInfo("missing/a")->m_fileName);
  EXPECT_EQ(path("/a"), jobs.findJobInfo("/a")->m_fileName) << "one more slash, the same file";
  EXPECT_EQ(newFile("J2"), contentsOf("a"));
  EXPECT_EQ("J2", jobs.findJobInfo("a")->m_id) << "another key";
  EXPECT_EQ(path("../outside"), jobs.findJobInfo("../outside")->m_fileName);
  EXPECT_EQ(newFile("J3"), readFile(installation.directory.path("outside")));
}

TEST_F(JobManagerBadInputTest, KeyThatMakesThePathTooLongHasAJobWithoutAFile) {
  JobManager jobs = manager();
  for (const std::size_t length : {256U, 5000U, 1000000U}) {
    const std::string key(length, 'x');
    const JobInfo* job = jobs.findJobInfo(key);
    ASSERT_NE(nullptr, job);
    EXPECT_EQ(path(key), job->m_fileName);
    EXPECT_EQ(job, jobs.findJobInfo(key));
  }
  EXPECT_THAT(namesIn(jobDir), IsEmpty());
  EXPECT_EQ("2", drawn());
}

TEST_F(JobManagerBadInputTest, KeyWithANulHasTheFileOfTheTextBeforeIt) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo(std::string("a\0b", 3));
  EXPECT_EQ(newFile("J0"), contentsOf("a"));
  EXPECT_NE(job, jobs.findJobInfo("a"));
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerBadInputTest, JobDirectoryThatDoesNotExistGivesJobsWithoutFiles) {
  JobManager jobs(path("missing"), 10, kMaxAge, "u", "n", nullptr);
  const JobInfo* job = jobs.findJobInfo("a");
  EXPECT_EQ("J0", job->m_id);
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_THAT(namesIn(jobDir), IsEmpty());
}

TEST_F(JobManagerBadInputTest, NegativeMaximumAgeExpiresEveryJobAtOnce) {
  JobManager jobs = manager(10, -1);
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ("J1", jobs.findJobInfo("a")->m_id) << "expired, its file stale";
  EXPECT_EQ(newFile("J1"), contentsOf("a"));
}

TEST_F(JobManagerBadInputTest, NegativeMaximumAgeSparesJobsFurtherInTheFuture) {
  JobManager jobs = manager(10, -10);
  const JobInfo* job = jobs.findJobInfo("a");
  setAge("a", -11);
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  setAge("a", -10);
  EXPECT_EQ("J1", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerBadInputTest, NegativeMaximumAgeSweepsNothing) {
  JobManager jobs = manager(1, -1);
  jobs.findJobInfo("a");
  setAge("a", 1000);
  recordStats();
  jobs.findJobInfo("b");
  EXPECT_THAT(statted, ElementsAre("a", "a", "b")) << "eviction only";
  EXPECT_TRUE(hasFile("a"));
}

TEST_F(JobManagerBadInputTest, SmallestMaximumAgeHasNoOverflow) {
  JobManager jobs = manager(10, LONG_MIN);
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ("J1", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerBadInputTest, LargestMaximumAgeIsNeverReachedInPractice) {
  writeJob("a", "id=\"x\"\n", kNow);
  JobManager jobs = manager(1, LONG_MAX);
  EXPECT_EQ("x", jobs.findJobInfo("a")->m_id);
  clock.set(kLatest / 2);
  EXPECT_EQ("x", jobs.findJobInfo("a")->m_id);
  jobs.findJobInfo("b");
  EXPECT_TRUE(hasFile("a"));
}

TEST_F(JobManagerBadInputTest, DifferencesOfTimesDoNotOverflow) {
  struct Row {
    time_t now;
    time_t lastUsed;
    bool expires;
    std::string reason;
  };
  const std::vector<Row> rows{
      {kLatest, kEarliest, true, "as old as can be"},
      {kLatest, -1, true, "one beyond the largest age"},
      {kLatest - 1, -1, true, "the largest age"},
      {0, kEarliest, true, "one beyond the largest age, from the other end"},
      {-1, kEarliest, true, "the largest age, from the other end"},
      {kEarliest, kLatest, false, "as far ahead as can be"},
      {kEarliest, 1, false, "one beyond the smallest age"},
      {-2, kLatest, false, "one beyond the smallest age, from the other end"},
      {kLatest, kLatest, false, "no age at the end of time"},
      {kEarliest, kEarliest, false, "no age at its beginning"},
  };
  for (const Row& row : rows) {
    JobManager jobs = manager();
    JobInfo* job = jobs.createJob("", "a");
    job->m_lastUsed = row.lastUsed;
    clock.set(row.now);
    EXPECT_EQ(row.expires ? path("a") : "", jobs.findJobInfo("a")->m_fileName) << row.reason;
    std::filesystem::remove(path("a"));
    clock.set(kNow);
  }
}

TEST_F(JobManagerBadInputTest, FileTimesMayBeAnything) {
  struct Row {
    time_t now;
    time_t modified;
    bool stale;
  };
  for (const Row& row : {Row{kLatest, kEarliest, true}, Row{kEarliest, kLatest, false},
                         Row{0, kEarliest, true}, Row{kNow, kLatest, false}}) {
    writeJob("a", "id=\"x\"\n");
    clock.set(row.now);
    platform().stat.setFake([&row](const char*, struct stat* status) {
      status->st_mtime = row.modified;
      return 0;
    });
    JobManager jobs = manager();
    EXPECT_EQ(row.stale ? "u" : "", jobs.findJobInfo("a")->m_user);
    platform().stat.setFake(nullptr);
    clock.set(kNow);
  }
}

TEST_F(JobManagerBadInputTest, ClockThatRunsBackwardsKeepsJobsFresh) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  clock.advance(-1000);
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_EQ(kNow - 1000, job->m_lastUsed);
  EXPECT_EQ(kNow - 1000, timeOf("a")) << "the use is of the earlier time";
  clock.advance(1000);
  EXPECT_NE("J0", jobs.findJobInfo("a")->m_id) << "and the job seems unused since";
}

TEST_F(JobManagerBadInputTest, ClockThatRunsBackwardsSweepsNothing) {
  JobManager jobs = manager(1);
  jobs.findJobInfo("a");
  clock.advance(-1000);
  jobs.findJobInfo("b");
  EXPECT_EQ(newFile("J0"), contentsOf("a"));
}

}  // namespace
