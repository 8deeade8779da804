#include "IMSemaphore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include "Environment.h"
#include "IMException.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::IMException;
using brix::imutils::IMIOException;
using brix::imutils::IMSemaphore;
using brix::imutils::IMTimeoutException;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using velmo::test::Environment;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::platform;
using velmo::test::TemporaryDirectory;

template <typename Exception, typename Call>
std::string renderedException(Call call) {
  try {
    call();
  } catch (Exception& exception) {
    std::string text;
    exception.toString(text);
    return text;
  }
  return "no exception";
}

class IMSemaphoreTest : public testing::Test {
 protected:
  IMSemaphoreTest() {
    platform().nanosleep.setFake([this](const timespec* pause, timespec*) {
      EXPECT_EQ(0, pause->tv_sec);
      pausesMs.push_back(pause->tv_nsec / 1000000);
      EXPECT_EQ(0, pause->tv_nsec % 1000000);
      if (onSleep) {
        onSleep();
      }
      return sleepResult;
    });
  }

  void answerRandWith(int r) {
    platform().rand.setFake([r] { return r; });
  }

  long sumOfPauses() const {
    return std::accumulate(pausesMs.begin(), pausesMs.end(), 0L);
  }

  IMSemaphore semaphore(bool autoUnlock = false) const {
    return {"x", directory.path(), autoUnlock};
  }

  TemporaryDirectory directory;
  const std::string lockFile = directory.path("semaphore_x");
  Environment environment;
  FakeScope fakes;
  std::vector<long> pausesMs;
  std::function<void()> onSleep;
  int sleepResult = 0;
};

TEST_F(IMSemaphoreTest, IsNotCopyable) {
  EXPECT_FALSE(std::is_copy_constructible_v<IMSemaphore>);
  EXPECT_FALSE(std::is_copy_assignable_v<IMSemaphore>);
}

// --- the lock directory ---

TEST_F(IMSemaphoreTest, DirectoryGivenIsUsedAndLockVarIsNotRead) {
  platform().getenv.setFake([](const char* name) {
    ADD_FAILURE() << name << " is read";
    return platform().getenv.real(name);
  });
  EXPECT_TRUE(semaphore().lockResource());
  EXPECT_TRUE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, WithoutDirectoryLockVarIsTaken) {
  environment.set("LOCK_VAR", directory.path());
  EXPECT_TRUE(IMSemaphore("x", false).lockResource());
  EXPECT_TRUE(IMSemaphore("y", "", false).lockResource());
  EXPECT_TRUE(exists(directory.path("semaphore_x")));
  EXPECT_TRUE(exists(directory.path("semaphore_y")));
}

TEST_F(IMSemaphoreTest, LockVarIsReadInTheConstructorOnly) {
  environment.set("LOCK_VAR", directory.path());
  IMSemaphore lock("x", true);
  environment.set("LOCK_VAR", directory.path("missing"));
  EXPECT_TRUE(lock.lockResource());
  EXPECT_TRUE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, EmptyLockVarIsTheRootDirectory) {
  environment.set("LOCK_VAR", "");
  std::vector<std::string> opened;
  platform().open.setFake([&opened](const char* path, int, mode_t) {
    opened.emplace_back(path);
    errno = EEXIST;
    return -1;
  });
  EXPECT_FALSE(IMSemaphore("x", false).lockResource());
  EXPECT_THAT(opened, ElementsAre("/semaphore_x"));
}

TEST_F(IMSemaphoreTest, WithoutLockVarTheCurrentDirectoryOfEachCallIsUsed) {
  environment.unset("LOCK_VAR");
  const std::filesystem::path before = std::filesystem::current_path();
  const std::string first = directory.makeDirectory("first");
  const std::string second = directory.makeDirectory("second");
  IMSemaphore lock("x", false);
  std::filesystem::current_path(first);
  EXPECT_TRUE(lock.lockResource());
  std::filesystem::current_path(second);
  EXPECT_TRUE(lock.lockResource());
  std::filesystem::current_path(before);
  EXPECT_TRUE(exists(first + "/semaphore_x"));
  EXPECT_TRUE(exists(second + "/semaphore_x"));
}

// --- lockResource ---

TEST_F(IMSemaphoreTest, LockHeldElsewhereReturnsFalse) {
  directory.writeFile("semaphore_x", "");
  EXPECT_FALSE(semaphore().lockResource());
  EXPECT_THAT(pausesMs, IsEmpty());
}

TEST_F(IMSemaphoreTest, HolderThatAsksAgainGetsFalseAndStillHolds) {
  IMSemaphore lock = IMSemaphore("x", directory.path(), false);
  EXPECT_TRUE(lock.lockResource());
  EXPECT_FALSE(lock.lockResource());
  lock.unlock();
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, TwoObjectsOfOneNameAndDirectoryExcludeEachOther) {
  IMSemaphore one("x", directory.path(), false);
  IMSemaphore two("x", directory.path(), false);
  EXPECT_TRUE(one.lockResource());
  EXPECT_FALSE(two.lockResource());
  one.unlock();
  EXPECT_TRUE(two.lockResource());
}

TEST_F(IMSemaphoreTest, MissingDirectoryThrowsNamingTheLock) {
  IMSemaphore lock("x", directory.path("missing"), true);
  EXPECT_EQ("IO Exception: [2] Creating semaphore failed: x [No such file or directory]",
            renderedException<IMIOException>([&] { lock.lockResource(); }));
}

TEST_F(IMSemaphoreTest, NameThatIsTooLongThrowsItsError) {
  const std::string name(300, 'n');
  IMSemaphore lock(name, directory.path(), true);
  EXPECT_EQ("IO Exception: [36] Creating semaphore failed: " + name + " [File name too long]",
            renderedException<IMIOException>([&] { lock.lockResource(); }));
}

// --- lock ---

TEST_F(IMSemaphoreTest, LockOfAFreeLockDoesNotSleep) {
  for (const int timeout : {-1, 0, 30}) {
    IMSemaphore lock("x", directory.path(), true);
    EXPECT_TRUE(lock.lock(timeout));
  }
  EXPECT_THAT(pausesMs, IsEmpty());
}

TEST_F(IMSemaphoreTest, TimeoutBelowZeroTriesExactlyOnceAndDoesNotSleep) {
  directory.writeFile("semaphore_x", "");
  int attempts = 0;
  platform().open.setFake([&attempts](const char* path, int flags, mode_t mode) {
    ++attempts;
    return platform().open.real(path, flags, mode);
  });
  const int smallest = std::numeric_limits<int>::min();
  for (const int timeout : {-1, -5, -2147484, smallest, smallest + 1}) {
    attempts = 0;
    IMSemaphore lock("x", directory.path(), false);
    EXPECT_EQ("Timeout Exception: [1] Semaphore timed out",
              renderedException<IMTimeoutException>([&] { lock.lock(timeout); }))
        << timeout;
    EXPECT_EQ(1, attempts) << timeout;
  }
  EXPECT_THAT(pausesMs, IsEmpty());
}

TEST_F(IMSemaphoreTest, PositiveTimeoutGivesUpOncePausesAddUpToIt) {
  directory.writeFile("semaphore_x", "");
  answerRandWith(0);  // 10 milliseconds each
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_EQ("Timeout Exception: [1] Semaphore timed out",
            renderedException<IMTimeoutException>([&] { lock.lock(1); }));
  EXPECT_EQ(100U, pausesMs.size());
  EXPECT_THAT(pausesMs, Each(10));
}

TEST_F(IMSemaphoreTest, LastPauseMayGoBeyondTheTimeout) {
  directory.writeFile("semaphore_x", "");
  answerRandWith(RAND_MAX);  // 989 milliseconds each
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_THROW(lock.lock(1), IMTimeoutException);
  EXPECT_THAT(pausesMs, ElementsAre(989, 989));
}

TEST_F(IMSemaphoreTest, PausesFromThePlatformsRandAddUpToTheTimeout) {
  directory.writeFile("semaphore_x", "");
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_THROW(lock.lock(5), IMTimeoutException);
  EXPECT_GE(sumOfPauses(), 5000);
  EXPECT_LT(sumOfPauses() - pausesMs.back(), 5000);
}

TEST_F(IMSemaphoreTest, PauseIsUniformBetween10And989Milliseconds) {
  const std::vector<std::pair<int, long>> rows{
      {0, 10},            // shortest
      {2191309, 10},      // just below one more millisecond
      {2191310, 11},      // the range of rand has 980 such steps
      {1073741824, 500},  // the middle
      {2147483647, 989},  // longest
  };
  directory.writeFile("semaphore_x", "");
  for (const auto& [r, pause] : rows) {
    answerRandWith(r);
    onSleep = [this] { std::filesystem::remove(lockFile); };
    pausesMs.clear();
    directory.writeFile("semaphore_x", "");
    EXPECT_TRUE(semaphore().lock(1)) << r;
    EXPECT_THAT(pausesMs, ElementsAre(pause)) << r;
  }
}

TEST_F(IMSemaphoreTest, TimeoutZeroNeverGivesUp) {
  directory.writeFile("semaphore_x", "");
  answerRandWith(RAND_MAX);
  onSleep = [this] {
    if (pausesMs.size() == 10000) {
      std::filesystem::remove(lockFile);
    }
  };
  EXPECT_TRUE(semaphore().lock(0));
  EXPECT_EQ(10000U, pausesMs.size());
}

TEST_F(IMSemaphoreTest, LockIsTakenAtTheFirstAttemptAfterTheRelease) {
  directory.writeFile("semaphore_x", "");
  answerRandWith(0);
  onSleep = [this] {
    if (pausesMs.size() == 3) {
      std::filesystem::remove(lockFile);
    }
  };
  EXPECT_TRUE(semaphore().lock(1));
  EXPECT_EQ(3U, pausesMs.size());
}

TEST_F(IMSemaphoreTest, LockIsStillTriedAfterTheLastPause) {
  directory.writeFile("semaphore_x", "");
  answerRandWith(0);
  onSleep = [this] {
    if (pausesMs.size() == 100) {
      std::filesystem::remove(lockFile);
    }
  };
  EXPECT_TRUE(semaphore().lock(1));
}

TEST_F(IMSemaphoreTest, PauseThatASignalInterruptsIsNotResumedAndCountsInFull) {
  directory.writeFile("semaphore_x", "");
  answerRandWith(0);
  sleepResult = -1;
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_THROW(lock.lock(1), IMTimeoutException);
  EXPECT_EQ(100U, pausesMs.size());
}

TEST_F(IMSemaphoreTest, BudgetIsCountedIn32Bits) {
  directory.writeFile("semaphore_x", "");
  answerRandWith(RAND_MAX);
  IMSemaphore lock("x", directory.path(), false);
  // 2147484 * 1000 wraps below zero: the budget is used up at once.
  EXPECT_THROW(lock.lock(2147484), IMTimeoutException);
  EXPECT_THAT(pausesMs, IsEmpty());
  // 4294968 * 1000 wraps to 704 milliseconds.
  EXPECT_THROW(lock.lock(4294968), IMTimeoutException);
  EXPECT_THAT(pausesMs, ElementsAre(989));
}

TEST_F(IMSemaphoreTest, HolderThatLocksAgainTimesOut) {
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_TRUE(lock.lock(1));
  EXPECT_THROW(lock.lock(-1), IMTimeoutException);
  EXPECT_THROW(lock.lock(1), IMTimeoutException);
  lock.unlock();
  EXPECT_TRUE(lock.lock(1));
}

TEST_F(IMSemaphoreTest, FailureToCreatePassesThroughLockWithoutWaiting) {
  IMSemaphore lock("x", directory.path("missing"), false);
  EXPECT_EQ("IO Exception: [2] Creating semaphore failed: x [No such file or directory]",
            renderedException<IMException>([&] { lock.lock(30); }));
  EXPECT_THAT(pausesMs, IsEmpty());
}

// --- unlock ---

TEST_F(IMSemaphoreTest, UnlockRemovesTheLockFile) {
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_TRUE(lock.lockResource());
  lock.unlock();
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, UnlockOfAnObjectThatNeverLockedRemovesNothing) {
  directory.writeFile("semaphore_x", "");
  IMSemaphore lock("x", directory.path(), true);
  EXPECT_FALSE(lock.lockResource());
  lock.unlock();
  EXPECT_TRUE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, UnlockOfAMissingLockFileSucceedsAndClearsTheLock) {
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_TRUE(lock.lockResource());
  std::filesystem::remove(lockFile);
  EXPECT_NO_THROW(lock.unlock());
  directory.writeFile("semaphore_x", "");
  lock.unlock();
  EXPECT_TRUE(exists(lockFile)) << "the lock counted as still held";
}

TEST_F(IMSemaphoreTest, UnlockTwiceRemovesOnce) {
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_TRUE(lock.lockResource());
  lock.unlock();
  directory.writeFile("semaphore_x", "");
  lock.unlock();
  EXPECT_TRUE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, UnlockThatFailsThrowsAndStillHolds) {
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_TRUE(lock.lockResource());
  platform().unlink.setFake([](const char*) {
    EXPECT_EQ(0, errno);
    errno = EACCES;
    return -1;
  });
  errno = EPERM;
  EXPECT_EQ("IO Exception: [13] Releasing semaphore failed: x [Permission denied]",
            renderedException<IMIOException>([&] { lock.unlock(); }));
  platform().unlink.setFake(nullptr);
  lock.unlock();
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, DirectoryInPlaceOfTheLockFileCannotBeReleased) {
  IMSemaphore lock("x", directory.path(), false);
  EXPECT_TRUE(lock.lockResource());
  std::filesystem::remove(lockFile);
  directory.makeDirectory("semaphore_x");
  EXPECT_EQ("IO Exception: [21] Releasing semaphore failed: x [Is a directory]",
            renderedException<IMIOException>([&] { lock.unlock(); }));
}

TEST_F(IMSemaphoreTest, ForcedUnlockRemovesTheLockOfSomebodyElse) {
  directory.writeFile("semaphore_x", "");
  IMSemaphore lock("x", directory.path(), false);
  lock.setForceUnlock(true);
  lock.unlock();
  EXPECT_FALSE(exists(lockFile));

  directory.writeFile("semaphore_x", "");
  lock.unlock();
  EXPECT_FALSE(exists(lockFile)) << "the force lasts until it is taken back";

  directory.writeFile("semaphore_x", "");
  lock.setForceUnlock(false);
  lock.unlock();
  EXPECT_TRUE(exists(lockFile));
}

// --- the destructor ---

TEST_F(IMSemaphoreTest, AutoUnlockReleasesTheLockInTheDestructor) {
  {
    IMSemaphore lock("x", directory.path(), true);
    EXPECT_TRUE(lock.lockResource());
    EXPECT_TRUE(exists(lockFile));
  }
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, WithoutAutoUnlockTheDestructorLeavesTheLock) {
  {
    IMSemaphore lock("x", directory.path(), false);
    EXPECT_TRUE(lock.lockResource());
  }
  EXPECT_TRUE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, AutoUnlockOfALockHeldElsewhereLeavesIt) {
  directory.writeFile("semaphore_x", "");
  {
    IMSemaphore lock("x", directory.path(), true);
    EXPECT_FALSE(lock.lockResource());
  }
  EXPECT_TRUE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, ForkedChildThatDestroysItsCopyRemovesTheLockFileOfTheParent) {
  auto lock = std::make_unique<IMSemaphore>("x", directory.path(), true);
  lock->lock(-1);
  const pid_t child = fork();
  if (child == 0) {
    lock.reset();
    _exit(0);
  }
  int status = -1;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(IMSemaphoreTest, ExceptionThatLeavesUnlockInTheDestructorEndsTheProcess) {
  EXPECT_DEATH(
      {
        IMSemaphore lock("x", directory.path(), true);
        lock.lockResource();
        std::filesystem::remove(lockFile);
        directory.makeDirectory("semaphore_x");
      },
      "terminate called after throwing an instance of 'brix::imutils::IMIOException'");
}

}  // namespace
