// Programs of both libraries share one installation at the same time: processes that use libvelmo,
// and a process with several threads that use libvelmo-client.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/IMMemSemaphore.h>
#include <velmo/IMSemaphore.h>
#include <velmo/velmo.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "HeldProcess.h"
#include "Later.h"
#include "MovedClock.h"
#include "ParallelProcesses.h"
#include "PlatformCalls.h"
#include "TaskInstallation.h"

namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::HeldProcess;
using velmo::test::inProcesses;
using velmo::test::Later;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::TaskInstallation;

constexpr int kOldProcesses = 4;
constexpr int kNewThreads = 4;

// How many calls each process and each thread makes.
struct Calls {
  int ofEachProcess;
  int ofEachThread;

  int all() const {
    return kOldProcesses * ofEachProcess + kNewThreads * ofEachThread;
  }
};

class OldAndNewTest : public testing::Test {
 protected:
  OldAndNewTest() {
    installation.writeHomePriorities("NORMAL=50\n");
    EXPECT_EQ(VELMO_OK, velmo_open(nullptr, &m_handle, nullptr));
  }

  ~OldAndNewTest() override {
    velmo_close(m_handle);
  }

  // Runs old processes and a new process with its threads at the same time. Returns the number of
  // processes in which a call failed.
  static int runTogether(const Calls& calls, const std::function<bool()>& oldCall,
                         const std::function<bool()>& newCall) {
    const std::vector<int> failures = inProcesses(1 + kOldProcesses, [&](int number) {
      return (number == 0 ? runThreads(calls.ofEachThread, newCall)
                          : runOldProcess(calls.ofEachProcess, oldCall))
                 ? 0
                 : 1;
    });
    return std::accumulate(failures.begin(), failures.end(), 0);
  }

  static bool runOldProcess(int count, const std::function<bool()>& call) {
    // Short pauses: those of the old library last up to a second.
    platform().nanosleep.setFake([](const timespec*, timespec*) {
      const timespec pause{0, 1000000};
      return platform().nanosleep.real(&pause, nullptr);
    });
    platform().syslog.setFake([](int, const char*) {});
    return succeeds(count, call);
  }

  static bool runThreads(int count, const std::function<bool()>& call) {
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    threads.reserve(kNewThreads);
    for (int i = 0; i < kNewThreads; ++i) {
      threads.emplace_back([&] { failures += succeeds(count, call) ? 0 : 1; });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    return failures == 0;
  }

  static bool succeeds(int count, const std::function<bool()>& call) {
    for (int i = 0; i < count; ++i) {
      if (!call()) {
        return false;
      }
    }
    return true;
  }

  // Submits with the new library.
  bool submit(const char* job, int timeoutMs = VELMO_NO_LIMIT) const {
    velmo_task task{};
    task.size = sizeof task;
    task.priority_class = "NORMAL";
    task.command = "new";
    task.job = job;
    return velmo_submit(m_handle, &task, timeoutMs, 0, nullptr, nullptr) == VELMO_OK;
  }

  // Submits with the old one.
  static bool submitOld(const char* job) {
    return createTaskFile("NORMAL", "old", nullptr, nullptr, job, nullptr, nullptr, 0) == 0;
  }

  // The same with a job identifier that the old library issues. While its pauses are short, it may
  // time out early: it adds up the pauses that it planned. It has then issued none.
  static bool submitOldWithNewJob() {
    std::string job;
    while (job.empty()) {
      job = CreateTaskFile().generateJobID();
    }
    return submitOld(job.c_str());
  }

  // The parts of the names in the queue, sorted.
  std::vector<int> partsOfNames(const std::function<int(const velmo_task_name&)>& part) const {
    std::vector<int> parts;
    for (const std::string& text : installation.queue()) {
      velmo_task_name name{};
      EXPECT_EQ(VELMO_OK, velmo_parse_name(text.c_str(), &name)) << text;
      parts.push_back(part(name));
    }
    std::sort(parts.begin(), parts.end());
    return parts;
  }

  static int taskOf(const velmo_task_name& name) {
    return name.task;
  }

  // The number of a job "J17".
  static int jobOf(const velmo_task_name& name) {
    return std::stoi(name.job + 1);
  }

  static std::vector<int> numbersFrom(int first, const Calls& calls) {
    std::vector<int> numbers(static_cast<std::size_t>(calls.all()));
    std::iota(numbers.begin(), numbers.end(), first);
    return numbers;
  }

  std::string lockFile() const {
    return installation.directory.path("lock/semaphore_velmo_jobid");
  }

  // Asks for a new job with the new library: its identifier, or the text of the failure.
  std::string newJob(int timeoutMs) const {
    std::array<char, VELMO_NAME_SIZE> job{};
    velmo_error error{};
    return velmo_new_job(m_handle, timeoutMs, 0, job.data(), &error) == VELMO_OK ? job.data()
                                                                                 : error.message;
  }

  const FakeScope fakes;
  const TaskInstallation installation;

 private:
  velmo_installation* m_handle = nullptr;
};

// --- both at the same time ---

TEST_F(OldAndNewTest, TaskIdentifiersAreAllDifferentAndNoneIsMissing) {
  constexpr Calls kCalls{50, 200};
  EXPECT_EQ(0, runTogether(
                   kCalls, [] { return submitOld("J1"); }, [this] { return submit("J1"); }));
  EXPECT_EQ(numbersFrom(1, kCalls), partsOfNames(taskOf));
  EXPECT_EQ(kCalls.all(), installation.counter.value());
  EXPECT_EQ(1, installation.semaphore.value());
  EXPECT_THAT(installation.temporary(), IsEmpty());
}

TEST_F(OldAndNewTest, JobNumbersAreAllDifferentAndNoneIsMissing) {
  constexpr Calls kCalls{10, 40};
  EXPECT_EQ(0, runTogether(kCalls, submitOldWithNewJob, [this] { return submit(nullptr); }));
  EXPECT_EQ(numbersFrom(0, kCalls), partsOfNames(jobOf));
  EXPECT_EQ(numbersFrom(1, kCalls), partsOfNames(taskOf));
  EXPECT_EQ(std::to_string(kCalls.all() - 1), installation.jobCounter());
  EXPECT_EQ(1U, velmo::test::namesIn(installation.directory.path("data/velmo")).size());
  EXPECT_THAT(velmo::test::namesIn(installation.directory.path("lock")), IsEmpty());
}

// --- one of them holds what the other wants ---

TEST_F(OldAndNewTest, OldProcessThatIsKilledWithTheTaskSemaphoreLetsTheNewOneOn) {
  HeldProcess holder([this] {
    EXPECT_TRUE(brix::imutils::IMMemSemaphore(installation.semaphore.key(), false).lock());
  });
  EXPECT_FALSE(submit("J1", 0));
  const Later killing(20, [&holder] { holder.kill(); });
  EXPECT_TRUE(submit("J1", VELMO_NO_LIMIT));
  EXPECT_TRUE(submitOld("J1"));
  EXPECT_EQ(2U, installation.queue().size());
}

TEST_F(OldAndNewTest, NewProcessThatIsKilledWithTheTaskSemaphoreLetsTheOldOneOn) {
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            platform().shmdt.setFake([](const void*) { return raise(SIGKILL); });
                            return submit("J1") ? 0 : 1;
                          }),
              Each(-SIGKILL));
  EXPECT_TRUE(submitOld("J1"));
}

TEST_F(OldAndNewTest, LockOfAnOldProcessKeepsTheNewOneOut) {
  brix::imutils::IMSemaphore lock("velmo_jobid", true);
  EXPECT_TRUE(lock.lockResource());
  const std::string failure = newJob(30);
  EXPECT_THAT(failure, StartsWith("the job counter is locked: \"" + lockFile() + "\" has existed"));
  EXPECT_THAT(failure, Not(HasSubstr("process")));
  EXPECT_TRUE(exists(lockFile()));
  lock.unlock();
  EXPECT_EQ("J0", newJob(30));
}

TEST_F(OldAndNewTest, LockOfANewProcessKeepsTheOldOneOut) {
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            platform().rename.setFake(
                                [](const char*, const char*) { return raise(SIGKILL); });
                            return newJob(30).empty() ? 1 : 0;
                          }),
              Each(-SIGKILL));
  platform().nanosleep.setFake([](const timespec*, timespec*) { return 0; });
  EXPECT_EQ("", CreateTaskFile().generateJobID());
  std::filesystem::remove(lockFile());
  EXPECT_EQ("J0", CreateTaskFile().generateJobID());
}

TEST_F(OldAndNewTest, BothGoOnFromWhatTheOtherWrote) {
  EXPECT_EQ("J0", newJob(0));
  EXPECT_EQ("J1", CreateTaskFile().generateJobID());
  EXPECT_EQ("J2", newJob(0));
  EXPECT_EQ("2", installation.jobCounter());
  installation.writeJobCounter("999999");
  EXPECT_EQ("J0", newJob(0));
  EXPECT_EQ("J1", CreateTaskFile().generateJobID());
}

TEST_F(OldAndNewTest, NamesDifferInTheTaskAloneAndTheFilesAreTheSame) {
  const velmo::test::MovedClock clock{1741007469};
  EXPECT_TRUE(submitOld("J1"));
  EXPECT_TRUE(submit("J1"));
  const std::vector<std::string> names = installation.queue();
  ASSERT_EQ(2U, names.size());
  std::string second = names[0];
  second.replace(second.rfind("-1."), 3, "-2.");
  EXPECT_EQ(names[1], second);
  EXPECT_EQ("old\n", readFile(installation.directory.path("var/taskqueue/" + names[0])));
  EXPECT_EQ("new\n", readFile(installation.directory.path("var/taskqueue/" + names[1])));
}

}  // namespace
