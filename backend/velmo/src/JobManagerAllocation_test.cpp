// Memory in the job registry: nothing leaks and nothing is partly registered, whichever allocation
// fails.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "JobManager.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "ReplacedAllocation.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::test::FakeScope;
using velmo::test::g_alive;
using velmo::test::g_untilFailure;
using velmo::test::MovedClock;
using velmo::test::MovedFileTimes;
using velmo::test::platform;
using velmo::test::setFileTime;
using velmo::test::TemporaryDirectory;

constexpr long kMaxAge = 100;

// While it lives, one allocation fails, after `allocation` others.
class FailureAt {
 public:
  explicit FailureAt(long allocation) {
    g_untilFailure = allocation;
  }
  ~FailureAt() {
    g_untilFailure = -1;
  }
  FailureAt(const FailureAt&) = delete;
  FailureAt& operator=(const FailureAt&) = delete;
};

// Long enough that every text needs an allocation.
std::string longText(const std::string& start) {
  return start + std::string(60, '-');
}

class JobManagerAllocationTest : public testing::Test {
 protected:
  JobManagerAllocationTest() {
    platform().generateJobID.setFake([this] {
      char* copy = new char[id.size() + 1];
      std::memcpy(copy, id.c_str(), id.size() + 1);
      return copy;
    });
  }

  // A full memory of two jobs, last used `age` seconds ago.
  void fill(JobManager& jobs, time_t age) const {
    for (const std::string& heldKey : heldKeys) {
      jobs.findJobInfo(heldKey);
      setFileTime(directory.path(heldKey).c_str(), clock.now() - age);
    }
  }

  // Repeats the call with one more allocation that succeeds each time, until the call succeeds.
  // `prepare` runs before each call.
  void failEverywhere(const std::function<void(JobManager&)>& prepare,
                      const std::function<void(JobManager&)>& call) {
    int failures = 0;
    while (failsAt(failures, prepare, call)) {
      ++failures;
    }
    EXPECT_GT(failures, 3) << "too few for the texts of a job";
  }

  const TemporaryDirectory directory;
  const std::string key = longText("key");
  const std::string path = directory.path(key);
  const std::vector<std::string> heldKeys{longText("held1"), longText("held2")};
  const std::string id = longText("J");
  const std::string user = longText("user");
  const std::string name = longText("name");
  const FakeScope fakes;
  const MovedClock clock{1741007469};
  const MovedFileTimes fileTimes{clock};

 private:
  bool failsAt(long allocation, const std::function<void(JobManager&)>& prepare,
               const std::function<void(JobManager&)>& call) const {
    const long before = g_alive;
    bool failed = false;
    {
      JobManager jobs(directory.path(), 2, kMaxAge, user, name, nullptr);
      prepare(jobs);
      try {
        const FailureAt failure(allocation);
        call(jobs);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      if (failed) {
        EXPECT_EQ(path, jobs.findJobInfo(key)->m_fileName) << "unusable after " << allocation;
      }
    }
    EXPECT_EQ(before, g_alive) << "leaked at " << allocation;
    return failed;
  }
};

TEST_F(JobManagerAllocationTest, CreatingAJobLeaksNothing) {
  failEverywhere([](JobManager&) {}, [this](JobManager& jobs) { jobs.createJob(path, key); });
}

TEST_F(JobManagerAllocationTest, KeyThatIsTakenLeaksNothing) {
  directory.writeFile(key, "user=\"" + longText("v") + "\"\n");
  JobManager jobs(directory.path(), 2, kMaxAge, user, name, nullptr);
  jobs.createJob(path, key);
  const long before = g_alive;
  EXPECT_EQ(nullptr, jobs.createJob(path, key));
  EXPECT_EQ(nullptr, jobs.readJobFile(path, key));
  EXPECT_EQ(before, g_alive);
}

TEST_F(JobManagerAllocationTest, ExceptionOfThePropertyGetterLeaksNothing) {
  class Throws : public JobPropertyGetter {
   public:
    int getPriority() override {
      throw 1;
    }
  };
  Throws throws;
  JobManager jobs(directory.path(), 2, kMaxAge, user, name, &throws);
  const long before = g_alive;
  EXPECT_THROW(jobs.createJob(path, key), int);
  EXPECT_THROW(jobs.findJobInfo(key), int);
  EXPECT_EQ(before, g_alive);
}

TEST_F(JobManagerAllocationTest, FailureLeavesTheKeyFree) {
  directory.writeFile(key, "id=\"" + longText("J") + "\"\n");
  for (long allocation = 0; allocation < 6; ++allocation) {
    JobManager jobs(directory.path(), 2, kMaxAge, user, name, nullptr);
    EXPECT_THROW(
        {
          const FailureAt failure(allocation);
          jobs.createJob(path, key);
        },
        std::bad_alloc);
    EXPECT_THROW(
        {
          const FailureAt failure(allocation);
          jobs.readJobFile(path, key);
        },
        std::bad_alloc);
    EXPECT_NE(nullptr, jobs.createJob("", key));
  }
}

TEST_F(JobManagerAllocationTest, ReadingAJobLeaksNothing) {
  directory.writeFile(key, "id=\"" + longText("J") + "\"\nuser=\"" + longText("v") + "\"\nname=\"" +
                               longText("w") + "\"\n");
  failEverywhere([](JobManager&) {}, [this](JobManager& jobs) { jobs.readJobFile(path, key); });
}

TEST_F(JobManagerAllocationTest, ReadingAJobWithoutAnIdentifierLeaksNothing) {
  directory.writeFile(key, "user=\"" + longText("v") + "\"\n");
  failEverywhere([](JobManager&) {}, [this](JobManager& jobs) { jobs.readJobFile(path, key); });
}

TEST_F(JobManagerAllocationTest, FindingAJobWhileOthersAreEvictedLeaksNothing) {
  failEverywhere([this](JobManager& jobs) { fill(jobs, 1); },
                 [this](JobManager& jobs) { jobs.findJobInfo(key); });
}

TEST_F(JobManagerAllocationTest, FindingAJobWhileOthersAreSweptLeaksNothing) {
  failEverywhere([this](JobManager& jobs) { fill(jobs, kMaxAge + 1); },
                 [this](JobManager& jobs) { jobs.findJobInfo(key); });
}

TEST_F(JobManagerAllocationTest, FindingAJobThatHasExpiredLeaksNothing) {
  failEverywhere(
      [this](JobManager& jobs) {
        jobs.findJobInfo(key);
        setFileTime(path.c_str(), clock.now() - kMaxAge);
      },
      [this](JobManager& jobs) { jobs.findJobInfo(key); });
}

TEST_F(JobManagerAllocationTest, AddingAJobLeaksNothing) {
  failEverywhere([](JobManager&) {}, [this](JobManager& jobs) { jobs.addJob(key, longText("J")); });
}

}  // namespace
