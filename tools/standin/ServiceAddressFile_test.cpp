#include "ServiceAddressFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <system_error>

#include "TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace velmo::standin {
namespace {

using velmo::test::readFile;
using velmo::test::TemporaryDirectory;
using velmo::test::writeFile;

constexpr const char* kText =
    "<system>\n"
    "  <machine id=\"standin\" hostname=\"127.0.0.1\">\n"
    "    <host name=\"standin\" websocket-port=\"65535\">\n"
    "      <module name=\"velmo\"/>\n"
    "    </host>\n"
    "  </machine>\n"
    "</system>\n";

TEST(ServiceAddressFileTest, FileNamesThisMachineAndThePortAndBeginsWithTheRootElement) {
  const TemporaryDirectory directory;
  const ServiceAddressFile file(directory.path() / "x", 65535);
  EXPECT_EQ(kText, readFile(directory.path() / "x"));
}

TEST(ServiceAddressFileTest, FileIsPrivateWhateverTheUmask) {
  const TemporaryDirectory directory;
  const mode_t before = umask(0777);
  const ServiceAddressFile file(directory.path() / "x", 1);
  umask(before);
  EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write,
            fs::status(directory.path() / "x").permissions());
}

TEST(ServiceAddressFileTest, ExistingFileIsReplacedAndTheTargetOfALinkIsNot) {
  const TemporaryDirectory directory;
  writeFile(directory.path() / "other", "other");
  fs::create_symlink(directory.path() / "other", directory.path() / "x");
  const ServiceAddressFile file(directory.path() / "x", 65535);
  EXPECT_EQ(kText, readFile(directory.path() / "x"));
  EXPECT_EQ("other", readFile(directory.path() / "other"));
}

TEST(ServiceAddressFileTest, FileIsRemovedWithTheObjectAndMayBeGoneBefore) {
  const TemporaryDirectory directory;
  { const ServiceAddressFile file(directory.path() / "x", 1); }
  EXPECT_FALSE(fs::exists(directory.path() / "x"));
  const ServiceAddressFile again(directory.path() / "x", 1);
  fs::remove(directory.path() / "x");
}

TEST(ServiceAddressFileTest, FileThatCannotBeMadeIsNamed) {
  const TemporaryDirectory directory;
  const std::string path = directory.path("missing/x");
  try {
    const ServiceAddressFile file(path, 1);
    FAIL() << "made";
  } catch (const std::system_error& failure) {
    EXPECT_EQ("cannot make the file " + path + ": No such file or directory", failure.what());
  }
}

}  // namespace
}  // namespace velmo::standin
