#include "JobStore.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>

#include "MovedClock.h"
#include "MovedMonotonicClock.h"
#include "ParallelProcesses.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::velmo::JobFileFields;
using testing::ElementsAre;
using velmo::client::Fault;
using velmo::client::FoundJob;
using velmo::client::JobStore;
using velmo::client::Outcome;
using velmo::client::Problem;
using velmo::client::Result;
using velmo::client::Wait;
using velmo::test::FakeScope;
using velmo::test::MovedMonotonicClock;
using velmo::test::namesIn;
using velmo::test::platform;
using velmo::test::readFile;
using velmo::test::setFileTime;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

class JobStoreTest : public testing::Test {
 protected:
  Result<FoundJob> find(const std::string& key = "key", int timeoutMs = 0, bool isDurable = false) {
    const Wait wait(timeoutMs, &stop);
    return JobStore(directory.path(), key).find(wanted, isDurable, wait, [this] {
      ++drawn;
      return draw();
    });
  }

  Problem problem(const std::string& key = "key", int timeoutMs = 0) {
    Result<FoundJob> found = find(key, timeoutMs);
    EXPECT_FALSE(found.isOk());
    return found.isOk() ? Problem::OutOfMemory : found.fault().problem;
  }

  Outcome check(const std::string& inDirectory, const std::string& key) const {
    return JobStore(inDirectory, key).check();
  }

  const TemporaryDirectory directory;
  const std::string file = directory.path("key");
  JobFileFields wanted{"", "u", "n", 50};
  std::function<Result<std::string>()> draw = [] { return std::string("J17"); };
  int drawn = 0;
  int stop = 0;
};

TEST_F(JobStoreTest, KeyWithoutAFileGetsANewJob) {
  const auto found = find();
  ASSERT_TRUE(found.isOk());
  EXPECT_TRUE(found.value().isNew);
  EXPECT_EQ("J17", found.value().fields.id);
  EXPECT_EQ("id=\"J17\"\nuser=\"u\"\nname=\"n\"\npriority=\"50\"\n", readFile(file));
  EXPECT_THAT(namesIn(directory.path()), ElementsAre("key"));
}

TEST_F(JobStoreTest, ModeOfANewFileIs0666LessTheUmask) {
  const mode_t before = umask(0027);
  EXPECT_TRUE(find().isOk());
  umask(before);
  struct stat status {};
  ASSERT_EQ(0, stat(file.c_str(), &status));
  EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST_F(JobStoreTest, KeyWithAFileGetsItsJobAndNoNumberIsDrawn) {
  directory.writeFile("key", "id=\"J3\"\nuser=\"x\"\nname=\"y\"\npriority=\"7\"\n");
  const auto found = find();
  ASSERT_TRUE(found.isOk());
  EXPECT_FALSE(found.value().isNew);
  EXPECT_EQ("J3", found.value().fields.id);
  EXPECT_EQ("x", found.value().fields.user);
  EXPECT_EQ("y", found.value().fields.name);
  EXPECT_EQ(7, found.value().fields.priority);
  EXPECT_EQ(0, drawn);
}

TEST_F(JobStoreTest, TimesOfAFileThatWasFoundAreSetToNow) {
  directory.writeFile("key", "id=\"J3\"\n");
  setFileTime(file.c_str(), 1000);
  ASSERT_TRUE(find().isOk());
  struct stat status {};
  ASSERT_EQ(0, stat(file.c_str(), &status));
  EXPECT_NEAR(static_cast<double>(time(nullptr)), static_cast<double>(status.st_mtime), 2);
}

TEST_F(JobStoreTest, FileOfAnotherOwnerIsFoundThoughItsTimesStay) {
  directory.writeFile("key", "id=\"J3\"\n");
  ASSERT_EQ(0, chmod(file.c_str(), 0444));
  EXPECT_TRUE(find().isOk());
}

TEST_F(JobStoreTest, FileWithoutAnIdentifierIsWaitedForUntilItIs2SecondsOld) {
  directory.writeFile("key", "");
  EXPECT_EQ(Problem::JobFileTimedOut, problem());
  setFileTime(file.c_str(), time(nullptr) - 2);
  EXPECT_EQ(Problem::JobFileWithoutId, problem("key", VELMO_NO_LIMIT));
  EXPECT_EQ(0, drawn);
  EXPECT_EQ("", readFile(file));
}

TEST_F(JobStoreTest, FileFromTheFutureIsNotWaitedFor) {
  directory.writeFile("key", "user=\"x\"\n");
  setFileTime(file.c_str(), time(nullptr) + 1000);
  EXPECT_EQ(Problem::JobFileWithoutId, problem("key", VELMO_NO_LIMIT));
}

// Every use of such a file by a JobManager makes it young again.
TEST_F(JobStoreTest, FileThatStaysWithoutAnIdentifierIsNotWaitedForForEver) {
  const FakeScope fakes;
  MovedMonotonicClock clock(std::chrono::hours(1));
  platform().nanosleep.setFake([&](const timespec*, timespec*) {
    clock.advance(std::chrono::milliseconds(100));
    setFileTime(file.c_str(), time(nullptr));
    return 0;
  });
  directory.writeFile("key", "");
  EXPECT_EQ(Problem::JobFileWithoutId, problem("key", VELMO_NO_LIMIT));
}

TEST_F(JobStoreTest, SignalsAreBlockedWhileAFileIsWrittenAside) {
  const FakeScope fakes;
  bool isBlocked = false;
  platform().open.setFake([&](const char* path, int flags, mode_t mode) {
    sigset_t now;
    pthread_sigmask(SIG_SETMASK, nullptr, &now);
    isBlocked = isBlocked || ((flags & O_CREAT) != 0 && sigismember(&now, SIGINT) == 1);
    return platform().open.real(path, flags, mode);
  });
  ASSERT_TRUE(find().isOk());
  EXPECT_TRUE(isBlocked);
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(0, sigismember(&after, SIGINT));
}

TEST_F(JobStoreTest, FileThatAnotherProcessFinishesIsFound) {
  directory.writeFile("key", "");
  std::thread writer([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    directory.writeFile("key", "id=\"J3\"\npriority=\"0\"\n");
  });
  const auto found = find("key", 5000);
  writer.join();
  ASSERT_TRUE(found.isOk());
  EXPECT_EQ("J3", found.value().fields.id);
}

TEST_F(JobStoreTest, StopEndsTheWaitForAnotherProcess) {
  directory.writeFile("key", "");
  stop = 1;
  EXPECT_EQ(Problem::Stopped, problem("key", VELMO_NO_LIMIT));
}

TEST_F(JobStoreTest, FailureOfTheDrawLeavesNoFile) {
  draw = [] { return Result<std::string>(Fault{Problem::LockTimedOut, "lock"}); };
  EXPECT_EQ(Problem::LockTimedOut, problem());
  EXPECT_THAT(namesIn(directory.path()), ElementsAre());
}

TEST_F(JobStoreTest, FirstOfSeveralWinsAndTheOthersReadItsFile) {
  draw = [this] {
    directory.writeFile("key", "id=\"J3\"\npriority=\"7\"\n");
    return Result<std::string>(std::string("J17"));
  };
  const auto found = find();
  ASSERT_TRUE(found.isOk());
  EXPECT_FALSE(found.value().isNew);
  EXPECT_EQ("J3", found.value().fields.id);
  EXPECT_EQ(1, drawn);
  EXPECT_THAT(namesIn(directory.path()), ElementsAre("key"));
}

TEST_F(JobStoreTest, ProcessesThatRaceFindOneJob) {
  const std::string path = directory.path();
  const auto exits = velmo::test::inProcesses(8, [&path](int number) {
    const Wait wait(5000, nullptr);
    for (int key = 0; key < 20; ++key) {
      const JobStore store(path, std::to_string(key));
      const auto found = store.find({"", "", "", 0}, false, wait, [number] {
        return Result<std::string>("J" + std::to_string(number));
      });
      const auto again = store.find({"", "", "", 0}, false, wait, [] {
        return Result<std::string>(Fault{Problem::OutOfMemory});
      });
      if (!found.isOk() || !again.isOk() || found.value().fields.id != again.value().fields.id) {
        return 1;
      }
    }
    return 0;
  });
  EXPECT_THAT(exits, testing::Each(0));
  EXPECT_EQ(20U, namesIn(path).size());
}

TEST_F(JobStoreTest, DirectoryThatIsMissingIsNamed) {
  const Wait wait(0, nullptr);
  const auto found = JobStore("/missing/d", "key").find(wanted, false, wait, draw);
  ASSERT_FALSE(found.isOk());
  EXPECT_EQ(Problem::DirectoryMissing, found.fault().problem);
  EXPECT_EQ("/missing/d", found.fault().detail);
}

TEST_F(JobStoreTest, DirectoryThatIsNotWritableIsEacces) {
  ASSERT_EQ(0, chmod(directory.path().c_str(), 0555));
  const UnprivilegedFiles unprivileged;
  const auto found = find();
  ASSERT_FALSE(found.isOk());
  EXPECT_EQ(Problem::JobFileNotWritten, found.fault().problem);
  EXPECT_EQ(EACCES, found.fault().systemError);
  EXPECT_EQ(0, drawn);
}

TEST_F(JobStoreTest, DirectoryAndPipeAtThePathAreRefusedAtOnce) {
  directory.makeDirectory("key");
  EXPECT_EQ(Problem::FileNotRegular, problem("key", VELMO_NO_LIMIT));
  ASSERT_EQ(0, mkfifo(directory.path("pipe").c_str(), 0666));
  EXPECT_EQ(Problem::FileNotRegular, problem("pipe", VELMO_NO_LIMIT));
}

TEST_F(JobStoreTest, IdentifierThatNoTaskCanHaveIsRefused) {
  directory.writeFile("key", "id=\"a/b\"\n");
  EXPECT_EQ(Problem::JobFileIdUnusable, problem());
}

TEST_F(JobStoreTest, LinkPlantedAtTheTemporaryNameIsNotFollowed) {
  const std::string target = directory.writeFile("target", "mine");
  const std::string name = ".velmo_" + std::to_string(getpid()) + "_" + std::to_string(gettid());
  std::filesystem::create_symlink(target, directory.path(name + "_0"));
  ASSERT_TRUE(find().isOk());
  EXPECT_EQ("mine", readFile(target));
  EXPECT_TRUE(std::filesystem::is_symlink(directory.path(name + "_0")));
}

TEST_F(JobStoreTest, DurableFileIsFoundToo) {
  const auto found = find("key", 0, true);
  ASSERT_TRUE(found.isOk());
  EXPECT_TRUE(found.value().isNew);
  EXPECT_THAT(namesIn(directory.path()), ElementsAre("key"));
}

// --- check ---

TEST_F(JobStoreTest, KeyIsTheNameOfAFile) {
  EXPECT_FALSE(check("/d", "k"));
  EXPECT_FALSE(check("/d", std::string(255, 'k')));
  EXPECT_EQ(Problem::ArgumentMissing, check("/d", "")->problem);
  EXPECT_EQ(Problem::ArgumentIsDotName, check("/d", ".")->problem);
  EXPECT_EQ(Problem::ArgumentIsDotName, check("/d", "..")->problem);
  EXPECT_EQ(Problem::ArgumentHasSlash, check("/d", "a/b")->problem);
  EXPECT_EQ(Problem::ArgumentHasControl, check("/d", "a\nb")->problem);
  EXPECT_EQ(Problem::ArgumentTooLong, check("/d", std::string(256, 'k'))->problem);
}

TEST_F(JobStoreTest, DirectoryIsAnAbsolutePath) {
  EXPECT_EQ(Problem::ArgumentMissing, check("", "k")->problem);
  EXPECT_EQ(Problem::ArgumentNotAbsolute, check("d", "k")->problem);
}

}  // namespace
