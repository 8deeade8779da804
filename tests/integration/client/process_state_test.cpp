// What the calls of velmo.h leave unchanged in the process, whether they succeed or fail:
// everything that other libraries have been seen to change.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <velmo/velmo.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CapturedLog.h"
#include "InstallationAndPeerTest.h"
#include "ParallelProcesses.h"

namespace {

using testing::IsEmpty;
using velmo::test::CapturedLog;
using velmo::test::InstallationAndPeerTest;

// --- the state ---

std::string statusLine(const char* key) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(key, 0) == 0) {
      return line;
    }
  }
  return "";
}

std::string environmentText() {
  std::string text;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    text += std::string(*variable) + "\n";
  }
  return text;
}

int cancelState() {
  int state = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
  pthread_setcancelstate(state, nullptr);
  return state;
}

int cancelType() {
  int type = 0;
  pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &type);
  pthread_setcanceltype(type, nullptr);
  return type;
}

// Everything that a call could change, as lines of text.
std::string processState() {
  std::ostringstream state;
  for (const char* key : {"SigPnd", "ShdPnd", "SigBlk", "SigIgn", "SigCgt", "Threads", "Umask"}) {
    state << statusLine(key) << '\n';
  }
  state << "descriptors " << velmo::test::openDescriptors() << '\n'
        << "directory " << std::filesystem::current_path() << '\n'
        << "locale " << std::setlocale(LC_ALL, nullptr) << '\n'
        << "cancellation " << cancelState() << ' ' << cancelType() << '\n'
        << environmentText();
  return state.str();
}

// --- the calls ---

struct NamedCall {
  std::string name;
  std::function<void()> call;
};

class ProcessStateTest : public InstallationAndPeerTest {
 protected:
  void openAndClose() {
    velmo_installation* other = nullptr;
    EXPECT_EQ(VELMO_OK, velmo_open(nullptr, &other, nullptr));
    velmo_close(other);
  }

  void listAndFree() {
    velmo_listing* listing = nullptr;
    EXPECT_EQ(VELMO_OK, velmo_list(handle, &listing, nullptr));
    velmo_listing_free(listing);
  }

  void connectToNobody() {
    velmo_endpoint nobody = endpoint;
    nobody.port = 1;
    velmo_connection* none = nullptr;
    EXPECT_EQ(VELMO_UNREACHABLE, velmo_connect(&nobody, 1000, &none, nullptr));
  }

  void exchange() {
    EXPECT_EQ(VELMO_OK, velmo_connect(&endpoint, 5000, &connection, nullptr));
    EXPECT_EQ(VELMO_OK, velmo_send(connection, &task, 5000, nullptr, nullptr));
    EXPECT_EQ(VELMO_OK, velmo_send(connection, &task, 5000, nullptr, nullptr));
    EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_send(connection, nullptr, 5000, nullptr, nullptr));
    velmo_disconnect(std::exchange(connection, nullptr), 5000);
  }

  void lockForAMoment() {
    place.semaphore.setValue(0);
    EXPECT_NE(VELMO_OK, velmo_submit(handle, &task, 20, 0, nullptr, nullptr));
    place.semaphore.setValue(1);
    const std::string lock = place.directory.writeFile("lock/semaphore_velmo_jobid", "");
    EXPECT_EQ(VELMO_TIMED_OUT, velmo_new_job(handle, 20, 0, nullptr, nullptr));
    std::filesystem::remove(lock);
  }

  // Every call, succeeding and failing.
  std::vector<NamedCall> calls() {
    const std::string jobs = place.directory.path("jobs");
    return {
        {"open", [this] { openAndClose(); }},
        {"submit", [this] { EXPECT_EQ(VELMO_OK, submit(task)); }},
        {"submit durable", [this] { EXPECT_EQ(VELMO_OK, submit(task, VELMO_DURABLE)); }},
        {"submit refused", [this] { EXPECT_EQ(VELMO_NOT_CONFIGURED, submit(unknown)); }},
        {"timeouts", [this] { lockForAMoment(); }},
        {"new job",
         [this] {
           EXPECT_EQ(VELMO_OK, velmo_new_job(handle, 0, VELMO_DURABLE, nullptr, nullptr));
         }},
        {"find job", [this, jobs] { EXPECT_EQ(VELMO_OK, findJob(jobs.c_str())); }},
        {"find job without a directory",
         [this] { EXPECT_EQ(VELMO_NOT_CONFIGURED, findJob("/missing")); }},
        {"check", [this] { EXPECT_NE(-1, velmo_check(handle, &unknown, nullptr, nullptr)); }},
        {"list", [this] { listAndFree(); }},
        {"cancel",
         [this] { EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_cancel(handle, "x", nullptr)); }},
        {"find service",
         [] {
           EXPECT_EQ(VELMO_NOT_CONFIGURED,
                     velmo_find_service("/missing", nullptr, nullptr, nullptr));
         }},
        {"connect to nobody", [this] { connectToNobody(); }},
        {"exchange", [this] { exchange(); }},
    };
  }
};

TEST_F(ProcessStateTest, LoadingBlocksNoSignalAndStartsNoThread) {
  EXPECT_EQ("SigBlk:\t0000000000000000", statusLine("SigBlk"));
  EXPECT_EQ("Threads:\t1", statusLine("Threads"));
}

TEST_F(ProcessStateTest, CallsLeaveSignalsDescriptorsThreadsLocaleAndEnvironmentUnchanged) {
  for (const NamedCall& one : calls()) {
    const std::string before = processState();
    one.call();
    EXPECT_EQ(before, processState()) << one.name;
  }
}

TEST_F(ProcessStateTest, CallsLeaveErrnoUnchanged) {
  for (const NamedCall& one : calls()) {
    if (one.name == "timeouts") {
      continue;  // calls others between those of the library
    }
    errno = 4321;
    one.call();
    EXPECT_EQ(4321, errno) << one.name;
  }
}

TEST_F(ProcessStateTest, CallsLeaveTheSequenceOfRandUnchanged) {
  std::srand(7);
  const std::array<int, 3> expected{std::rand(), std::rand(), std::rand()};
  std::srand(7);
  for (const NamedCall& one : calls()) {
    one.call();
  }
  EXPECT_EQ(expected, (std::array<int, 3>{std::rand(), std::rand(), std::rand()}));
}

TEST_F(ProcessStateTest, CallsWriteNothingToTheSystemLogAndToStandardError) {
  const CapturedLog log;
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  for (const NamedCall& one : calls()) {
    one.call();
  }
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_THAT(log.lines(), IsEmpty());
}

// --- processes and threads ---

TEST_F(ProcessStateTest, InstallationIsUsableAfterFork) {
  const auto exits =
      velmo::test::inProcesses(4, [this](int) { return submit(task) == VELMO_OK ? 0 : 1; });
  EXPECT_THAT(exits, testing::Each(0));
  EXPECT_EQ(VELMO_OK, submit(task));
  EXPECT_EQ(5U, place.queue().size());
}

TEST_F(ProcessStateTest, ThreadsShareAnInstallation) {
  constexpr int kThreads = 64;
  constexpr int kEach = 5;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  std::atomic<int> failures{0};
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this, &failures] {
      for (int k = 0; k < kEach; ++k) {
        failures += velmo_submit(handle, &task, 30000, 0, nullptr, nullptr) == VELMO_OK ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(0, failures);
  EXPECT_EQ(static_cast<std::size_t>(kThreads * kEach), place.queue().size());
  EXPECT_EQ(std::to_string(kThreads * kEach - 1), place.jobCounter());
}

}  // namespace
