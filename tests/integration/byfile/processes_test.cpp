// Several processes share one installation.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <velmo/CreateTaskFile.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "ParallelProcesses.h"
#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace {

using testing::Each;
using testing::IsEmpty;
using velmo::test::inProcesses;
using velmo::test::platform;
using velmo::test::TaskInstallation;

// The job identifier in the name of a task file: the third part.
std::string jobOf(const std::string& name) {
  const std::size_t start = name.find('.', name.find('.') + 1) + 1;
  return name.substr(start, name.find('.', start) - start);
}

TEST(ProcessesTest, EightProcessesSubmit500TasksEachUnder4000Names) {
  const TaskInstallation installation;
  installation.writeHomePriorities("NORMAL=50\n");
  const std::vector<int> failures = inProcesses(8, [](int) {
    int failed = 0;
    for (int i = 0; i < 500; ++i) {
      failed += createTaskFile("NORMAL", "true", nullptr, nullptr, "J1", nullptr, nullptr, 0) != 0
                    ? 1
                    : 0;
    }
    return failed;
  });
  EXPECT_THAT(failures, Each(0));
  const std::vector<std::string> names = installation.queue();
  EXPECT_EQ(4000U, std::set<std::string>(names.begin(), names.end()).size());
  EXPECT_THAT(installation.temporary(), IsEmpty());
  EXPECT_EQ(4000, installation.counter.value());
  EXPECT_EQ(1, installation.semaphore.value());
}

TEST(ProcessesTest, FourProcessesDraw10JobIdentifiersEachAllDifferent) {
  const TaskInstallation installation;
  installation.writeHomePriorities("NORMAL=50\n");
  const std::vector<int> failures = inProcesses(4, [](int) {
    int failed = 0;
    for (int i = 0; i < 10; ++i) {
      failed +=
          createTaskFile("NORMAL", "true", nullptr, nullptr, nullptr, nullptr, nullptr, 0) != 0 ? 1
                                                                                                : 0;
    }
    return failed;
  });
  EXPECT_THAT(failures, Each(0));
  std::set<std::string> jobs;
  for (const std::string& name : installation.queue()) {
    jobs.insert(jobOf(name));
  }
  EXPECT_EQ(40U, jobs.size());
  EXPECT_EQ("39", installation.jobCounter());
  EXPECT_THAT(velmo::test::namesIn(installation.directory.path("lock")), IsEmpty());
}

TEST(ProcessesTest, ProcessThatDiesWithTheTaskSemaphoreLetsTheOthersOn) {
  const TaskInstallation installation;
  installation.writeHomePriorities("NORMAL=50\n");
  const std::vector<int> results = inProcesses(1, [](int) {
    platform().shmget.setFake([](key_t, size_t, int) { return raise(SIGKILL); });
    return CreateTaskFile().generateTaskID();
  });
  EXPECT_THAT(results, Each(-SIGKILL));
  EXPECT_EQ(1, installation.semaphore.value());
  EXPECT_EQ(1, CreateTaskFile().generateTaskID());
}

TEST(ProcessesTest, ProcessThatDiesWithTheJobLockKeepsTheOthersOutUntilItsFileIsRemoved) {
  const TaskInstallation installation;
  installation.writeHomePriorities("NORMAL=50\n");
  const std::vector<int> results = inProcesses(1, [](int) {
    platform().rename.setFake([](const char*, const char*) { return raise(SIGKILL); });
    return CreateTaskFile().generateJobID().empty() ? 1 : 0;
  });
  EXPECT_THAT(results, Each(-SIGKILL));

  platform().nanosleep.setFake([](const timespec*, timespec*) { return 0; });
  EXPECT_EQ("", CreateTaskFile().generateJobID());
  std::filesystem::remove(installation.directory.path("lock/semaphore_velmo_jobid"));
  EXPECT_EQ("J0", CreateTaskFile().generateJobID());
  platform().reset();
}

TEST(ProcessesTest, TwoProcessesThatShareATaskIdentifierCannotBothQueueOneName) {
  const TaskInstallation installation;
  installation.writeHomePriorities("NORMAL=50\n");
  const velmo::test::FakeScope fakes;
  platform().time.setFake([](time_t*) { return time_t{1700000000}; });
  EXPECT_EQ(0, createTaskFile("NORMAL", "one", nullptr, nullptr, "J1", nullptr, nullptr, 0));
  installation.counter.setValue(0);
  const std::vector<int> results = inProcesses(1, [](int) {
    return createTaskFile("NORMAL", "two", nullptr, nullptr, "J1", nullptr, nullptr, 0);
  });
  EXPECT_THAT(results, Each(1));
  EXPECT_EQ("one\n", installation.onlyTask());
  EXPECT_EQ(1U, installation.temporary().size());
}

}  // namespace
