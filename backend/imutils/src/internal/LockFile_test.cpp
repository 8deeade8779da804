#include "LockFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using brix::imutils::createLockFile;
using brix::imutils::removeLockFile;
using testing::ElementsAre;
using velmo::test::exists;
using velmo::test::FakeScope;
using velmo::test::openDescriptors;
using velmo::test::platform;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

class LockFileTest : public testing::Test {
 protected:
  std::optional<int> create(const std::string& name = "x") const {
    return createLockFile(directory.path(), name);
  }

  int remove(const std::string& name = "x") const {
    return removeLockFile(directory.path(), name);
  }

  const TemporaryDirectory directory;
  const std::string lockFile = directory.path("semaphore_x");
  const FakeScope fakes;
};

// --- createLockFile ---

TEST_F(LockFileTest, FailureWithoutAnErrorNumberIsNoLock) {
  platform().open.setFake([](const char*, int, mode_t) { return -1; });
  errno = EPERM;
  EXPECT_EQ(std::optional<int>(0), create());
}

TEST_F(LockFileTest, LockIsAnEmptyFileCreatedExclusively) {
  std::vector<int> arguments;
  platform().open.setFake([&](const char* path, int flags, mode_t mode) {
    EXPECT_EQ(0, errno);
    EXPECT_EQ(lockFile, path);
    arguments = {flags, static_cast<int>(mode)};
    return platform().open.real(path, flags, mode);
  });
  errno = EPERM;
  EXPECT_EQ(std::nullopt, create());
  EXPECT_THAT(arguments, ElementsAre(0xC0, 0660));
  EXPECT_EQ(O_RDONLY | O_CREAT | O_EXCL, arguments.at(0));
  EXPECT_EQ(0U, std::filesystem::file_size(lockFile));
}

TEST_F(LockFileTest, ModeIs0660LessTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{0027}}) {
    const mode_t before = umask(mask);
    EXPECT_EQ(std::nullopt, create());
    umask(before);
    struct stat status {};
    ASSERT_EQ(0, stat(lockFile.c_str(), &status));
    EXPECT_EQ(0660U & ~mask, status.st_mode & 07777U);
    EXPECT_EQ(0, remove());
  }
}

TEST_F(LockFileTest, DescriptorIsClosed) {
  const std::size_t before = openDescriptors();
  EXPECT_EQ(std::nullopt, create());
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(LockFileTest, LockThatIsHeldIsEexistAndStays) {
  directory.writeFile("semaphore_x", "");
  EXPECT_EQ(EEXIST, create());
  EXPECT_TRUE(exists(lockFile));
}

TEST_F(LockFileTest, NamesAreDifferentLocks) {
  EXPECT_EQ(std::nullopt, create("x"));
  EXPECT_EQ(std::nullopt, create("y"));
  EXPECT_EQ(std::nullopt, create(""));
  EXPECT_TRUE(exists(directory.path("semaphore_")));
}

TEST_F(LockFileTest, EmptyDirectoryIsTheRoot) {
  platform().open.setFake([](const char* path, int, mode_t) {
    EXPECT_STREQ("/semaphore_x", path);
    errno = EEXIST;
    return -1;
  });
  EXPECT_EQ(EEXIST, createLockFile("", "x"));
}

TEST_F(LockFileTest, FailureOfTheOpenIsItsErrorNumber) {
  EXPECT_EQ(ENOENT, createLockFile(directory.path("missing"), "x"));
  EXPECT_EQ(ENOTDIR, createLockFile(directory.writeFile("file", ""), "x"));
  EXPECT_EQ(ENAMETOOLONG, create(std::string(300, 'n')));
}

TEST_F(LockFileTest, DirectoryWithoutPermissionIsEacces) {
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ(EACCES, create());
}

TEST_F(LockFileTest, PathThatIsTooLongIsRefusedAndNotCut) {
  for (const std::size_t length : {std::size_t{4096}, std::size_t{5000}, std::size_t{100000}}) {
    EXPECT_EQ(ENAMETOOLONG, createLockFile(std::string(length, '/'), "x"));
    EXPECT_EQ(ENAMETOOLONG, removeLockFile(std::string(length, '/'), "x"));
  }
}

TEST_F(LockFileTest, LongestPathIsTaken) {
  const std::string start(4095 - lockFile.size(), '/');  // as many as the platform allows
  EXPECT_EQ(std::nullopt, createLockFile(start + directory.path().string(), "x"));
  EXPECT_TRUE(exists(lockFile));
  EXPECT_EQ(0, removeLockFile(start + directory.path().string(), "x"));
  EXPECT_FALSE(exists(lockFile));
}

// --- removeLockFile ---

TEST_F(LockFileTest, RemovalTakesThatFileAlone) {
  EXPECT_EQ(std::nullopt, create("x"));
  EXPECT_EQ(std::nullopt, create("y"));
  EXPECT_EQ(0, remove("x"));
  EXPECT_FALSE(exists(lockFile));
  EXPECT_TRUE(exists(directory.path("semaphore_y")));
}

TEST_F(LockFileTest, FileThatIsGoneCountsAsRemoved) {
  EXPECT_EQ(0, remove());
  EXPECT_EQ(0, removeLockFile(directory.path("missing"), "x"));
}

TEST_F(LockFileTest, FailureOfTheRemovalIsItsErrorNumber) {
  directory.makeDirectory("semaphore_x");
  EXPECT_EQ(EISDIR, remove());
  platform().unlink.setFake([](const char*) {
    EXPECT_EQ(0, errno);
    errno = EACCES;
    return -1;
  });
  errno = EPERM;
  EXPECT_EQ(EACCES, remove());
}

// --- cancellation ---

TEST_F(LockFileTest, CancellationIsHeldBackDuringBothCalls) {
  int duringOpen = PTHREAD_CANCEL_ENABLE;
  platform().open.setFake([&duringOpen](const char* path, int flags, mode_t mode) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &duringOpen);
    return platform().open.real(path, flags, mode);
  });
  int duringUnlink = PTHREAD_CANCEL_ENABLE;
  platform().unlink.setFake([&duringUnlink](const char* path) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &duringUnlink);
    return platform().unlink.real(path);
  });
  EXPECT_EQ(std::nullopt, create());
  EXPECT_EQ(0, remove());
  EXPECT_EQ(PTHREAD_CANCEL_DISABLE, duringOpen);
  EXPECT_EQ(PTHREAD_CANCEL_DISABLE, duringUnlink);
  int after = PTHREAD_CANCEL_DISABLE;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &after);
  EXPECT_EQ(PTHREAD_CANCEL_ENABLE, after);
}

}  // namespace
