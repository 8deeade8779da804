#include "LockAttempt.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include "TemporaryDirectory.h"

namespace {

using brix::imutils::attemptLock;
using brix::imutils::LockAttempt;
using brix::imutils::lockPath;
using velmo::test::TemporaryDirectory;

TEST(LockAttemptTest, LockFileIsSemaphoreAndTheName) {
  EXPECT_STREQ("/d/semaphore_x", lockPath("/d", "x").data());
  EXPECT_STREQ("/semaphore_", lockPath("", "").data());
}

TEST(LockAttemptTest, NulEndsTheDirectoryAndTheName) {
  EXPECT_STREQ("/d/semaphore_x", lockPath(std::string("/d\0/e", 5), std::string("x\0y", 3)).data());
}

TEST(LockAttemptTest, PathIsCutOneByteBeyondWhatThePlatformAccepts) {
  const std::string name(PATH_MAX, 'x');
  EXPECT_EQ(("/d/semaphore_" + name).substr(0, PATH_MAX), lockPath("/d", name).data());
  EXPECT_EQ(std::string(PATH_MAX, 'd'), lockPath(std::string(2UL * PATH_MAX, 'd'), "x").data());
}

TEST(LockAttemptTest, FirstAttemptHasADescriptorAndTheSecondEexist) {
  const TemporaryDirectory directory;
  const auto path = lockPath(directory.path(), "x");
  const LockAttempt first = attemptLock(path, O_WRONLY);
  ASSERT_GE(first.descriptor, 0);
  EXPECT_EQ(1, write(first.descriptor, "1", 1));
  close(first.descriptor);
  const LockAttempt second = attemptLock(path, O_WRONLY);
  EXPECT_LT(second.descriptor, 0);
  EXPECT_EQ(EEXIST, second.error);
}

TEST(LockAttemptTest, PathThatIsTooLongIsRefusedAndNotCut) {
  EXPECT_EQ(ENAMETOOLONG, attemptLock(lockPath(std::string(5000, '/'), "x"), O_RDONLY).error);
}

}  // namespace
