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

// --- Watched::Names ---

class NameWatchTest : public DirectoryWatchTest {
 protected:
  // "+name" and "-name" in their order.
  std::string taken() {
    std::string text;
    for (const NameChange& change : m_names.take().names) {
      text += (text.empty() ? "" : " ") + std::string(change.isArrival ? "+" : "-") + change.name;
    }
    return text;
  }

  DirectoryWatch m_names{watched(""), Watched::Names};
};

TEST_F(NameWatchTest, NamesThatComeAndGoAreReportedInTheirOrder) {
  writeFile(watched("a"), "text");
  fs::rename(watched("a"), watched("b"));
  fs::rename(watched("b"), m_directory.path() / "b");
  fs::rename(m_directory.path() / "b", watched("c"));
  fs::remove(watched("c"));
  EXPECT_EQ("+a -a +b -b +c -c", taken());
  EXPECT_EQ("", taken());
}

TEST_F(NameWatchTest, MoreChangesThanTheBufferHoldsAreAllReported) {
  std::string expected;
  for (int i = 0; i < 200; ++i) {
    const std::string name = std::to_string(i) + std::string(100, 'x');
    writeFile(watched(name), "");
    expected += (i == 0 ? "+" : " +") + name;
  }
  EXPECT_EQ(expected, taken());
}

TEST_F(NameWatchTest, DirectoryThatIsRemovedEndsTheWatch) {
  EXPECT_FALSE(m_names.take().isOver);
  fs::remove(watched(""));
  EXPECT_TRUE(m_names.take().isOver);
}

TEST_F(NameWatchTest, DirectoryThatIsMovedEndsTheWatch) {
  fs::rename(m_directory.path() / "watched", m_directory.path() / "elsewhere");
  EXPECT_TRUE(m_names.take().isOver);
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
