#include "QueueDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace velmo::tools {
namespace {

using velmo::test::TemporaryDirectory;
using velmo::test::writeFile;

using testing::ElementsAre;

class QueueDirectoryTest : public testing::Test {
 protected:
  fs::path file(const std::string& name) const {
    return m_directory.path() / "queue" / name;
  }

  TemporaryDirectory m_directory;
  QueueDirectory m_queue{m_directory.makeDirectory("queue")};
};

TEST_F(QueueDirectoryTest, NamesAreInByteOrder) {
  for (const char* name : {"b", "B", "0500.x", "12000.x", "-005.x", "\xc3\xa9", "0050.x"}) {
    writeFile(file(name), "");
  }
  EXPECT_THAT(m_queue.names(),
              ElementsAre("-005.x", "0050.x", "0500.x", "12000.x", "B", "b", "\xc3\xa9"));
}

TEST_F(QueueDirectoryTest, MissingDirectoryIsAnErrorNotAnEmptyQueue) {
  fs::remove(file(""));
  EXPECT_THROW(m_queue.names(), fs::filesystem_error);
}

TEST_F(QueueDirectoryTest, IdentityChangesWithTheFileAndItsContents) {
  writeFile(file("x"), "one");
  const std::optional<FileIdentity> first = m_queue.identify("x");
  ASSERT_TRUE(first);
  EXPECT_TRUE(first->isRegular);
  EXPECT_EQ(first, m_queue.identify("x"));
  fs::last_write_time(file("x"), fs::last_write_time(file("x")) + std::chrono::nanoseconds(1));
  EXPECT_FALSE(first == m_queue.identify("x"));
  EXPECT_EQ(std::nullopt, m_queue.identify("y"));
}

TEST_F(QueueDirectoryTest, IdentityOfADirectoryStaysWhenItsEntriesChange) {
  fs::create_directory(file("d"));
  const std::optional<FileIdentity> before = m_queue.identify("d");
  ASSERT_TRUE(before);
  EXPECT_FALSE(before->isRegular);
  writeFile(file("d") / "x", "");
  fs::last_write_time(file("d"), fs::last_write_time(file("d")) + std::chrono::seconds(1));
  EXPECT_EQ(before, m_queue.identify("d"));
}

TEST_F(QueueDirectoryTest, LinkIsIdentifiedItselfNotItsTarget) {
  writeFile(m_directory.path() / "x", "");
  fs::create_symlink(m_directory.path() / "x", file("link"));
  EXPECT_FALSE(m_queue.identify("link")->isRegular);
}

TEST_F(QueueDirectoryTest, FileIsReadWhole) {
  const std::string text(10000, 'x');
  writeFile(file("x"), text);
  EXPECT_EQ(text, m_queue.read("x"));
}

TEST_F(QueueDirectoryTest, LinkIsNotFollowed) {
  writeFile(m_directory.path() / "x", "");
  fs::create_symlink(m_directory.path() / "x", file("link"));
  EXPECT_THROW(m_queue.read("link"), std::system_error);
}

TEST_F(QueueDirectoryTest, OnlyFilesAreRemovedAndAMissingOneIsNotAFailure) {
  writeFile(file("x"), "");
  m_queue.remove("x");
  EXPECT_NO_THROW(m_queue.remove("x"));
  EXPECT_THAT(m_queue.names(), ElementsAre());
  fs::create_directory(file("d"));
  EXPECT_THROW(m_queue.remove("d"), std::system_error);
}

TEST_F(QueueDirectoryTest, StartOfAFileIsNotLongerThanTheLimit) {
  writeFile(file("x"), std::string(5000, 'a') + "b");
  EXPECT_EQ("", m_queue.readStart("x", 0));
  EXPECT_EQ("aaa", m_queue.readStart("x", 3));
  EXPECT_EQ(std::string(5000, 'a'), m_queue.readStart("x", 5000));
  EXPECT_EQ(std::string(5000, 'a') + "b", m_queue.readStart("x", 5002));
}

}  // namespace
}  // namespace velmo::tools
