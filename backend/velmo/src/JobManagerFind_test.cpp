// How JobManager::findJobInfo finds, drops and creates jobs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <limits>
#include <string>
#include <utility>
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

constexpr time_t kEarliest = std::numeric_limits<time_t>::min();

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
    return -1;  // is ignored
  });
  EXPECT_NE(nullptr, jobs.findJobInfo("a"));
  EXPECT_THAT(touched, ElementsAre(path("a")));
}

TEST_F(JobManagerFindTest, WithoutAMaximumAgeAHitExaminesNoFile) {
  JobManager jobs = manager(10, 0);
  const JobInfo* job = jobs.findJobInfo("a");
  recordStats();
  clock.advance(LONG_MAX / 2);
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  EXPECT_THAT(statted, IsEmpty());
}

TEST_F(JobManagerFindTest, WithAMaximumAgeAHitExaminesItsFileOnce) {
  JobManager jobs = manager();
  jobs.findJobInfo("a");
  jobs.findJobInfo("b");
  recordStats();
  jobs.findJobInfo("a");
  EXPECT_THAT(statted, ElementsAre("a"));
}

TEST_F(JobManagerFindTest, HitOfAJobWithoutItsFileDoesNotRecreateIt) {
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

// The job has another file than its key, so that the fate of the key's file does not matter.
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

TEST_F(JobManagerFindTest, ExpiryFollowsTheTimeOfTheFileNotTheTimeInMemory) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  clock.advance(5 * kMaxAge);
  setAge("a", kMaxAge - 1);  // another process has used it
  EXPECT_EQ(job, jobs.findJobInfo("a"));
  setAge("a", kMaxAge);
  EXPECT_EQ("J1", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerFindTest, JobWhoseFileCannotBeExaminedExpiresByTheTimeInMemory) {
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

TEST_F(JobManagerFindTest, SweepTakesTheTimeAtTheStartOfTheCallAlsoAfterAnExpiry) {
  JobManager jobs = manager(1);
  jobs.createJob(path("a"), "a");
  jobs.createJob(path("b"), "b");
  setAge("a", kMaxAge);
  setAge("b", kMaxAge);
  platform().time.setFake([this](time_t*) {
    const time_t now = clock.now();
    clock.advance(1);  // a second reading of the clock would find "b" too old
    return now;
  });
  jobs.findJobInfo("a");
  EXPECT_TRUE(hasFile("b"));
}

TEST_F(JobManagerFindTest, FileIsTouchedBeforeTheUseIsTimed) {
  JobManager jobs = manager();
  const JobInfo* job = jobs.findJobInfo("a");
  platform().utime.setFake([this](const char* file, const utimbuf*) {
    clock.advance(3);  // a slow disk
    return fileTimes.touch(file);
  });
  jobs.findJobInfo("a");
  EXPECT_EQ(clock.now(), job->m_lastUsed);
}

TEST_F(JobManagerFindTest, KeyMayBeATextOfTheJobThatIsDropped) {
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
      writeJob("a", "id=\"theirs\"\n");  // right after the stat
    }
    return result;
  });
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ("J0", jobs.findJobInfo("a")->m_id);
  EXPECT_EQ("id=\"theirs\"\n", contentsOf("a"));
  jobs.findJobInfo("b");
  EXPECT_EQ("theirs", jobs.findJobInfo("a")->m_id);
}

TEST_F(JobManagerFindTest, FileThatIsRemovedBetweenStatAndOpenIsCreated) {
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

// "b" is younger, so eviction would take "a" too: only the file shows which of the two it was.
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

TEST_F(JobManagerSweepTest, EveryOldJobIsRemovedEvenIfOneWouldDo) {
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

TEST_F(JobManagerSweepTest, JobWhoseFileCannotBeExaminedIsSweptByTheTimeInMemory) {
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

TEST_F(JobManagerSweepTest, JobIsDroppedEvenIfItsFileCannotBeRemoved) {
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
  // Fills the memory with jobs of these ages, adds another, and returns the keys of those dropped.
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
      if (jobs.createJob(path(key), key) != nullptr) {  // null: the key is still held
        gone.push_back(key);
      }
      std::filesystem::remove(path(key));
    }
    std::filesystem::remove(path("another"));
    return gone;
  }
};

TEST_F(JobManagerVictimTest, OldestIsDroppedAtAnyPosition) {
  EXPECT_THAT(victims({{"a", 30}, {"b", 20}, {"c", 10}}), ElementsAre("a"));
  EXPECT_THAT(victims({{"a", 20}, {"b", 30}, {"c", 10}}), ElementsAre("b"));
  EXPECT_THAT(victims({{"a", 10}, {"b", 20}, {"c", 30}}), ElementsAre("c"));
}

TEST_F(JobManagerVictimTest, OfEquallyOldJobsTheFirstInKeyOrderIsDropped) {
  EXPECT_THAT(victims({{"a", 30}, {"b", 30}, {"c", 30}}), ElementsAre("a"));
  EXPECT_THAT(victims({{"a", 10}, {"b", 30}, {"c", 30}}), ElementsAre("b"));
  EXPECT_THAT(victims({{"c", 30}, {"b", 30}, {"a", 10}}), ElementsAre("b"));
}

TEST_F(JobManagerVictimTest, KeyOrderIsThatOfTheBytes) {
  EXPECT_THAT(victims({{"a", 30}, {"B", 30}}), ElementsAre("B"));
  EXPECT_THAT(victims({{"\xc3\xa4", 30}, {"z", 30}}), ElementsAre("z"));
  EXPECT_THAT(victims({{"ab", 30}, {"a", 30}}), ElementsAre("a"));
}

TEST_F(JobManagerVictimTest, OnlyOneIsDroppedIfOneIsEnough) {
  EXPECT_THAT(victims({{"a", 30}, {"b", 30}, {"c", 20}, {"d", 20}}), ElementsAre("a"));
}

TEST_F(JobManagerEvictionTest, ContinuesUntilThereIsRoom) {
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

TEST_F(JobManagerEvictionTest, WithOneJobLessThanTheMaximumNoneIsDropped) {
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

TEST_F(JobManagerEvictionTest, EachJobVisitedAndTheOldestSoFarAreExamined) {
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
      setAge("a", 0);  // another process uses it while the last job is visited
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

TEST_F(JobManagerEvictionTest, JobWhoseFileCannotBeExaminedKeepsTheTimeInMemory) {
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

}  // namespace
