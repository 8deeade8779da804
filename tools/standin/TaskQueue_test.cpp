#include "TaskQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace standin {
namespace {

using velmo::test::TemporaryDirectory;
using velmo::test::writeFile;

using testing::ElementsAre;

class TaskQueueTest : public testing::Test {
 protected:
  bool isAwake() const {
    pollfd descriptor{m_queue.watchDescriptor(), POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1;
  }

  fs::path file(const std::string& name) const {
    return m_directory.path() / "queue" / name;
  }

  TemporaryDirectory m_directory;
  bool m_made = fs::create_directory(m_directory.path() / "queue");
  TaskQueue m_queue{m_directory.path() / "queue"};
};

TEST_F(TaskQueueTest, NamesComeInByteOrder) {
  for (const char* name : {"b", "B", "0500.x", "12000.x", "-005.x", "\xc3\xa9", "0050.x"}) {
    writeFile(file(name), "");
  }
  EXPECT_THAT(m_queue.names(),
              ElementsAre("-005.x", "0050.x", "0500.x", "12000.x", "B", "b", "\xc3\xa9"));
}

TEST_F(TaskQueueTest, MissingDirectoryIsAnErrorNotAnEmptyQueue) {
  fs::remove(file(""));
  EXPECT_THROW(m_queue.names(), fs::filesystem_error);
  EXPECT_THROW(TaskQueue(file("missing")), std::system_error);
}

TEST_F(TaskQueueTest, WatchTellsOfAFileThatIsMovedInUntilItIsCleared) {
  writeFile(m_directory.path() / "x", "");
  EXPECT_FALSE(isAwake());
  fs::rename(m_directory.path() / "x", file("x"));
  EXPECT_TRUE(isAwake());
  m_queue.clearWatch();
  EXPECT_FALSE(isAwake());
}

TEST_F(TaskQueueTest, WatchTellsOfAFileThatIsWrittenInPlace) {
  writeFile(file("x"), "text");
  EXPECT_TRUE(isAwake());
}

TEST_F(TaskQueueTest, WatchDoesNotTellOfFilesThatLeave) {
  writeFile(file("x"), "");
  m_queue.clearWatch();
  m_queue.remove("x");
  EXPECT_FALSE(isAwake());
}

TEST_F(TaskQueueTest, IdentityChangesWithTheFileAndItsContents) {
  writeFile(file("x"), "one");
  const std::optional<FileIdentity> first = m_queue.identify("x");
  ASSERT_TRUE(first);
  EXPECT_TRUE(first->isRegular);
  EXPECT_EQ(first, m_queue.identify("x"));
  fs::last_write_time(file("x"), fs::last_write_time(file("x")) + std::chrono::nanoseconds(1));
  EXPECT_FALSE(first == m_queue.identify("x"));
  EXPECT_EQ(std::nullopt, m_queue.identify("y"));
}

TEST_F(TaskQueueTest, IdentityOfADirectoryStaysWhateverIsPutIntoIt) {
  fs::create_directory(file("d"));
  const std::optional<FileIdentity> before = m_queue.identify("d");
  ASSERT_TRUE(before);
  EXPECT_FALSE(before->isRegular);
  writeFile(file("d") / "x", "");
  fs::last_write_time(file("d"), fs::last_write_time(file("d")) + std::chrono::seconds(1));
  EXPECT_EQ(before, m_queue.identify("d"));
}

TEST_F(TaskQueueTest, IdentityIsThatOfALinkNotOfWhatItPointsTo) {
  writeFile(m_directory.path() / "x", "");
  fs::create_symlink(m_directory.path() / "x", file("link"));
  EXPECT_FALSE(m_queue.identify("link")->isRegular);
}

TEST_F(TaskQueueTest, ReadsAFileWhole) {
  const std::string text(10000, 'x');
  writeFile(file("x"), text);
  EXPECT_EQ(text, m_queue.read("x"));
}

TEST_F(TaskQueueTest, RefusesToReadThroughALink) {
  writeFile(m_directory.path() / "x", "");
  fs::create_symlink(m_directory.path() / "x", file("link"));
  EXPECT_THROW(m_queue.read("link"), std::system_error);
}

TEST_F(TaskQueueTest, RemovesFilesOnlyAndAMissingOneIsNoFailure) {
  writeFile(file("x"), "");
  m_queue.remove("x");
  EXPECT_NO_THROW(m_queue.remove("x"));
  EXPECT_THAT(m_queue.names(), ElementsAre());
  fs::create_directory(file("d"));
  EXPECT_THROW(m_queue.remove("d"), std::system_error);
}

}  // namespace
}  // namespace standin
