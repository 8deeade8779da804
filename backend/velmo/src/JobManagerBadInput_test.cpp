// Unexpected job files, keys, ages and times.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "JobManager.h"
#include "JobManagerTest.h"
#include "PlatformCalls.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::JobManagerTest;
using velmo::test::namesIn;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::setFileTime;

constexpr time_t kEarliest = std::numeric_limits<time_t>::min();
constexpr time_t kLatest = std::numeric_limits<time_t>::max();

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

TEST_F(JobManagerBadInputTest, EmptyFileSplitsItsKeyAmongTheManagersForGood) {
  writeJob("a", "");
  JobManager first = manager();
  JobManager second = manager();
  EXPECT_EQ("J0", first.findJobInfo("a")->m_id);
  EXPECT_EQ("J1", second.findJobInfo("a")->m_id);
  clock.advance(kMaxAge - 1);
  EXPECT_EQ("J0", first.findJobInfo("a")->m_id);
  clock.advance(kMaxAge - 1);
  EXPECT_EQ("J1", second.findJobInfo("a")->m_id);
  EXPECT_EQ("", contentsOf("a"));
}

TEST_F(JobManagerBadInputTest, TenMegabytesWithoutALineEndAreReadPieceByPiece) {
  std::string contents = "id=\"";
  contents.resize(10'000'000, 'x');
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
