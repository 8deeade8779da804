#include "LockFile.h"

#include <gtest/gtest.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Failure.h"
#include "TemporaryDirectory.h"

namespace velmo::cli {
namespace {

class LockFileTest : public testing::Test {
 protected:
  std::string path() const {
    return directory.path("semaphore_velmo_jobid");
  }

  void write(const std::string& contents) const {
    test::writeFile(path(), contents);
  }

  test::TemporaryDirectory directory;
};

TEST_F(LockFileTest, MissingFileIsNotThere) {
  EXPECT_FALSE(LockFile(path()).isThere());
  EXPECT_FALSE(LockFile(directory.path("no/file")).isThere());
}

TEST_F(LockFileTest, FileIsDeleted) {
  write("1\n");
  LockFile(path()).remove();
  EXPECT_TRUE(test::namesIn(directory.path()).empty());
}

TEST_F(LockFileTest, FileThatIsAnotherByNowStays) {
  write("1\n");
  const LockFile lock(path());
  std::filesystem::rename(path(), directory.path("old"));
  write("2\n");
  EXPECT_THROW(lock.remove(), Failure);
  EXPECT_EQ("2\n", test::readFile(path()));
}

TEST_F(LockFileTest, AnotherFileThatWasTakenAwayIsPutBack) {
  write("1\n");
  const LockFile lock(path());
  std::filesystem::rename(path(), directory.path("old"));
  write("2\n");
  try {
    lock.takeAway();
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ("another program has replaced the lock file \"" + path() + "\": it was put back",
              std::string(failure.what()));
    EXPECT_EQ(Status::timedOut, failure.status());
  }
  EXPECT_EQ("2\n", test::readFile(path()));
  EXPECT_EQ((std::vector<std::string>{"old", "semaphore_velmo_jobid"}),
            test::namesIn(directory.path()));
}

TEST_F(LockFileTest, NumberOfADeletedFileIsNotTakenForIt) {
  write("1\n");
  const LockFile lock(path());
  std::filesystem::remove(path());
  write("2\n");  // cannot get the number of the file that is still open
  EXPECT_THROW(lock.remove(), Failure);
}

TEST_F(LockFileTest, FileThatIsGoneIsReported) {
  write("1\n");
  const LockFile lock(path());
  std::filesystem::remove(path());
  EXPECT_THROW(lock.remove(), Failure);
  EXPECT_THROW(lock.takeAway(), Failure);
}

TEST_F(LockFileTest, LinkIsNotFollowed) {
  std::filesystem::create_symlink(directory.writeFile("x", ""), path());
  EXPECT_EQ("it is not a regular file", LockFile(path()).verdict(Processes()).reason);
}

TEST_F(LockFileTest, PipeIsNotOpened) {
  ASSERT_EQ(0, mkfifo(path().c_str(), 0600));
  EXPECT_EQ("it is not a regular file", LockFile(path()).verdict(Processes()).reason);
}

TEST_F(LockFileTest, HiddenProcessesAreNoProof) {
  write("1\n");
  const LockVerdict verdict = LockFile(path()).verdict(Processes(directory.path("empty")));
  EXPECT_FALSE(verdict.isStale);
  EXPECT_EQ(0U, verdict.reason.find("processes that may have made it are hidden"));
}

// The proc file system stands for any that is not known to be local.
TEST(LockFileSystemTest, UnknownFileSystemIsNoProof) {
  EXPECT_EQ("it is on a file system that other machines may use",
            LockFile("/proc/self/comm").verdict(Processes()).reason);
}

}  // namespace
}  // namespace velmo::cli
