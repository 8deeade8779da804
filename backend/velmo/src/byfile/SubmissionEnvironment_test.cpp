#include "SubmissionEnvironment.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>

#include <stdexcept>
#include <string>

#include "Environment.h"

namespace {

using brix::velmo::directoryFromEnvironment;
using brix::velmo::EnvironmentKey;
using brix::velmo::keyFromEnvironment;
using brix::velmo::priorityFileFromEnvironment;
using brix::velmo::Step;

class SubmissionEnvironmentTest : public testing::Test {
 protected:
  velmo::test::Environment environment;
};

TEST_F(SubmissionEnvironmentTest, DirectoryIsTheTextOfTheVariable) {
  environment.set("VAR", "/a b/");
  EXPECT_STREQ("/a b/", directoryFromEnvironment("VAR"));
  environment.set("VAR", "");
  EXPECT_STREQ("", directoryFromEnvironment("VAR"));
}

TEST_F(SubmissionEnvironmentTest, DirectoryOfAnUnsetVariableIsTheTextOfANullOne) {
  environment.unset("VAR");
  EXPECT_STREQ("(null)", directoryFromEnvironment("VAR"));
}

TEST_F(SubmissionEnvironmentTest, VariableIsReadAtEachCall) {
  environment.set("VAR", "/one");
  EXPECT_STREQ("/one", directoryFromEnvironment("VAR"));
  environment.set("VAR", "/two");
  EXPECT_STREQ("/two", directoryFromEnvironment("VAR"));
}

TEST_F(SubmissionEnvironmentTest, PriorityFileIsInTheDirectory) {
  environment.set("CONF", "/conf");
  EXPECT_EQ("/conf/priorities.cfg", priorityFileFromEnvironment("CONF"));
  environment.set("CONF", "");
  EXPECT_EQ("/priorities.cfg", priorityFileFromEnvironment("CONF"));
}

TEST_F(SubmissionEnvironmentTest, PriorityFileOfAnUnsetVariableThrows) {
  environment.unset("CONF");
  try {
    priorityFileFromEnvironment("CONF");
    FAIL() << "did not throw";
  } catch (const std::logic_error& exception) {
    EXPECT_STREQ("basic_string::_M_construct null not valid", exception.what());
  }
}

TEST_F(SubmissionEnvironmentTest, KeyIsTheNumberOfTheVariable) {
  environment.set("SHARED_VELMO_TASKID", " 4711x");
  const EnvironmentKey key = keyFromEnvironment("SHARED_VELMO_TASKID");
  EXPECT_EQ(4711, key.number);
  EXPECT_FALSE(key.failure);
}

TEST_F(SubmissionEnvironmentTest, KeyThatIsNotANumberIsThePrivateOne) {
  for (const char* text : {"", "x", "0"}) {
    environment.set("SHARED_VELMO_TASKID", text);
    const EnvironmentKey key = keyFromEnvironment("SHARED_VELMO_TASKID");
    EXPECT_EQ(IPC_PRIVATE, key.number) << text;
    EXPECT_FALSE(key.failure) << text;
  }
}

TEST_F(SubmissionEnvironmentTest, KeyOfAnUnsetVariableIsAFailureThatNamesIt) {
  environment.unset("SHARED_VELMO_TASKID");
  const EnvironmentKey key = keyFromEnvironment("SHARED_VELMO_TASKID");
  ASSERT_TRUE(key.failure);
  EXPECT_EQ(Step::ReadKey, key.failure->step);
  EXPECT_EQ("SHARED_VELMO_TASKID", key.failure->subject);
  EXPECT_EQ(0, key.failure->error);
}

}  // namespace
