// Job registries in several processes share one directory.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <velmo/JobManager.h>

#include "ParallelProcesses.h"
#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace {

using testing::Contains;
using testing::Each;
using velmo::test::FakeScope;
using velmo::test::inProcesses;
using velmo::test::namesIn;
using velmo::test::platform;
using velmo::test::TaskInstallation;

constexpr int kProcesses = 4;
constexpr int kLookUps = 200;
constexpr int kKeys = 20;
constexpr unsigned long kJobsInMemory = 7;  // fewer than keys, so jobs are dropped and read again
constexpr long kMaxAge = 3600;

class JobRegistryProcessesTest : public testing::TestWithParam<unsigned> {
 protected:
  JobRegistryProcessesTest() {
    installation.directory.makeDirectory("jobs");
    installation.directory.makeDirectory("given");
    // Processes that wait for the job counter pause for a tenth of the time.
    platform().nanosleep.setFake([](const timespec* pause, timespec*) {
      const timespec tenth{0, pause->tv_nsec / 10};
      return platform().nanosleep.real(&tenth, nullptr);
    });
  }

  // The work of one process: random look-ups, each written down as "key identifier".
  void lookUp(unsigned seed) const {
    std::srand(seed);
    std::mt19937 random(seed);
    JobManager jobs(jobDir, kJobsInMemory, kMaxAge, "u", "n", nullptr);
    std::ofstream given(installation.directory.path("given/" + std::to_string(seed)));
    for (int i = 0; i < kLookUps; ++i) {
      const int number = std::uniform_int_distribution<int>(0, kKeys - 1)(random);
      const std::string key = "key" + std::to_string(number);
      given << key << ' ' << jobs.findJobInfo(key)->m_id << '\n';
    }
    given.close();
    if (!given) {
      throw std::runtime_error("cannot write down the identifiers");
    }
  }

  // The identifiers that the processes were given for each key.
  std::map<std::string, std::set<std::string>> givenIds(const std::vector<unsigned>& seeds) const {
    std::map<std::string, std::set<std::string>> ids;
    for (const unsigned seed : seeds) {
      std::ifstream given(installation.directory.path("given/" + std::to_string(seed)));
      int lookUps = 0;
      for (std::string key, id; given >> key >> id; ++lookUps) {
        ids[key].insert(id);
      }
      EXPECT_EQ(kLookUps, lookUps) << "an identifier is missing";
    }
    return ids;
  }

  TaskInstallation installation;
  const std::string jobDir = installation.directory.path("jobs");
  FakeScope fakes;
};

TEST_P(JobRegistryProcessesTest, EveryFileHoldsAnIdentifierOfItsKeyAlone) {
  SCOPED_TRACE("seed " + std::to_string(GetParam()));
  std::vector<unsigned> seeds;
  for (unsigned process = 0; process < unsigned{kProcesses}; ++process) {
    seeds.push_back(GetParam() + process);
  }
  const std::vector<int> results = inProcesses(kProcesses, [&](int number) {
    lookUp(seeds[static_cast<std::size_t>(number)]);
    return 0;
  });
  ASSERT_THAT(results, Each(0));

  const std::map<std::string, std::set<std::string>> given = givenIds(seeds);
  ASSERT_EQ(static_cast<std::size_t>(kKeys), given.size());
  EXPECT_EQ(static_cast<std::size_t>(kKeys), namesIn(jobDir).size());

  JobManager later(jobDir, kKeys, kMaxAge, "u", "n", nullptr);
  std::map<std::string, std::string> keyOfId;
  for (const auto& [key, ids] : given) {
    const std::string contents = velmo::test::readFile(jobDir + "/" + key);
    const std::string kept = later.findJobInfo(key)->m_id;
    EXPECT_EQ("id=\"" + kept + "\"\nuser=\"u\"\nname=\"n\"\npriority=\"0\"\n", contents);
    EXPECT_THAT(ids, Contains(kept)) << key;
    for (const std::string& id : ids) {
      EXPECT_TRUE(keyOfId.emplace(id, key).second)
          << id << " was given for " << key << " and for " << keyOfId[id];
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, JobRegistryProcessesTest, testing::Values(100, 200, 300));

}  // namespace
