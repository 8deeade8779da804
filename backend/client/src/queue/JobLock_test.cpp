#include "JobLock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "Environment.h"
#include "HeldProcess.h"
#include "Later.h"
#include "MovedClock.h"
#include "MovedMonotonicClock.h"
#include "ParallelProcesses.h"
#include "PlatformCalls.h"
#include "ShownResult.h"
#include "Stopwatch.h"
#include "TemporaryDirectory.h"
#include "TimerSignals.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::StartsWith;
using velmo::client::JobLock;
using velmo::client::Wait;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::HeldProcess;
using velmo::test::inProcesses;
using velmo::test::Later;
using velmo::test::MovedMonotonicClock;
using velmo::test::namesIn;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::setFileTime;
using velmo::test::shown;
using velmo::test::Stopwatch;
using velmo::test::TemporaryDirectory;
using velmo::test::TimerSignals;
using velmo::test::UnprivilegedFiles;

constexpr int kForEver = VELMO_NO_LIMIT;

std::string take(JobLock& lock, int timeoutMs = 0, const volatile int* stop = nullptr) {
  return shown(lock.take(Wait(timeoutMs, stop)));
}

bool blocks(int signal) {
  sigset_t mask{};
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, signal) == 1;
}

class JobLockTest : public testing::Test {
 protected:
  std::string takenAway() const {
    return "SYSTEM_ERROR: another process removed or replaced the lock file of the job counter "
           "while it was held: \"" +
           path + "\"";
  }

  const FakeScope fakes;
  const TemporaryDirectory directory;
  const std::string path = directory.path("semaphore_velmo_jobid");
};

// --- the file ---

TEST_F(JobLockTest, LockIsAFileWithTheProcessIdAndIsRemovedByTheRelease) {
  const std::size_t before = openDescriptors();
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  EXPECT_EQ(std::to_string(getpid()) + "\n", readFile(path));
  EXPECT_EQ("OK", shown(lock.check()));
  EXPECT_EQ("OK", shown(lock.release()));
  EXPECT_THAT(namesIn(directory.path()), IsEmpty());
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(JobLockTest, DestructorReleases) {
  const std::size_t before = openDescriptors();
  {
    JobLock lock(directory.path());
    EXPECT_EQ("OK", take(lock));
  }
  EXPECT_FALSE(exists(path));
  EXPECT_FALSE(blocks(SIGINT));
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(JobLockTest, DestructorOfALockThatWasNotTakenRemovesNothing) {
  directory.writeFile("semaphore_velmo_jobid", "");
  {
    JobLock lock(directory.path());
    EXPECT_THAT(take(lock), StartsWith("TIMED_OUT: "));
  }
  EXPECT_TRUE(exists(path));
}

TEST_F(JobLockTest, FileIsCreatedExclusivelyWithMode0660LessTheUmask) {
  platform().open.setFake([](const char* file, int flags, mode_t mode) {
    EXPECT_EQ(O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_CREAT | O_EXCL, flags);
    EXPECT_EQ(0660U, mode);
    return platform().open.real(file, flags, mode);
  });
  const mode_t before = umask(0027);
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  umask(before);
  struct stat status {};
  ASSERT_EQ(0, stat(path.c_str(), &status));
  EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST_F(JobLockTest, LockCanBeTakenAgainAfterItsRelease) {
  JobLock lock(directory.path());
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ("OK", take(lock));
    EXPECT_EQ("OK", shown(lock.release()));
  }
}

TEST_F(JobLockTest, ProcessIdThatCannotBeWrittenDoesNotMatter) {
  platform().write.setFake([](int, const void*, size_t) {
    errno = ENOSPC;
    return ssize_t{-1};
  });
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  EXPECT_EQ("", readFile(path));
  EXPECT_EQ("OK", shown(lock.release()));
}

TEST_F(JobLockTest, FailureToCreateTheFileIsASystemError) {
  platform().open.setFake([](const char*, int, mode_t) {
    errno = ENOSPC;
    return -1;
  });
  JobLock lock(directory.path());
  EXPECT_EQ("SYSTEM_ERROR: cannot lock the job counter: cannot create \"" + path +
                "\": No space left on device",
            take(lock, kForEver));
  EXPECT_FALSE(blocks(SIGINT));
}

TEST_F(JobLockTest, DirectoryWithoutPermissionIsASystemError) {
  directory.setMode("", 0555);
  const UnprivilegedFiles unprivileged;
  JobLock lock(directory.path());
  EXPECT_EQ("SYSTEM_ERROR: cannot lock the job counter: cannot create \"" + path +
                "\": Permission denied",
            take(lock, kForEver));
}

TEST_F(JobLockTest, MissingDirectoryIsTheOperatorsTurn) {
  JobLock lock(directory.path("missing"));
  EXPECT_EQ("NOT_CONFIGURED: the directory of LOCK_VAR is missing: \"" + directory.path("missing") +
                "\": No such file or directory",
            take(lock, kForEver));
  JobLock inFile(directory.writeFile("file", ""));
  EXPECT_EQ("NOT_CONFIGURED: the directory of LOCK_VAR is missing: \"" + directory.path("file") +
                "\": Not a directory",
            take(inFile, kForEver));
}

TEST_F(JobLockTest, PathThatIsTooLongIsRefusedAndNotCut) {
  JobLock lock(directory.path().string() + std::string(5000, '/'));
  EXPECT_THAT(take(lock, kForEver), AllOf(StartsWith("SYSTEM_ERROR: cannot lock the job counter"),
                                          HasSubstr("File name too long")));
}

TEST_F(JobLockTest, LinkInItsPlaceIsATakenLockAndNotFollowed) {
  std::filesystem::create_symlink(directory.path("target"), path);
  JobLock lock(directory.path());
  EXPECT_THAT(take(lock), StartsWith("TIMED_OUT: "));
  EXPECT_FALSE(exists(directory.path("target")));
}

// --- the release ---

TEST_F(JobLockTest, LockFileThatWasReplacedIsNotRemoved) {
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  std::filesystem::remove(path);
  directory.writeFile("semaphore_velmo_jobid", "another");
  EXPECT_EQ(takenAway(), shown(lock.check()));
  EXPECT_EQ(takenAway(), shown(lock.release()));
  EXPECT_EQ("another", readFile(path));
  EXPECT_FALSE(blocks(SIGINT));
}

TEST_F(JobLockTest, DestructorDoesNotRemoveALockFileThatWasReplaced) {
  {
    JobLock lock(directory.path());
    EXPECT_EQ("OK", take(lock));
    std::filesystem::remove(path);
    directory.writeFile("semaphore_velmo_jobid", "another");
  }
  EXPECT_EQ("another", readFile(path));
}

TEST_F(JobLockTest, LockFileThatWasRemovedWasTakenAway) {
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  std::filesystem::remove(path);
  EXPECT_EQ(takenAway(), shown(lock.check()));
  EXPECT_EQ(takenAway(), shown(lock.release()));
}

TEST_F(JobLockTest, LockFileThatIsRemovedAtTheLastMomentWasTakenAway) {
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  platform().unlink.setFake([](const char* file) {
    platform().unlink.real(file);
    return platform().unlink.real(file);
  });
  EXPECT_EQ(takenAway(), shown(lock.release()));
}

TEST_F(JobLockTest, FailedRemovalIsReportedOnceAndSignalsAreBack) {
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  int removals = 0;
  platform().unlink.setFake([&removals](const char*) {
    ++removals;
    errno = EROFS;
    return -1;
  });
  EXPECT_EQ("SYSTEM_ERROR: cannot release the lock of the job counter: \"" + path +
                "\": Read-only file system",
            shown(lock.release()));
  EXPECT_FALSE(blocks(SIGINT));
  EXPECT_EQ(1, removals);
}

// --- signals ---

TEST_F(JobLockTest, SignalsAreBlockedFromTheCreationToTheRemoval) {
  std::vector<std::string> seen;
  const auto see = [&seen](const std::string& call) {
    seen.push_back(call + (blocks(SIGINT) && blocks(SIGTERM) && blocks(SIGALRM) ? " blocked" : ""));
  };
  platform().open.setFake([&see](const char* file, int flags, mode_t mode) {
    see("open");
    return platform().open.real(file, flags, mode);
  });
  platform().unlink.setFake([&see](const char* file) {
    see("unlink");
    return platform().unlink.real(file);
  });
  JobLock lock(directory.path());
  see("before");
  EXPECT_EQ("OK", take(lock));
  see("held");
  EXPECT_EQ("OK", shown(lock.release()));
  see("after");
  EXPECT_THAT(seen,
              ElementsAre("before", "open blocked", "held blocked", "unlink blocked", "after"));
}

TEST_F(JobLockTest, SignalsAreNotBlockedDuringAPause) {
  directory.writeFile("semaphore_velmo_jobid", "");
  platform().nanosleep.setFake([this](const timespec*, timespec*) {
    EXPECT_FALSE(blocks(SIGINT));
    std::filesystem::remove(path);
    return 0;
  });
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock, kForEver));
}

TEST_F(JobLockTest, SignalsThatTheProgramBlocksStayBlocked) {
  sigset_t usr1{};
  sigemptyset(&usr1);
  sigaddset(&usr1, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &usr1, nullptr);
  {
    JobLock lock(directory.path());
    EXPECT_EQ("OK", take(lock));
  }
  EXPECT_TRUE(blocks(SIGUSR1));
  EXPECT_FALSE(blocks(SIGINT));
  pthread_sigmask(SIG_UNBLOCK, &usr1, nullptr);
}

std::string g_lockFile;
volatile std::sig_atomic_t g_foundLock = -1;

TEST_F(JobLockTest, SignalIsDeliveredWhenTheLockFileIsGone) {
  g_lockFile = path;
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) { g_foundLock = access(g_lockFile.c_str(), F_OK) == 0 ? 1 : 0; };
  sigaction(SIGINT, &action, &before);
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  kill(getpid(), SIGINT);
  EXPECT_EQ(-1, g_foundLock);
  EXPECT_EQ("OK", shown(lock.release()));
  EXPECT_EQ(0, g_foundLock);
  sigaction(SIGINT, &before, nullptr);
}

TEST_F(JobLockTest, ProcessThatASignalEndsLeavesNoLockFile) {
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            JobLock lock(directory.path());
                            take(lock);
                            kill(getpid(), SIGINT);
                            return lock.release() ? 1 : 0;
                          }),
              Each(-SIGINT));
  EXPECT_FALSE(exists(path));
}

// --- waits ---

TEST_F(JobLockTest, TimeoutOf0TriesOnceAndNeverPauses) {
  directory.writeFile("semaphore_velmo_jobid", "");
  int attempts = 0;
  platform().open.setFake([&attempts](const char* file, int flags, mode_t mode) {
    attempts += (flags & O_CREAT) != 0 ? 1 : 0;
    return platform().open.real(file, flags, mode);
  });
  platform().nanosleep.setFake([](const timespec*, timespec*) {
    ADD_FAILURE() << "pauses";
    return 0;
  });
  JobLock lock(directory.path());
  EXPECT_THAT(take(lock, 0), StartsWith("TIMED_OUT: "));
  EXPECT_EQ(1, attempts);
}

TEST_F(JobLockTest, TimeoutNamesAgeAndMakerAndNeverBreaksTheLock) {
  velmo::test::Environment environment;
  environment.set("TZ", "EAST-0:54");
  tzset();
  constexpr time_t kNow = 1741007469;
  const velmo::test::MovedClock clock{kNow};
  HeldProcess maker([] {});
  maker.kill();
  const std::string process = std::to_string(maker.pid());
  directory.writeFile("semaphore_velmo_jobid", process + "\n");
  setFileTime(path.c_str(), kNow - 864000);
  JobLock lock(directory.path());
  EXPECT_EQ("TIMED_OUT: the job counter is locked: \"" + path +
                "\" has existed since 2025-02-21 14:05:09 (for 10 days), made by process " +
                process + ", which has ended",
            take(lock, 30));
  EXPECT_EQ(process + "\n", readFile(path));
}

TEST_F(JobLockTest, WaitLastsUntilTheDeadline) {
  directory.writeFile("semaphore_velmo_jobid", "");
  JobLock lock(directory.path());
  const Stopwatch watch;
  EXPECT_THAT(take(lock, 60), StartsWith("TIMED_OUT: "));
  EXPECT_GE(watch.elapsedMs(), 60);
}

TEST_F(JobLockTest, SignalsDoNotShortenTheWait) {
  directory.writeFile("semaphore_velmo_jobid", "");
  JobLock lock(directory.path());
  const TimerSignals signals;
  const Stopwatch watch;
  EXPECT_THAT(take(lock, 80), StartsWith("TIMED_OUT: "));
  EXPECT_GE(watch.elapsedMs(), 80);
  EXPECT_GE(signals.delivered(), 1);
}

TEST_F(JobLockTest, AttemptThatASignalInterruptsIsRepeated) {
  int attempts = 0;
  platform().open.setFake([&attempts](const char* file, int flags, mode_t mode) {
    errno = EINTR;
    return ++attempts < 3 ? -1 : platform().open.real(file, flags, mode);
  });
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock, kForEver));
}

TEST_F(JobLockTest, LockThatIsReleasedDuringTheWaitIsTaken) {
  directory.writeFile("semaphore_velmo_jobid", "");
  JobLock lock(directory.path());
  const Later release(20, [this] { std::filesystem::remove(path); });
  EXPECT_EQ("OK", take(lock, kForEver));
  EXPECT_EQ(std::to_string(getpid()) + "\n", readFile(path));
}

TEST_F(JobLockTest, StopFlagEndsTheWait) {
  directory.writeFile("semaphore_velmo_jobid", "");
  volatile int stop = 0;
  JobLock lock(directory.path());
  const Later setStop(20, [&stop] { stop = 1; });
  EXPECT_EQ("STOPPED: stopped while waiting for the lock file \"" + path + "\"",
            take(lock, kForEver, &stop));
  EXPECT_TRUE(stop == 1);
}

TEST_F(JobLockTest, StopFlagDoesNotMatterWithoutAWait) {
  const volatile int stop = 1;
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock, kForEver, &stop));
}

// The pauses in nanoseconds of a wait of so many attempts.
std::vector<long> pausesOf(const TemporaryDirectory& directory, std::size_t count) {
  std::vector<long> pauses;
  volatile int stop = 0;
  platform().nanosleep.setFake([&](const timespec* pause, timespec*) {
    EXPECT_EQ(0, pause->tv_sec);
    pauses.push_back(pause->tv_nsec);
    stop = pauses.size() == count ? 1 : 0;
    return 0;
  });
  directory.writeFile("semaphore_velmo_jobid", "");
  JobLock lock(directory.path());
  take(lock, kForEver, &stop);
  platform().reset();
  return pauses;
}

TEST_F(JobLockTest, PausesAreRandomFrom1To20Ms) {
  const std::vector<long> first = pausesOf(directory, 200);
  const std::vector<long> second = pausesOf(directory, 200);
  EXPECT_THAT(first, Each(AllOf(Ge(1000000), Le(20000000))));
  EXPECT_GE(std::set<long>(first.begin(), first.end()).size(), 190U);
  EXPECT_NE(first, second);
  EXPECT_LE(*std::min_element(first.begin(), first.end()), 3000000);
  EXPECT_GE(*std::max_element(first.begin(), first.end()), 18000000);
}

TEST_F(JobLockTest, PausesEndAtTheDeadline) {
  MovedMonotonicClock clock{std::chrono::hours(1)};
  long waitedNs = 0;
  platform().nanosleep.setFake([&](const timespec* pause, timespec*) {
    waitedNs += pause->tv_nsec;
    clock.advance(std::chrono::nanoseconds(pause->tv_nsec));
    return 0;
  });
  directory.writeFile("semaphore_velmo_jobid", "");
  JobLock lock(directory.path());
  EXPECT_THAT(take(lock, 60), StartsWith("TIMED_OUT: "));
  EXPECT_EQ(60'000'000, waitedNs);
}

TEST_F(JobLockTest, ProgramsOwnRandomNumbersStay) {
  platform().rand.setFake([] {
    ADD_FAILURE() << "rand";
    return 0;
  });
  pausesOf(directory, 3);
}

// --- other processes ---

TEST_F(JobLockTest, OnlyOneProcessAtATimeHoldsTheLock) {
  const std::string held = directory.path("held");
  EXPECT_THAT(inProcesses(4,
                          [&](int) {
                            for (int i = 0; i < 50; ++i) {
                              JobLock lock(directory.path());
                              if (lock.take(Wait(kForEver, nullptr)) ||
                                  mkdir(held.c_str(), 0700) != 0 || rmdir(held.c_str()) != 0 ||
                                  lock.release()) {
                                return 1;
                              }
                            }
                            return 0;
                          }),
              Each(0));
  EXPECT_THAT(namesIn(directory.path()), IsEmpty());
}

TEST_F(JobLockTest, HolderThatIsKilledLeavesItsLockAndItsName) {
  HeldProcess holder([this] {
    auto* const lock = new JobLock(directory.path());
    take(*lock);
  });
  const std::string process = std::to_string(holder.pid());
  JobLock lock(directory.path());
  EXPECT_THAT(take(lock), HasSubstr(", made by process " + process + ", which is running"));
  holder.kill();
  EXPECT_THAT(take(lock), HasSubstr(", made by process " + process + ", which has ended"));
  EXPECT_EQ(process + "\n", readFile(path));
}

TEST_F(JobLockTest, ForkedChildCannotTakeTheLockOfItsParent) {
  JobLock lock(directory.path());
  EXPECT_EQ("OK", take(lock));
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            JobLock second(directory.path());
                            return second.take(Wait(0, nullptr)) ? 0 : 1;
                          }),
              Each(0));
  EXPECT_EQ("OK", shown(lock.release()));
}

}  // namespace
