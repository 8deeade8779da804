#include "LogoutRemoval.h"

#include <gtest/gtest.h>

#include <string>

#include "TemporaryDirectory.h"

namespace {

using velmo::client::isRemovedAtLogout;
using velmo::test::TemporaryDirectory;

class LogoutRemovalTest : public testing::Test {
 protected:
  LogoutRemovalTest() {
    directory.makeDirectory("run/systemd/system");
    for (const char* place : {"etc", "run", "usr/lib", "usr/local/lib"}) {
      directory.makeDirectory(std::string(place) + "/systemd/logind.conf.d");
    }
  }

  bool isRemoved(uid_t user = 1000) const {
    return isRemovedAtLogout(user, directory.path().string());
  }

  bool isRemovedWith(const std::string& contents) const {
    directory.writeFile("etc/systemd/logind.conf", contents);
    return isRemoved();
  }

  const TemporaryDirectory directory;
};

TEST_F(LogoutRemovalTest, IsTheDefaultForOrdinaryUsers) {
  EXPECT_TRUE(isRemoved(1000));
  EXPECT_TRUE(isRemoved(70000));
  EXPECT_FALSE(isRemoved(999));
  EXPECT_FALSE(isRemoved(0));
}

TEST_F(LogoutRemovalTest, DoesNotHappenWithoutSystemd) {
  const TemporaryDirectory empty;
  EXPECT_FALSE(isRemovedAtLogout(1000, empty.path().string()));
}

TEST_F(LogoutRemovalTest, ConfigurationSwitchesItOff) {
  for (const char* value : {"no", "No", "n", "false", "F", "off", "0", " no "}) {
    EXPECT_FALSE(isRemovedWith("[Login]\nRemoveIPC=" + std::string(value) + "\n")) << value;
  }
  for (const char* value : {"yes", "Y", "true", "t", "on", "1", "maybe", ""}) {
    EXPECT_TRUE(isRemovedWith("[Login]\nRemoveIPC=" + std::string(value) + "\n")) << value;
  }
}

TEST_F(LogoutRemovalTest, CommentsDoNotCount) {
  EXPECT_TRUE(isRemovedWith("[Login]\n#RemoveIPC=no\n;RemoveIPC=no\n"));
}

TEST_F(LogoutRemovalTest, LastSettingCounts) {
  EXPECT_TRUE(isRemovedWith("RemoveIPC=no\nRemoveIPC=yes\n"));
  EXPECT_FALSE(isRemovedWith("RemoveIPC=yes\nRemoveIPC=no\nRemoveIPC=nonsense\n"));
}

TEST_F(LogoutRemovalTest, FilesBesideTheConfigurationCountInTheOrderOfTheirNames) {
  directory.writeFile("etc/systemd/logind.conf.d/50-b.conf", "RemoveIPC=no\n");
  EXPECT_FALSE(isRemovedWith("RemoveIPC=yes\n"));
  directory.writeFile("usr/lib/systemd/logind.conf.d/60-c.conf", "RemoveIPC=yes\n");
  EXPECT_TRUE(isRemoved());
  directory.writeFile("run/systemd/logind.conf.d/70-d.conf", "RemoveIPC=no\n");
  EXPECT_FALSE(isRemoved());
  directory.writeFile("usr/local/lib/systemd/logind.conf.d/80-e.txt", "RemoveIPC=yes\n");
  EXPECT_FALSE(isRemoved());
}

TEST_F(LogoutRemovalTest, FileInEtcReplacesItsNamesakes) {
  directory.writeFile("usr/lib/systemd/logind.conf.d/a.conf", "RemoveIPC=yes\n");
  directory.writeFile("run/systemd/logind.conf.d/a.conf", "RemoveIPC=yes\n");
  directory.writeFile("etc/systemd/logind.conf.d/a.conf", "RemoveIPC=no\n");
  EXPECT_FALSE(isRemoved());
}

}  // namespace
