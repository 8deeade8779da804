// velmo.hpp over the library: the queue of this machine.

#include <gtest/gtest.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>
#include <velmo/velmo.hpp>

#include "Later.h"
#include "PlatformCalls.h"
#include "Stopwatch.h"
#include "TaskInstallation.h"

namespace {

using namespace std::chrono_literals;
using velmo::Durability;
using velmo::Error;
using velmo::InDoubt;
using velmo::Installation;
using velmo::Job;
using velmo::Settings;
using velmo::Status;
using velmo::Task;
using velmo::test::FakeScope;
using velmo::test::Later;
using velmo::test::platform;
using velmo::test::Stopwatch;
using velmo::test::TaskInstallation;

class CppInstallationTest : public testing::Test {
 protected:
  CppInstallationTest() {
    machine.writeConfPriorities("Normal = 500\nBatch = 900\n");
  }

  // What submitting with these settings throws: the status.
  static Status statusOf(const Settings& settings, velmo::Deadline deadline) {
    try {
      Installation(settings).submit({"Normal", "true", "", "", "J1"}, deadline);
    } catch (const Error& error) {
      return error.status();
    }
    return Status::ok;
  }

  void takeCounter() const {
    sembuf take{0, -1, 0};
    ASSERT_EQ(0, semop(machine.semaphore.id(), &take, 1));
  }

  const TaskInstallation machine;
  const FakeScope fakes;
  const Task task{"Normal", "echo 100%%", "", "", "J1"};
};

TEST_F(CppInstallationTest, TaskIsQueuedUnderTheNameThatIsReturned) {
  const std::string name = Installation().submit(task, 5s);
  EXPECT_EQ((std::vector<std::string>{name}), machine.queue());
  EXPECT_EQ("echo 100%%\n", machine.onlyTask());
  EXPECT_EQ("J1", velmo::parseName(name).value().job);
  EXPECT_EQ(500, velmo::parseName(name).value().priority);
}

TEST_F(CppInstallationTest, ListIsInTheOrderOfTheService) {
  const Installation installation;
  const std::string second = installation.submit({"Batch", "true", "", "", "J1"}, 5s);
  const std::string first = installation.submit(task, 5s);
  EXPECT_EQ((std::vector<std::string>{first, second}), installation.list());
  EXPECT_EQ(machine.directory.path("var/taskqueue"), installation.queueDirectory());
}

TEST_F(CppInstallationTest, TaskCanBeCancelledOnce) {
  const Installation installation;
  const std::string name = installation.submit(task, 5s);
  EXPECT_TRUE(installation.cancel(name));
  EXPECT_FALSE(installation.cancel(name));
  EXPECT_TRUE(machine.queue().empty());
}

TEST_F(CppInstallationTest, NameThatIsNoTasksIsNotCancelled) {
  try {
    Installation().cancel("../jobid");
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(Status::invalidArgument, error.status());
  }
}

TEST_F(CppInstallationTest, JobsAreNumberedAndFound) {
  machine.writeJobCounter("16");
  const Installation installation;
  EXPECT_EQ("J17", installation.newJob(5s));
  const Job made =
      installation.findJob(machine.directory.path(), "key", {"", "me", "report", "", 3}, 5s);
  EXPECT_EQ("J18", made.id);
  EXPECT_TRUE(made.isNew);
  const Job found = installation.findJob(machine.directory.path(), "key", {}, 5s);
  EXPECT_EQ("J18", found.id);
  EXPECT_EQ("me", found.user);
  EXPECT_EQ("report", found.name);
  EXPECT_EQ("#1USE=me#1JNA=report", found.information);
  EXPECT_EQ(3, found.priority);
  EXPECT_FALSE(found.isNew);
}

TEST_F(CppInstallationTest, DiskThatFailsAfterTheTaskIsQueuedIsADoubtWithItsName) {
  const Installation installation;
  // The first sync is that of the task file, the second that of the queue.
  int syncs = 0;
  platform().fsync.setFake([&](int descriptor) {
    if (++syncs == 1) {
      return platform().fsync.real(descriptor);
    }
    errno = EIO;
    return -1;
  });
  std::string name;
  try {
    installation.submit(task, 5s, Durability::powerCut);
  } catch (const InDoubt& doubt) {
    name = doubt.taskName();
    EXPECT_EQ(Status::systemError, doubt.cause());
    EXPECT_EQ(EIO, doubt.systemError());
  }
  EXPECT_EQ((std::vector<std::string>{name}), installation.list());
}

TEST_F(CppInstallationTest, DeadlineEndsTheWaitForTheCounter) {
  takeCounter();
  const Stopwatch stopwatch;
  EXPECT_EQ(Status::timedOut, statusOf(Settings::fromEnvironment(), 100ms));
  EXPECT_GE(stopwatch.elapsedMs(), 100);
}

TEST_F(CppInstallationTest, DeadlineThatHasPassedDoesNotWait) {
  takeCounter();
  platform().semtimedop.setFake([](int, sembuf*, size_t, const timespec*) {
    ADD_FAILURE() << "waits";
    return -1;
  });
  EXPECT_EQ(Status::timedOut, statusOf(Settings::fromEnvironment(), -1h));
}

TEST_F(CppInstallationTest, StopFlagEndsAWaitWithoutLimit) {
  takeCounter();
  std::atomic<int> stop{0};
  Settings settings = Settings::fromEnvironment();
  settings.stop = &stop;
  const Later later(50, [&] { stop = 1; });
  EXPECT_EQ(Status::stopped, statusOf(settings, velmo::Deadline::never()));
  EXPECT_EQ(1, stop.load());
}

TEST_F(CppInstallationTest, ServiceThatDoesNotRunIsReportedAtOnce) {
  machine.semaphore.remove();
  EXPECT_EQ(Status::notRunning, statusOf(Settings::fromEnvironment(), velmo::Deadline::never()));
}

TEST_F(CppInstallationTest, CheckFindsNothingInAnInstallationThatIsAllRight) {
  for (const Error& finding : Installation().check(&task)) {
    ADD_FAILURE() << finding.what();
  }
}

TEST_F(CppInstallationTest, CheckFindsWhatSubmitWouldRefuse) {
  const Task unknown{"Unknown", "true"};
  const std::vector<Error> findings = Installation().check(&unknown);
  const auto isTheClass = [](const Error& finding) {
    return std::string(finding.what()).find("no priority class \"Unknown\"") == 0;
  };
  EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), isTheClass));
}

TEST_F(CppInstallationTest, TwoInstallationsAreUsedByOneProcess) {
  const TaskInstallation other;  // its environment is the one that counts from here on
  other.writeConfPriorities("Normal = 1\n");
  Settings settings = Settings::fromEnvironment();
  settings.var = machine.directory.path("var");
  settings.tmp = machine.directory.path("tmp");
  const Installation first(settings);
  const Installation second;
  first.submit(task, 5s);
  EXPECT_EQ(1U, machine.queue().size());
  EXPECT_TRUE(other.queue().empty());
  second.submit(task, 5s);
  EXPECT_EQ(1U, other.queue().size());
}

TEST_F(CppInstallationTest, AssigningAFreshOneReadsThePrioritiesAgain) {
  Installation installation;
  machine.writeConfPriorities("Normal = 7\n");
  EXPECT_EQ(500, velmo::parseName(installation.submit(task, 5s)).value().priority);
  installation = Installation();
  EXPECT_EQ(7, velmo::parseName(installation.submit(task, 5s)).value().priority);
}

TEST_F(CppInstallationTest, ThreadsAndCopiesSubmitAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kTasks = 25;
  const Installation installation;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this, installation] {  // a copy
      for (int k = 0; k < kTasks; ++k) {
        installation.submit(task, 20s);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(std::size_t{kThreads} * kTasks, installation.list().size());
}

TEST_F(CppInstallationTest, ChildProcessUsesTheSameObject) {
  const Installation installation;
  const pid_t child = fork();
  if (child == 0) {
    installation.submit(task, 5s);
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
  EXPECT_EQ(1U, installation.list().size());
}

}  // namespace
