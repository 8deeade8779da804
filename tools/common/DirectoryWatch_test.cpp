#include "DirectoryWatch.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <string>
#include <system_error>

#include "TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace velmo::tools {
namespace {

using velmo::test::TemporaryDirectory;
using velmo::test::writeFile;

class DirectoryWatchTest : public testing::Test {
 protected:
  bool isAwake() const {
    pollfd descriptor{m_watch.descriptor(), POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1;
  }

  fs::path watched(const std::string& name) const {
    return m_directory.path() / "watched" / name;
  }

  TemporaryDirectory m_directory;
  DirectoryWatch m_watch{m_directory.makeDirectory("watched")};
};

TEST_F(DirectoryWatchTest, FileThatIsMovedInIsSeenUntilTheWatchIsCleared) {
  writeFile(m_directory.path() / "x", "");
  EXPECT_FALSE(isAwake());
  fs::rename(m_directory.path() / "x", watched("x"));
  EXPECT_TRUE(isAwake());
  m_watch.clear();
  EXPECT_FALSE(isAwake());
}

TEST_F(DirectoryWatchTest, FileThatIsWrittenInPlaceIsSeen) {
  writeFile(watched("x"), "text");
  EXPECT_TRUE(isAwake());
}

TEST_F(DirectoryWatchTest, FileThatLeavesIsNotSeen) {
  writeFile(watched("x"), "");
  m_watch.clear();
  fs::remove(watched("x"));
  EXPECT_FALSE(isAwake());
}

TEST_F(DirectoryWatchTest, FileThatWasThereBeforeIsNotSeen) {
  writeFile(watched("x"), "");
  const DirectoryWatch later(watched(""));
  pollfd descriptor{later.descriptor(), POLLIN, 0};
  EXPECT_EQ(0, poll(&descriptor, 1, 0));
}

TEST_F(DirectoryWatchTest, MissingDirectoryIsNamed) {
  const std::string path = watched("missing");
  try {
    const DirectoryWatch watch(path);
    FAIL() << "watched";
  } catch (const std::system_error& failure) {
    EXPECT_EQ("cannot watch " + path + ": No such file or directory", failure.what());
  }
}

}  // namespace
}  // namespace velmo::tools
