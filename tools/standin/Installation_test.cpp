#include "Installation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace velmo::standin {
namespace {

using velmo::test::readFile;
using velmo::test::TemporaryDirectory;
using velmo::test::writeFile;

using testing::Pair;
using testing::UnorderedElementsAre;

class InstallationTest : public testing::Test {
 protected:
  InstallationTest() {
    setenv("TMPDIR", m_directory.path().c_str(), 1);
  }

  std::map<std::string, int> modes(const fs::path& top) const {
    std::map<std::string, int> result;
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
      struct stat status {};
      lstat(entry.path().c_str(), &status);
      result[entry.path().lexically_relative(top)] = static_cast<int>(status.st_mode & 07777);
    }
    return result;
  }

  fs::path home() const {
    return m_directory.path() / "home";
  }

  TemporaryDirectory m_directory;
};

TEST_F(InstallationTest, AllDirectoriesAndFilesExistAndArePrivateWhateverTheUmask) {
  for (const mode_t mask : {0U, 0777U}) {
    const mode_t before = umask(mask);
    const Installation installation({}, false);
    umask(before);
    EXPECT_THAT(
        modes(installation.directory()),
        UnorderedElementsAre(Pair("conf", 0700), Pair("conf/priorities.cfg", 0600),
                             Pair("conf/serverid.cfg", 0600), Pair("home", 0700),
                             Pair("home/priorities.cfg", 0600), Pair("var", 0700),
                             Pair("var/taskqueue", 0700), Pair("var/log", 0700), Pair("tmp", 0700),
                             Pair("data", 0700), Pair("data/velmo", 0700), Pair("lock", 0700)));
    EXPECT_EQ(fs::perms::owner_all, fs::status(installation.directory()).permissions());
  }
}

TEST_F(InstallationTest, VariablesNameItsDirectories) {
  const Installation installation({}, false);
  const fs::path& top = installation.directory();
  EXPECT_EQ((tools::Variables{{"CONF", top / "conf"},
                              {"VELMO_HOME", top / "home"},
                              {"VAR", top / "var"},
                              {"TMP", top / "tmp"},
                              {"DATA", top / "data"},
                              {"LOCK_VAR", top / "lock"}}),
            installation.variables());
}

TEST_F(InstallationTest, FreshDirectoryIsInTmpdirAndIsRemovedWithTheObject) {
  fs::path directory;
  {
    const Installation installation({}, false);
    directory = installation.directory();
    EXPECT_FALSE(installation.isKept());
    EXPECT_EQ(m_directory.path(), directory.parent_path());
    EXPECT_TRUE(fs::exists(directory));
  }
  EXPECT_FALSE(fs::exists(directory));
}

TEST_F(InstallationTest, FreshDirectoryStaysIfItIsToBeKept) {
  const Installation installation({}, true);
  EXPECT_TRUE(installation.isKept());
  const fs::path directory = Installation({}, true).directory();
  EXPECT_TRUE(fs::exists(directory / "conf/serverid.cfg"));
}

TEST_F(InstallationTest, GivenDirectoryIsCreatedWithItsParentsAndStays) {
  const fs::path deep = m_directory.path() / "a/b/c";
  EXPECT_TRUE(Installation(deep, false).isKept());
  EXPECT_TRUE(fs::exists(deep / "var/taskqueue"));
}

TEST_F(InstallationTest, GivenRelativeDirectoryBecomesAbsolute) {
  const fs::path before = fs::current_path();
  fs::current_path(m_directory.path());
  const Installation installation("x/../rel/", false);
  fs::current_path(before);
  EXPECT_EQ(fs::canonical(m_directory.path()) / "rel", installation.directory());
}

TEST_F(InstallationTest, ExistingFilesAreKeptAndMissingOnesAreCreated) {
  { const Installation installation(home(), false); }
  writeFile(home() / "conf/serverid.cfg", "SELF_SERVER_ID = mine\n");
  writeFile(home() / "data/velmo/jobid", "41");
  chmod((home() / "conf").c_str(), 0755);
  fs::remove(home() / "home/priorities.cfg");
  fs::remove(home() / "lock");

  const Installation again(home(), false);

  EXPECT_EQ("SELF_SERVER_ID = mine\n", readFile(home() / "conf/serverid.cfg"));
  EXPECT_EQ("41", readFile(home() / "data/velmo/jobid"));
  EXPECT_EQ(0755, modes(home())["conf"]);
  EXPECT_EQ(0700, modes(home())["lock"]);
  EXPECT_THAT(readFile(home() / "home/priorities.cfg"), testing::HasSubstr("Normal = 500\n"));
}

TEST_F(InstallationTest, FileInTheWayOfADirectoryIsNamed) {
  fs::create_directory(home());
  writeFile(home() / "var", "");
  try {
    const Installation installation(home(), false);
    FAIL() << "made";
  } catch (const std::exception& failure) {
    EXPECT_EQ("cannot make the directory " + (home() / "var").string() + ": File exists",
              failure.what());
  }
}

TEST_F(InstallationTest, DirectoryInUseIsRefusedUntilTheFirstInstallationEnds) {
  auto first = std::make_unique<Installation>(home(), false);
  try {
    const Installation second(home(), false);
    FAIL() << "shared";
  } catch (const std::runtime_error& failure) {
    EXPECT_EQ(home().string() + " is in use by another velmo-standin", failure.what());
  }
  first.reset();
  EXPECT_NO_THROW(Installation(home(), false));
}

}  // namespace
}  // namespace velmo::standin
