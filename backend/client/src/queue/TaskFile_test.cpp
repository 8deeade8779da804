#include "TaskFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
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
using velmo::client::Placement;
using velmo::client::placeTaskFile;
using velmo::client::Result;
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

class TaskFileTest : public testing::Test {
 protected:
  TaskFileTest() {
    directory.makeDirectory("tmp");
    directory.makeDirectory("var/taskqueue");
  }

  // "placed", "taken: PATH", or the failure.
  std::string place(bool isDurable = false, const std::string& contents = "true\n") const {
    const Result<Placement> result = placeTaskFile(
        directory.path("tmp"), directory.path("var/taskqueue"), "name", contents, isDurable);
    if (!result.isOk()) {
      return shown(result.fault());
    }
    return result.value().isPlaced ? "placed" : "taken: " + result.value().takenPath;
  }

  // Places the file where that fails, and expects that nothing is left.
  void expectNothingAfter(const std::string& failure, bool isDurable = true) const {
    EXPECT_EQ(failure, place(isDurable));
    platform().reset();
    EXPECT_THAT(namesIn(directory.path("tmp")), IsEmpty());
    EXPECT_THAT(namesIn(directory.path("var/taskqueue")), IsEmpty());
  }

  // Makes the file system one that cannot move without replacing.
  static void refuseExclusiveMoves(int error = EINVAL) {
    platform().renameat2.setFake([error](int, const char*, int, const char*, unsigned flags) {
      EXPECT_EQ(RENAME_NOREPLACE, flags);
      errno = error;
      return -1;
    });
  }

  static void failMove(int error) {
    platform().renameat2.setFake([error](int, const char*, int, const char*, unsigned) {
      errno = error;
      return -1;
    });
  }

  const FakeScope fakes;
  const TemporaryDirectory directory;
  const std::string temporaryFile = directory.path("tmp/name");
  const std::string queue = directory.path("var/taskqueue");
  const std::string queueFile = queue + "/name";
  const std::string notWritten =
      "SYSTEM_ERROR: cannot write the task file \"" + temporaryFile + "\": ";
  const std::string notMoved = "SYSTEM_ERROR: cannot move the task file to \"" + queueFile + "\": ";
  const std::string notSynced = "cannot sync the queue \"" + queue + "\": ";
  const std::string otherMount = "NOT_CONFIGURED: TMP and the queue are on different mounts: \"" +
                                 directory.path("tmp") + "\" and \"" + queue +
                                 "\": Invalid cross-device link";
};

// --- the file ---

TEST_F(TaskFileTest, FileIsPlacedWithItsContentsByteByByte) {
  const std::string contents("echo 100%% \0\xff\n%s", 16);
  EXPECT_EQ("placed", place(false, contents));
  EXPECT_EQ(contents, readFile(queueFile));
  EXPECT_THAT(namesIn(directory.path("tmp")), IsEmpty());
}

TEST_F(TaskFileTest, LargeFileIsPlacedWhole) {
  const std::string contents(3000000, 'x');
  EXPECT_EQ("placed", place(true, contents));
  EXPECT_EQ(contents, readFile(queueFile));
}

TEST_F(TaskFileTest, ShortWritesAreResumed) {
  platform().write.setFake([](int descriptor, const void* bytes, size_t size) {
    return platform().write.real(descriptor, bytes, size < 2 ? size : 2);
  });
  EXPECT_EQ("placed", place(false, "12345\n"));
  EXPECT_EQ("12345\n", readFile(queueFile));
}

TEST_F(TaskFileTest, TemporaryFileIsExclusiveFollowsNoLinkAndClosesOnExec) {
  std::vector<std::string> opened;
  platform().open.setFake([&opened](const char* path, int flags, mode_t mode) {
    EXPECT_EQ(O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, flags);
    EXPECT_EQ(0644U, mode);
    opened.emplace_back(path);
    return platform().open.real(path, flags, mode);
  });
  EXPECT_EQ("placed", place());
  EXPECT_THAT(opened, ElementsAre(temporaryFile));
}

TEST_F(TaskFileTest, ModeIs0644LessTheUmaskAndNeverMore) {
  for (const mode_t mask : {mode_t{0}, mode_t{0002}, mode_t{0027}}) {
    const mode_t before = umask(mask);
    EXPECT_EQ("placed", place());
    umask(before);
    struct stat status {};
    ASSERT_EQ(0, stat(queueFile.c_str(), &status));
    EXPECT_EQ(0644U & ~mask, status.st_mode & 07777U);
    std::filesystem::remove(queueFile);
  }
}

TEST_F(TaskFileTest, DescriptorsAreClosedOnEveryPath) {
  const std::size_t before = openDescriptors();
  EXPECT_EQ("placed", place(true));
  EXPECT_EQ("taken: " + queueFile, place(true));
  directory.writeFile("tmp/name", "");
  EXPECT_EQ("taken: " + temporaryFile, place(true));
  EXPECT_EQ(before, openDescriptors());
}

// --- names that are taken ---

TEST_F(TaskFileTest, FileInTheQueueIsNotReplaced) {
  directory.writeFile("var/taskqueue/name", "another");
  EXPECT_EQ("taken: " + queueFile, place());
  EXPECT_EQ("another", readFile(queueFile));
  EXPECT_THAT(namesIn(directory.path("tmp")), IsEmpty());
}

TEST_F(TaskFileTest, LinkInTheQueueIsNotReplaced) {
  std::filesystem::create_symlink(directory.path("target"), queueFile);
  EXPECT_EQ("taken: " + queueFile, place());
  refuseExclusiveMoves();
  EXPECT_EQ("taken: " + queueFile, place());
  EXPECT_TRUE(std::filesystem::is_symlink(queueFile));
}

TEST_F(TaskFileTest, FileInTmpIsNeitherReplacedNorRemoved) {
  directory.writeFile("tmp/name", "another");
  EXPECT_EQ("taken: " + temporaryFile, place());
  EXPECT_EQ("another", readFile(temporaryFile));
  EXPECT_FALSE(exists(queueFile));
}

TEST_F(TaskFileTest, LinkInTmpIsNotFollowed) {
  directory.writeFile("target", "untouched");
  std::filesystem::create_symlink(directory.path("target"), temporaryFile);
  EXPECT_EQ("taken: " + temporaryFile, place());
  EXPECT_EQ("untouched", readFile(directory.path("target")));
  std::filesystem::remove(directory.path("target"));
  EXPECT_EQ("taken: " + temporaryFile, place());
  EXPECT_FALSE(exists(directory.path("target")));
}

// --- the move ---

TEST_F(TaskFileTest, MoveRefusesToReplaceInOneStep) {
  platform().rename.setFake([](const char*, const char*) {
    ADD_FAILURE() << "replaces";
    return -1;
  });
  platform().renameat2.setFake(
      [](int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags) {
        EXPECT_EQ(RENAME_NOREPLACE, flags);
        return platform().renameat2.real(fromDirectory, from, toDirectory, to, flags);
      });
  EXPECT_EQ("placed", place());
}

TEST_F(TaskFileTest, FileThatWasMovedIsNotRemovedFromTmp) {
  platform().renameat2.setFake(
      [this](int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags) {
        const int result = platform().renameat2.real(fromDirectory, from, toDirectory, to, flags);
        directory.writeFile("tmp/name", "another");
        return result;
      });
  EXPECT_EQ("placed", place());
  EXPECT_EQ("another", readFile(temporaryFile));
}

TEST_F(TaskFileTest, WhereThatIsNotSupportedTheFileIsMovedAfterALook) {
  for (const int error : {EINVAL, ENOSYS, EOPNOTSUPP}) {
    refuseExclusiveMoves(error);
    EXPECT_EQ("placed", place());
    EXPECT_EQ("taken: " + queueFile, place());
    EXPECT_EQ("true\n", readFile(queueFile));
    EXPECT_THAT(namesIn(directory.path("tmp")), IsEmpty());
    std::filesystem::remove(queueFile);
  }
}

TEST_F(TaskFileTest, ServiceThatWatchesForMovedFilesSeesBothWays) {
  const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(inotify_add_watch(watch, queue.c_str(), IN_MOVED_TO), 0);
  std::array<char, 1024> events{};
  EXPECT_EQ("placed", place());
  EXPECT_GT(read(watch, events.data(), events.size()), 0);
  std::filesystem::remove(queueFile);
  refuseExclusiveMoves();
  EXPECT_EQ("placed", place());
  EXPECT_GT(read(watch, events.data(), events.size()), 0);
  close(watch);
}

TEST_F(TaskFileTest, LookThatFailsIsAFailure) {
  directory.setMode("", 0755);
  directory.setMode("tmp", 0777);
  directory.setMode("var/taskqueue", 0);
  refuseExclusiveMoves();
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ(notMoved + "Permission denied", place());
  EXPECT_THAT(namesIn(directory.path("tmp")), IsEmpty());
}

TEST_F(TaskFileTest, FailedMoveBehindTheLookIsAFailure) {
  refuseExclusiveMoves();
  platform().rename.setFake([](const char*, const char*) {
    errno = EROFS;
    return -1;
  });
  expectNothingAfter(notMoved + "Read-only file system");
}

TEST_F(TaskFileTest, FailedMoveIsAFailure) {
  failMove(EDQUOT);
  expectNothingAfter(notMoved + "Disk quota exceeded");
}

TEST_F(TaskFileTest, QueueWithoutPermissionIsAFailure) {
  directory.setMode("", 0755);
  directory.setMode("tmp", 0777);
  directory.setMode("var/taskqueue", 0555);
  const UnprivilegedFiles unprivileged;
  expectNothingAfter(notMoved + "Permission denied");
}

// --- directories ---

TEST_F(TaskFileTest, QueueOnAnotherMountOfTheSameDeviceIsTheOperatorsTurn) {
  PrivateMounts mounts;
  if (mounts.isPermitted()) {
    mounts.mountOnItself(queue);
  } else {
    failMove(EXDEV);
  }
  expectNothingAfter(otherMount);
}

TEST_F(TaskFileTest, QueueOnAnotherFileSystemIsTheOperatorsTurn) {
  failMove(EXDEV);
  expectNothingAfter(otherMount);
  refuseExclusiveMoves();
  platform().rename.setFake([](const char*, const char*) {
    errno = EXDEV;
    return -1;
  });
  expectNothingAfter(otherMount);
}

TEST_F(TaskFileTest, MissingTmpIsTheOperatorsTurn) {
  std::filesystem::remove(directory.path("tmp"));
  EXPECT_EQ("NOT_CONFIGURED: the directory of TMP is missing: \"" + directory.path("tmp") +
                "\": No such file or directory",
            place());
  directory.writeFile("tmp", "");
  EXPECT_EQ("NOT_CONFIGURED: the directory of TMP is missing: \"" + directory.path("tmp") +
                "\": Not a directory",
            place());
}

TEST_F(TaskFileTest, MissingQueueIsTheOperatorsTurn) {
  const std::string failure =
      "NOT_CONFIGURED: the directory of VAR is missing: \"" + queue + "\": ";
  std::filesystem::remove(queue);
  EXPECT_EQ(failure + "No such file or directory", place());
  EXPECT_EQ(failure + "No such file or directory", place(true));
  refuseExclusiveMoves();
  EXPECT_EQ(failure + "No such file or directory", place());
  platform().reset();
  directory.writeFile("var/taskqueue", "");
  EXPECT_EQ(failure + "Not a directory", place());
  EXPECT_EQ(failure + "Not a directory", place(true));
  EXPECT_THAT(namesIn(directory.path("tmp")), IsEmpty());
}

TEST_F(TaskFileTest, TemporaryFileThatVanishesIsNotAMissingQueue) {
  platform().renameat2.setFake(
      [](int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags) {
        std::filesystem::remove(from);
        return platform().renameat2.real(fromDirectory, from, toDirectory, to, flags);
      });
  expectNothingAfter(notMoved + "No such file or directory");
}

TEST_F(TaskFileTest, TmpWithoutPermissionIsAFailure) {
  directory.setMode("", 0755);
  directory.setMode("tmp", 0555);
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ(notWritten + "Permission denied", place());
}

// --- writing ---

TEST_F(TaskFileTest, FullDiskIsAFailure) {
  PrivateMounts mounts;
  if (mounts.isPermitted()) {
    mounts.mountSmall(directory.path("tmp"), 8192);
  } else {
    platform().write.setFake([](int descriptor, const void* bytes, size_t size) {
      errno = ENOSPC;
      return size > 8192 ? platform().write.real(descriptor, bytes, 8192) : ssize_t{-1};
    });
  }
  EXPECT_EQ(notWritten + "No space left on device", place(false, std::string(100000, 'x')));
  EXPECT_THAT(namesIn(directory.path("tmp")), IsEmpty());
}

TEST_F(TaskFileTest, WriteThatFailsInTheMiddleIsAFailure) {
  int writes = 0;
  platform().write.setFake([&writes](int descriptor, const void* bytes, size_t) {
    errno = ENOSPC;
    return ++writes == 3 ? ssize_t{-1} : platform().write.real(descriptor, bytes, 1);
  });
  expectNothingAfter(notWritten + "No space left on device");
}

TEST_F(TaskFileTest, FileSizeLimitIsAFailureAndDoesNotEndTheProcess) {
  {
    const SizeLimit limit(3);
    expectNothingAfter(notWritten + "File too large");
  }
  EXPECT_EQ("placed", place());
}

TEST_F(TaskFileTest, FailedCloseIsAFailure) {
  platform().close.setFake([this](int descriptor) {
    platform().close.real(descriptor);
    errno = EIO;
    return exists(temporaryFile) ? -1 : 0;
  });
  expectNothingAfter(notWritten + "Input/output error", false);
}

TEST_F(TaskFileTest, NameThatIsTooLongIsAFailure) {
  const std::string name(300, 'n');
  EXPECT_EQ("SYSTEM_ERROR: cannot write the task file \"" + directory.path("tmp/") + name +
                "\": File name too long",
            shown(placeTaskFile(directory.path("tmp"), queue, name, "", false).fault()));
}

// --- durable ---

TEST_F(TaskFileTest, DurableFileIsSyncedBeforeTheMoveAndTheQueueBehindIt) {
  std::vector<std::string> calls;
  platform().fsync.setFake([&calls](int descriptor) {
    calls.push_back("fsync " + nameOfOpen(descriptor));
    return platform().fsync.real(descriptor);
  });
  platform().renameat2.setFake([&calls](int fromDirectory, const char* from, int toDirectory,
                                        const char* to, unsigned flags) {
    calls.emplace_back("move");
    return platform().renameat2.real(fromDirectory, from, toDirectory, to, flags);
  });
  EXPECT_EQ("placed", place(true));
  EXPECT_THAT(calls, ElementsAre("fsync name", "move", "fsync taskqueue"));
}

TEST_F(TaskFileTest, OtherFileIsNotSynced) {
  platform().fsync.setFake([](int) {
    ADD_FAILURE() << "syncs";
    return -1;
  });
  EXPECT_EQ("placed", place(false));
}

TEST_F(TaskFileTest, FileThatCannotBeSyncedIsAFailure) {
  platform().fsync.setFake([](int) {
    errno = EIO;
    return -1;
  });
  expectNothingAfter(notWritten + "Input/output error");
}

TEST_F(TaskFileTest, QueueThatCannotBeSyncedLeavesTheTaskInDoubtWithItsName) {
  platform().fsync.setFake([](int descriptor) {
    errno = EIO;
    return nameOfOpen(descriptor) == "taskqueue" ? -1 : 0;
  });
  const Result<Placement> result =
      placeTaskFile(directory.path("tmp"), queue, "name", "true\n", true);
  ASSERT_FALSE(result.isOk());
  EXPECT_EQ("IN_DOUBT: the task may be queued as \"name\": " + notSynced + "Input/output error",
            shown(result.fault()));
  velmo_error error{};
  describe(result.fault(), &error);
  EXPECT_EQ(VELMO_SYSTEM_ERROR, error.cause);
  EXPECT_EQ(EIO, error.system_error);
  EXPECT_EQ("true\n", readFile(queueFile));
}

TEST_F(TaskFileTest, QueueThatCannotBeOpenedIsAFailureBeforeTheMove) {
  platform().open.setFake([](const char* path, int flags, mode_t mode) {
    errno = EMFILE;
    return (flags & O_DIRECTORY) != 0 ? -1 : platform().open.real(path, flags, mode);
  });
  expectNothingAfter("SYSTEM_ERROR: " + notSynced + "Too many open files");
}

// --- other processes ---

TEST_F(TaskFileTest, OneOfTwoProcessesWithOneNameWins) {
  for (int i = 0; i < 20; ++i) {
    std::vector<int> results = inProcesses(2, [this](int number) {
      const std::string contents = std::to_string(number);
      const Result<Placement> result =
          placeTaskFile(directory.path("tmp"), queue, "name", contents, false);
      return !result.isOk() ? 2 : result.value().isPlaced ? 1 : 0;
    });
    const int winner = results[0] == 1 ? 0 : 1;
    EXPECT_EQ(1, results[0] + results[1]);
    EXPECT_EQ(std::to_string(winner), readFile(queueFile));
    EXPECT_THAT(namesIn(directory.path("tmp")), IsEmpty());
    std::filesystem::remove(queueFile);
  }
}

TEST_F(TaskFileTest, ProcessThatIsKilledBeforeTheMoveQueuesNothing) {
  EXPECT_THAT(inProcesses(1,
                          [this](int) {
                            platform().renameat2.setFake([](int, const char*, int, const char*,
                                                            unsigned) { return raise(SIGKILL); });
                            place();
                            return 0;
                          }),
              Each(-SIGKILL));
  EXPECT_THAT(namesIn(queue), IsEmpty());
  EXPECT_EQ("taken: " + temporaryFile, place());
}

}  // namespace
