#include "PrivateFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <string>
#include <system_error>

#include "TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace velmo::tools {
namespace {

using velmo::test::readFile;
using velmo::test::TemporaryDirectory;
using velmo::test::writeFile;

// While it exists, no file of this process grows beyond a size.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : m_handler(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit{bytes, m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &m_before);
    signal(SIGXFSZ, m_handler);
  }

 private:
  rlimit m_before{};
  sighandler_t m_handler;
};

TEST(PrivateFileTest, FileHasTheTextAndIsPrivateWhateverTheUmask) {
  const TemporaryDirectory directory;
  for (const mode_t mask : {0U, 0777U}) {
    const fs::path path = directory.path() / std::to_string(mask);
    const mode_t before = umask(mask);
    EXPECT_TRUE(createPrivateFile(path, "one\ntwo"));
    umask(before);
    EXPECT_EQ("one\ntwo", readFile(path));
    EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write, fs::status(path).permissions());
  }
}

TEST(PrivateFileTest, ExistingFileOrLinkIsLeftAlone) {
  const TemporaryDirectory directory;
  writeFile(directory.path() / "x", "old");
  fs::create_symlink("missing", directory.path() / "link");
  EXPECT_FALSE(createPrivateFile(directory.path() / "x", "new"));
  EXPECT_EQ("old", readFile(directory.path() / "x"));
  EXPECT_FALSE(createPrivateFile(directory.path() / "link", "new"));
  EXPECT_FALSE(fs::exists(directory.path() / "missing"));
}

TEST(PrivateFileTest, FileThatCannotBeCreatedIsNamed) {
  const TemporaryDirectory directory;
  const std::string path = directory.path("missing/x");
  try {
    createPrivateFile(path, "");
    FAIL() << "created";
  } catch (const std::system_error& failure) {
    EXPECT_EQ("cannot make the file " + path + ": No such file or directory", failure.what());
  }
}

TEST(PrivateFileTest, FileThatCannotBeWrittenWholeIsNamedAndRemoved) {
  const TemporaryDirectory directory;
  const std::string path = directory.path("x");
  const FileSizeLimit limit(3);
  try {
    createPrivateFile(path, "four");
    FAIL() << "created";
  } catch (const std::system_error& failure) {
    EXPECT_EQ("cannot write " + path + ": File too large", failure.what());
  }
  EXPECT_FALSE(fs::exists(path));
}

}  // namespace
}  // namespace velmo::tools
