#include "DirectoryCheck.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "Findings.h"
#include "OrdinaryMachine.h"
#include "PlatformCalls.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::checkDirectories;
using velmo::client::Settings;
using velmo::test::Findings;
using velmo::test::OrdinaryMachine;
using velmo::test::platform;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

using Lines = std::vector<std::string>;

class DirectoryCheckTest : public testing::Test {
 protected:
  DirectoryCheckTest() {
    chmod(directory.path().c_str(), 0755);  // for UnprivilegedFiles
    make(settings.var, "var");
    directory.makeDirectory("var/taskqueue");
    make(settings.tmp, "tmp");
    make(settings.data, "data");
    directory.makeDirectory("data/velmo");
    make(settings.lockVar, "lock");
    make(settings.velmoHome, "home");
    make(settings.conf, "conf");
  }

  void make(velmo::client::Setting& setting, const char* name) const {
    setting.value = directory.makeDirectory(name);
  }

  void setMode(const std::string& name, mode_t mode) const {
    ASSERT_EQ(0, chmod(directory.path(name).c_str(), mode));
  }

  Lines found() const {
    Findings findings;
    checkDirectories(settings, findings.report());
    return findings.lines();
  }

  const OrdinaryMachine machine;
  const TemporaryDirectory directory;
  Settings settings;
};

TEST_F(DirectoryCheckTest, NothingIsFoundWhenAllIsWell) {
  EXPECT_EQ(Lines(), found());
}

TEST_F(DirectoryCheckTest, VariablesThatAreNotSetAreFound) {
  const char* const remedy =
      " is not set; set it in the environment of the program, or in its settings";
  settings = Settings();
  EXPECT_EQ((Lines{std::string("VAR") + remedy, std::string("TMP") + remedy,
                   std::string("DATA") + remedy, std::string("LOCK_VAR") + remedy}),
            found());
}

TEST_F(DirectoryCheckTest, RelativePathsAreFound) {
  settings.conf.value = "conf";
  EXPECT_EQ(Lines{"CONF is not an absolute path: \"conf\"; begin it with \"/\""}, found());
}

TEST_F(DirectoryCheckTest, DirectoriesThatAreMissingAreFound) {
  for (const char* name : {"var/taskqueue", "tmp", "data/velmo", "lock", "home", "conf"}) {
    std::filesystem::remove_all(directory.path(name));
  }
  const auto missing = [this](const std::string& variable, const std::string& name) {
    return "the directory of " + variable + " is missing: \"" + directory.path(name) +
           "\": No such file or directory; create it, or correct the variable";
  };
  EXPECT_EQ(
      (Lines{missing("VAR", "var/taskqueue"), missing("TMP", "tmp"), missing("DATA", "data/velmo"),
             missing("LOCK_VAR", "lock"), missing("VELMO_HOME", "home"), missing("CONF", "conf")}),
      found());
}

TEST_F(DirectoryCheckTest, FileInThePlaceOfADirectoryIsFound) {
  std::filesystem::remove(directory.path("lock"));
  directory.writeFile("lock", "");
  EXPECT_EQ(Lines{"the directory of LOCK_VAR is not a directory: \"" + directory.path("lock") +
                  "\"; correct the variable"},
            found());
}

TEST_F(DirectoryCheckTest, DirectoriesThatCannotBeWrittenToAreFound) {
  for (const char* name : {"var/taskqueue", "tmp", "data/velmo", "lock", "home", "conf"}) {
    setMode(name, 0500);
  }
  const auto refused = [this](const std::string& variable, const std::string& name) {
    return "cannot write to the directory of " + variable + ", \"" + directory.path(name) +
           "\": Permission denied; permit the user of the program to write to it";
  };
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ((Lines{refused("VAR", "var/taskqueue"), refused("TMP", "tmp"),
                   refused("DATA", "data/velmo"), refused("LOCK_VAR", "lock")}),
            found());
}

TEST_F(DirectoryCheckTest, DirectoriesThatEveryUserCanWriteToAreFound) {
  setMode("tmp", 01777);
  setMode("var/taskqueue", 0773);
  setMode("home", 0757);
  const auto open = [this](const std::string& variable, const std::string& name) {
    return "every user can write to the directory of " + variable + ": \"" + directory.path(name) +
           "\"; take this permission from others";
  };
  EXPECT_EQ((Lines{open("VAR", "var/taskqueue"), open("TMP", "tmp"), open("VELMO_HOME", "home")}),
            found());
}

TEST_F(DirectoryCheckTest, TmpThatIsTheQueueIsFound) {
  settings.tmp.value = settings.var.value + "/../var/taskqueue";
  EXPECT_EQ(Lines{"TMP is the queue itself: \"" + settings.tmp.value +
                  "\"; set TMP to another directory on the same mount"},
            found());
}

TEST_F(DirectoryCheckTest, TmpOnAnotherMountIsFound) {
  platform().statx.setFake(
      [this](int where, const char* path, int flags, unsigned mask, struct statx* status) {
        const int result = platform().statx.real(where, path, flags, mask, status);
        status->stx_mask |= STATX_MNT_ID;
        status->stx_mnt_id = path == settings.tmp.value ? 1 : 2;
        return result;
      });
  EXPECT_EQ(Lines{"TMP and the queue are on different mounts: \"" + settings.tmp.value +
                  "\" and \"" + directory.path("var/taskqueue") +
                  "\"; set TMP to a directory on the mount of the queue"},
            found());
}

TEST_F(DirectoryCheckTest, DirectoriesOnOneMountAreKnown) {
  EXPECT_TRUE(velmo::client::areOnOneMount(settings.tmp.value, settings.var.value));
  EXPECT_FALSE(velmo::client::areOnOneMount(settings.tmp.value, "/proc"));
  EXPECT_FALSE(velmo::client::areOnOneMount(settings.tmp.value, directory.path("missing")));
  EXPECT_FALSE(velmo::client::areOnOneMount("/no/such", "/no/such"));
}

TEST_F(DirectoryCheckTest, DeviceDecidesWhereTheMountIsNotKnown) {
  platform().statx.setFake([](int, const char*, int, unsigned, struct statx*) {
    errno = ENOSYS;
    return -1;
  });
  EXPECT_EQ(Lines(), found());
  platform().stat.setFake([this](const char* path, struct stat* status) {
    const int result = platform().stat.real(path, status);
    status->st_dev += path == settings.tmp.value ? 1U : 0U;
    return result;
  });
  EXPECT_EQ(1U, found().size());
}

TEST_F(DirectoryCheckTest, NothingIsChanged) {
  const auto before = velmo::test::namesIn(directory.path());
  found();
  EXPECT_EQ(before, velmo::test::namesIn(directory.path()));
  EXPECT_TRUE(velmo::test::namesIn(settings.tmp.value).empty());
}

}  // namespace
