// The job registry in several processes over one directory.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <velmo/JobManager.h>

#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace {

using testing::Contains;
using velmo::test::FakeScope;
using velmo::test::namesIn;
using velmo::test::platform;
using velmo::test::TaskInstallation;

constexpr unsigned kProcesses = 4;
constexpr int kLookUps = 200;
constexpr int kKeys = 20;
constexpr unsigned long kJobsInMemory = 7;  // fewer than keys: jobs are dropped and read again
constexpr long kMaxAge = 3600;

// A pipe that holds processes back until the writer closes it.
class Gate {
 public:
  Gate() {
    if (pipe(m_ends.data()) != 0) {
      throw std::runtime_error("no pipe");
    }
  }
  ~Gate() {
    close(m_ends[0]);
    open();
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  void open() {
    if (m_ends[1] >= 0) {
      close(m_ends[1]);
    }
    m_ends[1] = -1;
  }

  void pass() {
    open();  // this process's copy
    char nothing = 0;
    EXPECT_EQ(0, read(m_ends[0], &nothing, 1));  // the end of file
  }

 private:
  std::array<int, 2> m_ends{};
};

class JobRegistryProcessesTest : public testing::TestWithParam<unsigned> {
 protected:
  JobRegistryProcessesTest() {
    installation.directory.makeDirectory("jobs");
    installation.directory.makeDirectory("given");
    // Those who wait for the job counter do so for a tenth of the time.
    platform().nanosleep.setFake([](const timespec* pause, timespec*) {
      const timespec tenth{0, pause->tv_nsec / 10};
      return platform().nanosleep.real(&tenth, nullptr);
    });
  }

  // What one process does: random look-ups, each noted as "key identifier".
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
      throw std::runtime_error("cannot note what was given");
    }
  }

  pid_t start(unsigned seed, Gate& gate) const {
    const pid_t child = fork();
    if (child == 0) {
      gate.pass();
      try {
        lookUp(seed);
      } catch (...) {
        _exit(1);
      }
      _exit(0);
    }
    return child;
  }

  void runAll(const std::vector<unsigned>& seeds) const {
    Gate gate;
    std::vector<pid_t> children;
    children.reserve(seeds.size());
    for (const unsigned seed : seeds) {
      children.push_back(start(seed, gate));
    }
    gate.open();
    for (const pid_t child : children) {
      int status = 0;
      ASSERT_EQ(child, waitpid(child, &status, 0));
      ASSERT_EQ(0, status);
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
  for (unsigned process = 0; process < kProcesses; ++process) {
    seeds.push_back(GetParam() + process);
  }
  ASSERT_NO_FATAL_FAILURE(runAll(seeds));

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
