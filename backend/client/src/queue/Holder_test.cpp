#include "Holder.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "Environment.h"
#include "HeldProcess.h"
#include "MovedClock.h"
#include "PlatformCalls.h"
#include "SystemVKeys.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::describeLastTaker;
using velmo::client::describeLockFile;
using velmo::test::FakeScope;
using velmo::test::HeldProcess;
using velmo::test::platform;
using velmo::test::setFileTime;
using velmo::test::TemporaryDirectory;
using velmo::test::TestSemaphore;

std::string endedProcess() {
  HeldProcess process([] {});
  process.kill();
  return std::to_string(process.pid());
}

// --- describeLockFile ---

class LockFileHolderTest : public testing::Test {
 protected:
  static constexpr time_t kNow = 1741007469;

  LockFileHolderTest() {
    environment.set("TZ", "EAST-0:54");
    tzset();
  }

  // The description of a lock file with these contents, 12 seconds old.
  std::string describe(const std::string& contents) const {
    directory.writeFile("lock", contents);
    return describeAged(12);
  }

  std::string describeAged(time_t age) const {
    setFileTime(path.c_str(), kNow - age);
    return describeLockFile(path);
  }

  const TemporaryDirectory directory;
  const std::string path = directory.path("lock");
  const FakeScope fakes;
  velmo::test::Environment environment;
  const velmo::test::MovedClock clock{kNow};
  const std::string since = "has existed since 2025-03-03 14:04:57 (for 12 s)";
};

TEST_F(LockFileHolderTest, EmptyFileHasOnlyATime) {
  EXPECT_EQ(since, describe(""));
}

TEST_F(LockFileHolderTest, MakerThatRunsIsRunning) {
  const std::string process = std::to_string(getpid());
  EXPECT_EQ(since + ", made by process " + process + ", which is running",
            describe(process + "\n"));
}

TEST_F(LockFileHolderTest, MakerThatHasEndedHasEnded) {
  const std::string process = endedProcess();
  EXPECT_EQ(since + ", made by process " + process + ", which has ended", describe(process + "\n"));
}

TEST_F(LockFileHolderTest, ProcessOfAnotherUserIsRunning) {
  platform().kill.setFake([](pid_t process, int signal) {
    EXPECT_EQ(123, process);
    EXPECT_EQ(0, signal);
    errno = EPERM;
    return -1;
  });
  EXPECT_EQ(since + ", made by process 123, which is running", describe("123"));
}

TEST_F(LockFileHolderTest, OtherContentsAreNotAProcess) {
  for (const char* contents :
       {"\n", "0\n", "-1\n", "12x\n", " 12\n", "12\n\n", "12 34", "99999999999\n", "+5\n"}) {
    EXPECT_EQ(since, describe(contents)) << contents;
  }
  EXPECT_EQ(since, describe("1" + std::string(400, '\n')));
}

TEST_F(LockFileHolderTest, AgeIsInTheLargestUnitThatItHasTwice) {
  directory.writeFile("lock", "");
  const std::vector<std::pair<time_t, std::string>> rows{
      {0, "0 s"},    {119, "119 s"},   {120, "2 min"},     {7199, "119 min"},
      {7200, "2 h"}, {172799, "47 h"}, {172800, "2 days"}, {8640000, "100 days"}};
  for (const auto& [age, text] : rows) {
    const std::string description = describeAged(age);
    EXPECT_EQ("(for " + text + ")", description.substr(description.find('(')));
  }
}

TEST_F(LockFileHolderTest, FileFromTheFutureHasNoAge) {
  directory.writeFile("lock", "");
  EXPECT_EQ("has existed since 2025-03-03 14:05:10", describeAged(-1));
}

TEST_F(LockFileHolderTest, LinkIsNotFollowed) {
  directory.writeFile("target", std::to_string(getpid()));
  std::filesystem::create_symlink(directory.path("target"), path);
  EXPECT_EQ(std::string::npos, describeLockFile(path).find("process"));
}

TEST_F(LockFileHolderTest, FileThatIsGoneHasJustBeenRemoved) {
  EXPECT_EQ("has just been removed", describeLockFile(path));
}

TEST_F(LockFileHolderTest, FileThatCannotBeLookedAtExists) {
  directory.writeFile("file", "");
  EXPECT_EQ("exists", describeLockFile(directory.path("file/lock")));
}

// --- describeLastTaker ---

class LastTakerTest : public testing::Test {
 protected:
  void take() const {
    sembuf operation{0, -1, 0};
    EXPECT_EQ(0, semop(semaphore.id(), &operation, 1));
  }

  const FakeScope fakes;
  const TestSemaphore semaphore{1};
};

TEST_F(LastTakerTest, TakerThatRunsIsNamed) {
  take();
  EXPECT_EQ("process " + std::to_string(getpid()) + " took it last",
            describeLastTaker(semaphore.id()));
}

TEST_F(LastTakerTest, TakerThatHasEndedHasEnded) {
  HeldProcess process([this] { take(); });
  process.kill();
  EXPECT_EQ("process " + std::to_string(process.pid()) + ", which has ended, took it last",
            describeLastTaker(semaphore.id()));
}

TEST_F(LastTakerTest, TakerThatCannotBeNamedIsUnknown) {
  platform().semctl.setFake([](int, int, int, long) { return 0; });
  EXPECT_EQ("an unknown process took it last", describeLastTaker(semaphore.id()));
  platform().semctl.setFake([](int, int, int, long) { return -1; });
  EXPECT_EQ("an unknown process took it last", describeLastTaker(semaphore.id()));
}

// --- the contents of a lock file ---

TEST(LockContentsTest, ProcessIdIsReadAsItIsWritten) {
  EXPECT_EQ(123, velmo::client::processIdIn("123\n"));
  EXPECT_EQ(123, velmo::client::processIdIn("123"));
}

TEST(LockContentsTest, OtherContentsNameNoProcess) {
  for (const char* contents :
       {"", "\n", "0\n", "-1\n", " 1\n", "1 \n", "1\n2\n", "x", "99999999999"}) {
    EXPECT_EQ(0, velmo::client::processIdIn(contents)) << contents;
  }
}

}  // namespace
