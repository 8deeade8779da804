#include "StaleLock.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace velmo::standin {
namespace {

using velmo::test::readFile;

class StaleLockTest : public testing::Test {
 protected:
  velmo::test::TemporaryDirectory m_directory;
  fs::path m_file = m_directory.path() / "semaphore_velmo_jobid";
};

TEST_F(StaleLockTest, FileHoldsALineWithTheIdOfAProcessThatHasEnded) {
  const StaleLock lock(m_directory.path());
  const std::string text = readFile(m_file);
  const pid_t process = std::stoi(text);
  EXPECT_EQ(std::to_string(process) + "\n", text);
  EXPECT_EQ(-1, kill(process, 0));
  EXPECT_EQ(ESRCH, errno);
}

TEST_F(StaleLockTest, FileIsRemovedWithTheObject) {
  {
    const StaleLock lock(m_directory.path());
    EXPECT_TRUE(fs::exists(m_file));
  }
  EXPECT_FALSE(fs::exists(m_file));
}

TEST_F(StaleLockTest, FileThatExistsStaysAsItIs) {
  m_directory.writeFile("semaphore_velmo_jobid", "1");
  {
    const StaleLock lock(m_directory.path());
    EXPECT_EQ("1", readFile(m_file));
  }
  EXPECT_TRUE(fs::exists(m_file));
}

TEST_F(StaleLockTest, FileThatReplacedItStays) {
  {
    const StaleLock lock(m_directory.path());
    m_directory.writeFile("other", "2");
    fs::rename(m_directory.path() / "other", m_file);
  }
  EXPECT_EQ("2", readFile(m_file));
}

TEST_F(StaleLockTest, FileThatIsAlreadyRemovedIsNoFault) {
  const StaleLock lock(m_directory.path());
  fs::remove(m_file);
}

}  // namespace
}  // namespace velmo::standin
