#include "ServerIdentity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "ShownResult.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::client::ServerIdentity;
using velmo::client::Settings;
using velmo::test::lineOf;
using velmo::test::TemporaryDirectory;
using velmo::test::UnprivilegedFiles;

class ServerIdentityTest : public testing::Test {
 protected:
  ServerIdentityTest() {
    settings.conf.value = directory.path();
  }

  void write(const std::string& contents) const {
    directory.writeFile("serverid.cfg", contents);
  }

  std::string job17() const {
    const auto job = ServerIdentity(settings).jobIdOf(17);
    return job.isOk() ? job.value() : lineOf(job);
  }

  const TemporaryDirectory directory;
  const std::string file = directory.path("serverid.cfg");
  Settings settings;
};

TEST_F(ServerIdentityTest, BeginsTheIdentifier) {
  write("OTHER=x\nSELF_SERVER_ID=node2\n");
  EXPECT_EQ("node2-J17", job17());
}

TEST_F(ServerIdentityTest, LastLineCounts) {
  write("SELF_SERVER_ID=node2\nSELF_SERVER_ID=\"node3\"\n");
  EXPECT_EQ("node3-J17", job17());
}

TEST_F(ServerIdentityTest, WithoutVariableFileOrKeyThereIsNoPrefix) {
  EXPECT_EQ("J17", job17());
  write("OTHER=x\n");
  EXPECT_EQ("J17", job17());
  settings.conf.value.clear();
  EXPECT_EQ("J17", job17());
}

TEST_F(ServerIdentityTest, EmptyIdentityStillHasItsHyphen) {
  write("SELF_SERVER_ID=\n");
  EXPECT_EQ("-J17", job17());
}

TEST_F(ServerIdentityTest, FileThatCannotBeReadIsReported) {
  write("SELF_SERVER_ID=node2\n");
  chmod(file.c_str(), 0);
  const UnprivilegedFiles unprivileged;
  EXPECT_EQ("cannot read the server's identity from \"" + file + "\": Permission denied", job17());
}

TEST_F(ServerIdentityTest, RelativeVariableIsReported) {
  settings.conf.value = "conf";
  EXPECT_EQ("CONF is not an absolute path: \"conf\"", job17());
}

TEST_F(ServerIdentityTest, IdentityThatCannotBePartOfANameIsReported) {
  write("SELF_SERVER_ID=a/b\n");
  EXPECT_EQ("SELF_SERVER_ID in \"" + file + "\" cannot be part of a job: \"a/b\"", job17());
  write("SELF_SERVER_ID=a\tb\n");
  EXPECT_EQ("SELF_SERVER_ID in \"" + file + "\" cannot be part of a job: \"a\\x09b\"", job17());
}

TEST_F(ServerIdentityTest, LongestIdentifierHas255Bytes) {
  const std::string longest(251, 'n');
  write("SELF_SERVER_ID=" + longest + "\n");
  EXPECT_EQ(longest + "-J17", job17());
  write("SELF_SERVER_ID=n" + longest + "\n");
  EXPECT_EQ(velmo::client::Problem::ServerIdentityUnusable,
            ServerIdentity(settings).jobIdOf(17).fault().problem);
}

TEST_F(ServerIdentityTest, LongestJobHasTheLastNumber) {
  EXPECT_EQ("J999999", ServerIdentity(settings).longestJobId().value());
}

}  // namespace
