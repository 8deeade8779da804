#include "JobNumber.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ParallelProcesses.h"
#include "PlatformCalls.h"
#include "PrivateMounts.h"
#include "ShownResult.h"
#include "SizeLimit.h"
#include "TemporaryDirectory.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using velmo::client::drawJobNumber;
using velmo::client::Wait;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::inProcesses;
using velmo::test::nameOfOpen;
using velmo::test::namesIn;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::PrivateMounts;
using velmo::test::readFile;
using velmo::test::shown;
using velmo::test::SizeLimit;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

constexpr int kForEver = VELMO_NO_LIMIT;

class DrawJobNumberTest : public testing::Test {
 protected:
  DrawJobNumberTest() {
    directory.makeDirectory("data/velmo");
    directory.makeDirectory("lock");
  }

  // The number, or the failure, as text.
  std::string draw(bool isDurable = false, int timeoutMs = 0) const {
    return shown(drawJobNumber(directory.path("data"), directory.path("lock"), isDurable,
                               Wait(timeoutMs, nullptr)));
  }

  void writeCounter(const std::string& contents) const {
    directory.writeFile("data/velmo/jobid", contents);
  }

  // A failure of a step after the file was read, which leaves everything as it was.
  void expectUnchangedAfter(const std::string& failure, bool isDurable = true) const {
    EXPECT_EQ(failure, draw(isDurable));
    platform().reset();
    EXPECT_THAT(namesIn(directory.path("data/velmo")), ElementsAre("jobid"));
    EXPECT_EQ("16", readFile(counter));
    EXPECT_THAT(namesIn(directory.path("lock")), IsEmpty());
  }

  const FakeScope fakes;
  const TemporaryDirectory directory;
  const std::string counter = directory.path("data/velmo/jobid");
  const std::string copy = directory.path("data/velmo/jobid_tmp");
  const std::string lockFile = directory.path("lock/semaphore_velmo_jobid");
  const std::string notWritten =
      "SYSTEM_ERROR: cannot write the new job number to \"" + copy + "\": ";
  const std::string notSynced = "SYSTEM_ERROR: cannot sync the directory of the job counter, \"" +
                                directory.path("data/velmo") + "\": ";
  const std::string takenAway =
      "SYSTEM_ERROR: another process removed or replaced the lock file of the job counter while it "
      "was held: \"" +
      lockFile + "\"";
};

// --- the number ---

TEST_F(DrawJobNumberTest, NumberFollowsTheLastOneAndIsStoredAsDigitsAlone) {
  const std::vector<std::pair<std::string, int>> rows{
      {"0", 1}, {"16", 17}, {"999998", 999999}, {"999999", 0}, {"2147483647", 0}};
  for (const auto& [last, number] : rows) {
    writeCounter(last);
    EXPECT_EQ(std::to_string(number), draw());
    EXPECT_EQ(std::to_string(number), readFile(counter));
  }
  EXPECT_THAT(namesIn(directory.path("data/velmo")), ElementsAre("jobid"));
  EXPECT_THAT(namesIn(directory.path("lock")), IsEmpty());
}

TEST_F(DrawJobNumberTest, FirstNumberIs0) {
  EXPECT_EQ("0", draw());
  EXPECT_EQ("0", readFile(counter));
  EXPECT_EQ("1", draw());
}

TEST_F(DrawJobNumberTest, WhiteSpaceAroundTheNumberAndZerosBeforeItDoNotMatter) {
  for (const char* contents : {"16\n", " \t\r\n\v\f16 \t\r\n\v\f", "0000016"}) {
    writeCounter(contents);
    EXPECT_EQ("17", draw());
  }
}

TEST_F(DrawJobNumberTest, OtherContentsAreRefusedAndStay) {
  for (const std::string& contents :
       {std::string(), std::string(" \n"), std::string("-1"), std::string("-0"), std::string("+5"),
        std::string("16x"), std::string("x"), std::string("1 6"), std::string("0x10"),
        std::string("2147483648"), std::string("99999999999999999999"), std::string("16\0", 3),
        std::string(300, ' ') + "16", "16" + std::string(300, ' ')}) {
    writeCounter(contents);
    EXPECT_EQ("NOT_CONFIGURED: the job counter does not hold a number: \"" + counter + "\"", draw())
        << contents;
    EXPECT_EQ(contents, readFile(counter));
    EXPECT_THAT(namesIn(directory.path("data/velmo")), ElementsAre("jobid"));
    EXPECT_FALSE(exists(lockFile));
  }
}

TEST_F(DrawJobNumberTest, CounterThatCannotBeReadIsRefused) {
  const std::string failure = "NOT_CONFIGURED: cannot read the job counter \"" + counter + "\": ";
  std::filesystem::create_directory(counter);
  EXPECT_EQ(failure + "Is a directory", draw());
  std::filesystem::remove(counter);
  writeCounter("16");
  directory.setMode("", 0755);
  directory.setMode("lock", 0777);
  directory.setMode("data/velmo/jobid", 0);
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ(failure + "Permission denied", draw());
}

TEST_F(DrawJobNumberTest, PipeInPlaceOfTheCounterDoesNotBlock) {
  ASSERT_EQ(0, mkfifo(counter.c_str(), 0600));
  EXPECT_EQ("NOT_CONFIGURED: the job counter does not hold a number: \"" + counter + "\"", draw());
}

// --- the copy ---

TEST_F(DrawJobNumberTest, CopyIsCreatedExclusivelyWithMode0666LessTheUmask) {
  platform().open.setFake([this](const char* path, int flags, mode_t mode) {
    EXPECT_NE(0, flags & O_CLOEXEC) << path;
    if (path == copy) {
      EXPECT_EQ(O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, flags);
      EXPECT_EQ(0666U, mode);
    }
    return platform().open.real(path, flags, mode);
  });
  const mode_t before = umask(0027);
  EXPECT_EQ("0", draw());
  umask(before);
  struct stat status {};
  ASSERT_EQ(0, stat(counter.c_str(), &status));
  EXPECT_EQ(0640U, status.st_mode & 07777U);
}

TEST_F(DrawJobNumberTest, CopyOfAProcessThatDiedIsReplaced) {
  writeCounter("16");
  directory.writeFile("data/velmo/jobid_tmp", "a long text that stays of nothing");
  EXPECT_EQ("17", draw());
  EXPECT_EQ("17", readFile(counter));
  EXPECT_FALSE(exists(copy));
}

TEST_F(DrawJobNumberTest, LinkInPlaceOfTheCopyIsReplacedAndNotFollowed) {
  directory.writeFile("target", "untouched");
  std::filesystem::create_symlink(directory.path("target"), copy);
  EXPECT_EQ("0", draw());
  EXPECT_EQ("untouched", readFile(directory.path("target")));
  EXPECT_FALSE(std::filesystem::is_symlink(counter));
}

TEST_F(DrawJobNumberTest, LinkPlantedBehindTheRemovalIsNotFollowed) {
  writeCounter("16");
  platform().unlink.setFake([this](const char* path) {
    const int result = platform().unlink.real(path);
    if (path == copy && !exists(copy)) {
      std::filesystem::create_symlink(directory.path("target"), copy);
    }
    return result;
  });
  EXPECT_EQ(notWritten + "File exists", draw());
  EXPECT_FALSE(exists(directory.path("target")));
  EXPECT_EQ("16", readFile(counter));
}

TEST_F(DrawJobNumberTest, CopyThatCannotBeReplacedIsAFailure) {
  writeCounter("16");
  std::filesystem::create_directory(copy);
  EXPECT_EQ(notWritten + "Is a directory", draw());
  EXPECT_EQ("16", readFile(counter));
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(DrawJobNumberTest, MissingDirectoryIsAFailure) {
  std::filesystem::remove(directory.path("data/velmo"));
  EXPECT_EQ(notWritten + "No such file or directory", draw());
  EXPECT_EQ(notWritten + "No such file or directory", draw(true));
  EXPECT_FALSE(exists(lockFile));
}

TEST_F(DrawJobNumberTest, DirectoryWithoutPermissionIsAFailure) {
  writeCounter("16");
  directory.setMode("", 0755);
  directory.setMode("lock", 0777);
  directory.setMode("data/velmo", 0555);
  const UnprivilegedFiles unprivileged;
  expectUnchangedAfter(notWritten + "Permission denied");
}

TEST_F(DrawJobNumberTest, FullDiskIsAFailure) {
  PrivateMounts mounts;
  if (mounts.isPermitted()) {
    mounts.mountSmall(directory.path("data"), 8192);
    directory.makeDirectory("data/velmo");
    writeCounter("16");
    std::ofstream(directory.path("data/filler")) << std::string(8192, 'x');
  } else {
    writeCounter("16");
    platform().write.setFake([](int, const void*, size_t) {
      errno = ENOSPC;
      return ssize_t{-1};
    });
  }
  expectUnchangedAfter(notWritten + "No space left on device");
}

TEST_F(DrawJobNumberTest, FileSizeLimitIsAFailureAndDoesNotEndTheProcess) {
  writeCounter("16");
  {
    const SizeLimit limit(1);
    expectUnchangedAfter(notWritten + "File too large");
  }
  EXPECT_EQ("17", draw());
}

TEST_F(DrawJobNumberTest, FailedCloseIsAFailure) {
  writeCounter("16");
  platform().close.setFake([](int descriptor) {
    const bool isCopy = nameOfOpen(descriptor) == "jobid_tmp";
    platform().close.real(descriptor);
    errno = EDQUOT;
    return isCopy ? -1 : 0;
  });
  expectUnchangedAfter(notWritten + "Disk quota exceeded");
}

TEST_F(DrawJobNumberTest, FailedMoveIsAFailure) {
  writeCounter("16");
  platform().rename.setFake([](const char*, const char*) {
    errno = EROFS;
    return -1;
  });
  expectUnchangedAfter("SYSTEM_ERROR: cannot replace the job counter \"" + counter +
                       "\": Read-only file system");
}

// --- durable ---

// Records the calls that make a number durable.
std::vector<std::string> recordCalls(const std::function<void()>& work) {
  std::vector<std::string> calls;
  platform().write.setFake([&calls](int descriptor, const void* bytes, size_t size) {
    calls.push_back("write " + nameOfOpen(descriptor));
    return platform().write.real(descriptor, bytes, size);
  });
  platform().fsync.setFake([&calls](int descriptor) {
    calls.push_back("fsync " + nameOfOpen(descriptor));
    return platform().fsync.real(descriptor);
  });
  platform().rename.setFake([&calls](const char* from, const char* to) {
    calls.push_back("rename " + std::filesystem::path(to).filename().string());
    return platform().rename.real(from, to);
  });
  platform().unlink.setFake([&calls](const char* path) {
    calls.push_back("unlink " + std::filesystem::path(path).filename().string());
    return platform().unlink.real(path);
  });
  work();
  platform().reset();
  return calls;
}

TEST_F(DrawJobNumberTest, DurableNumberIsSyncedBeforeTheMoveAndItsDirectoryBehindIt) {
  EXPECT_THAT(recordCalls([this] { EXPECT_EQ("0", draw(true)); }),
              ElementsAre("write semaphore_velmo_jobid", "unlink jobid_tmp", "write jobid_tmp",
                          "fsync jobid_tmp", "rename jobid", "fsync velmo",
                          "unlink semaphore_velmo_jobid"));
}

TEST_F(DrawJobNumberTest, OtherNumberIsNotSynced) {
  EXPECT_THAT(recordCalls([this] { EXPECT_EQ("0", draw(false)); }),
              ElementsAre("write semaphore_velmo_jobid", "unlink jobid_tmp", "write jobid_tmp",
                          "rename jobid", "unlink semaphore_velmo_jobid"));
}

TEST_F(DrawJobNumberTest, CopyThatCannotBeSyncedIsAFailure) {
  writeCounter("16");
  platform().fsync.setFake([](int) {
    errno = EIO;
    return -1;
  });
  expectUnchangedAfter(notWritten + "Input/output error");
}

TEST_F(DrawJobNumberTest, DirectoryThatCannotBeOpenedIsAFailureBeforeTheMove) {
  writeCounter("16");
  platform().open.setFake([](const char* path, int flags, mode_t mode) {
    errno = EMFILE;
    return (flags & O_DIRECTORY) != 0 ? -1 : platform().open.real(path, flags, mode);
  });
  expectUnchangedAfter(notSynced + "Too many open files");
}

TEST_F(DrawJobNumberTest, DirectoryThatCannotBeSyncedIsAFailureAndTheNumberIsLost) {
  writeCounter("16");
  int syncs = 0;
  platform().fsync.setFake([&syncs](int) {
    errno = EIO;
    return ++syncs == 2 ? -1 : 0;
  });
  EXPECT_EQ(notSynced + "Input/output error", draw(true));
  EXPECT_EQ("17", readFile(counter));
  EXPECT_FALSE(exists(lockFile));
}

// --- the lock ---

TEST_F(DrawJobNumberTest, NumberIsReadAndWrittenWhileTheLockIsHeld) {
  writeCounter("16");
  int opened = 0;
  platform().open.setFake([&](const char* path, int flags, mode_t mode) {
    if (path == counter || path == copy) {
      EXPECT_TRUE(exists(lockFile));
      ++opened;
    }
    return platform().open.real(path, flags, mode);
  });
  platform().rename.setFake([&](const char* from, const char* to) {
    EXPECT_TRUE(exists(lockFile));
    return platform().rename.real(from, to);
  });
  EXPECT_EQ("17", draw());
  EXPECT_EQ(2, opened);
}

TEST_F(DrawJobNumberTest, LockOfAnotherProcessTimesOutAndNothingIsRead) {
  writeCounter("not a number");
  directory.writeFile("lock/semaphore_velmo_jobid", "");
  EXPECT_THAT(draw(), StartsWith("TIMED_OUT: the job counter is locked: \"" + lockFile + "\" has"));
  EXPECT_TRUE(exists(lockFile));
}

TEST_F(DrawJobNumberTest, MissingLockDirectoryIsTheOperatorsTurn) {
  std::filesystem::remove(directory.path("lock"));
  EXPECT_THAT(draw(), StartsWith("NOT_CONFIGURED: the directory of LOCK_VAR is missing: "));
}

TEST_F(DrawJobNumberTest, LockThatIsTakenAwayInTheMiddleLeavesTheCounterAlone) {
  writeCounter("16");
  platform().fsync.setFake([this](int) {
    std::filesystem::remove(lockFile);
    directory.writeFile("lock/semaphore_velmo_jobid", "another");
    return 0;
  });
  EXPECT_EQ(takenAway, draw(true));
  EXPECT_EQ("16", readFile(counter));
  EXPECT_FALSE(exists(copy));
  EXPECT_EQ("another", readFile(lockFile));
}

TEST_F(DrawJobNumberTest, CopyOfTheNewHolderOfTheLockIsNotRemoved) {
  writeCounter("16");
  platform().fsync.setFake([this](int) {
    std::filesystem::remove(lockFile);
    directory.writeFile("lock/semaphore_velmo_jobid", "another");
    std::filesystem::remove(copy);
    directory.writeFile("data/velmo/jobid_tmp", "17 of another");
    return 0;
  });
  EXPECT_EQ(takenAway, draw(true));
  EXPECT_EQ("17 of another", readFile(copy));
}

TEST_F(DrawJobNumberTest, LockThatIsTakenAwayAfterTheMoveIsAFailureToo) {
  writeCounter("16");
  platform().rename.setFake([this](const char* from, const char* to) {
    std::filesystem::remove(lockFile);
    return platform().rename.real(from, to);
  });
  EXPECT_EQ(takenAway, draw());
  EXPECT_EQ("17", readFile(counter));
}

TEST_F(DrawJobNumberTest, LockThatCannotBeReleasedIsAFailure) {
  writeCounter("16");
  platform().unlink.setFake([this](const char* path) {
    errno = EROFS;
    return path == lockFile ? -1 : platform().unlink.real(path);
  });
  EXPECT_EQ("SYSTEM_ERROR: cannot release the lock of the job counter: \"" + lockFile +
                "\": Read-only file system",
            draw());
}

// --- the process ---

TEST_F(DrawJobNumberTest, DescriptorsAreClosedOnEveryPath) {
  const std::size_t before = openDescriptors();
  for (const char* contents : {"16", "x"}) {
    writeCounter(contents);
    draw(true);
  }
  std::filesystem::create_directory(copy);
  draw(true);
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(DrawJobNumberTest, ProcessThatASignalEndsHasFinishedItsNumber) {
  writeCounter("16");
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            platform().rename.setFake([](const char* from, const char* to) {
                              kill(getpid(), SIGINT);
                              return platform().rename.real(from, to);
                            });
                            draw();
                            return 0;
                          }),
              Each(-SIGINT));
  EXPECT_EQ("17", readFile(counter));
  EXPECT_THAT(namesIn(directory.path("lock")), IsEmpty());
  EXPECT_EQ("18", draw());
}

TEST_F(DrawJobNumberTest, ProcessThatIsKilledKeepsTheOthersOut) {
  writeCounter("16");
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            platform().rename.setFake(
                                [](const char*, const char*) { return raise(SIGKILL); });
                            draw();
                            return 0;
                          }),
              Each(-SIGKILL));
  EXPECT_THAT(draw(), StartsWith("TIMED_OUT: "));
  std::filesystem::remove(lockFile);
  EXPECT_EQ("17", draw());
  EXPECT_FALSE(exists(copy));
}

TEST_F(DrawJobNumberTest, ProcessesAndThreadsGetAllDifferentNumbers) {
  const auto draw25 = [this](const std::string& file) {
    std::ofstream out(directory.path(file));
    for (int i = 0; i < 25; ++i) {
      out << draw(false, kForEver) << '\n';
    }
  };
  EXPECT_THAT(inProcesses(2,
                          [&](int process) {
                            const std::string name = std::to_string(process);
                            std::thread other([&] { draw25(name + "a"); });
                            draw25(name + "b");
                            other.join();
                            return 0;
                          }),
              Each(0));
  std::set<int> numbers;
  for (const char* file : {"0a", "0b", "1a", "1b"}) {
    std::ifstream in(directory.path(file));
    for (int number = 0; in >> number;) {
      numbers.insert(number);
    }
  }
  EXPECT_EQ(100U, numbers.size());
  EXPECT_EQ(0, *numbers.begin());
  EXPECT_EQ(99, *numbers.rbegin());
  EXPECT_EQ("99", readFile(counter));
}

}  // namespace
