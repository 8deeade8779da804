// velmo job.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "TaskInstallation.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

class JobCommandTest : public testing::Test {
 protected:
  TaskInstallation m_installation;
  std::string m_jobs = m_installation.directory.makeDirectory("jobs");
};

TEST_F(JobCommandTest, IdentifierAndInformationAreTwoLines) {
  const ToolResult result = runTool({"job", "--dir", m_jobs, "--user", "u", "--name", "n", "key"});
  EXPECT_EQ("J0\n#1USE=u#1JNA=n\n", result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.status);
}

TEST_F(JobCommandTest, SecondLineIsEmptyWithoutInformation) {
  EXPECT_EQ("J0\n\n", runTool({"job", "--dir", m_jobs, "key"}).output);
}

TEST_F(JobCommandTest, ObjectTellsWhetherTheJobIsNew) {
  const std::string start =
      R"({"id":"J0","user":"u","name":"","priority":7,"information":"#1USE=u","is_new":)";
  EXPECT_EQ(start + "true}\n", runTool({"job", "--json", "--dir", m_jobs, "--user", "u",
                                        "--priority", "7", "--durable", "key"})
                                   .output);
  EXPECT_EQ(start + "false}\n",
            runTool({"job", "--json", "--dir", m_jobs, "--user", "other", "key"}).output);
}

TEST_F(JobCommandTest, DefaultDirectoryIsTheOneInDataIfItExists) {
  EXPECT_EQ(1, runTool({"job", "key"}).status);
  m_installation.directory.makeDirectory("data/velmo/jobs");
  EXPECT_EQ("J0\n\n", runTool({"job", "key"}).output);
  EXPECT_TRUE(exists(m_installation.directory.path("data/velmo/jobs/key")));
}

TEST_F(JobCommandTest, WithoutDataTheDefaultDirectoryIsNotConfigured) {
  m_installation.environment.unset("DATA");
  const ToolResult result = runTool({"job", "key"});
  EXPECT_EQ(2, result.status);
  EXPECT_THAT(result.errors, testing::StartsWith("velmo: DATA is not set"));
}

TEST_F(JobCommandTest, KeyMayBeTheNameOfACommand) {
  EXPECT_EQ("J0\n\n", runTool({"job", "--dir", m_jobs, "queue"}).output);
}

TEST_F(JobCommandTest, KeyThatIsNotTheNameOfAFileIsRefused) {
  for (const char* key : {"a/b", "..", ""}) {
    const ToolResult result = runTool({"job", "--dir", m_jobs, key});
    EXPECT_EQ(1, result.status) << key;
    EXPECT_EQ("", result.output);
  }
}

TEST_F(JobCommandTest, WaitEndsWithTheTimeout) {
  m_installation.directory.writeFile("lock/semaphore_velmo_jobid", "");
  const ToolResult result = runTool({"job", "--dir", m_jobs, "--timeout", "0.05", "key"});
  EXPECT_EQ(4, result.status);
  EXPECT_EQ("", result.output);
}

TEST_F(JobCommandTest, TimeoutThatIsNotANumberFromZeroOnIsWrongUsage) {
  for (const char* timeout : {"-1", "x", "nan", "inf"}) {
    EXPECT_EQ(1, runTool({"job", "--dir", m_jobs, "--timeout", timeout, "key"}).status) << timeout;
  }
}

}  // namespace
}  // namespace velmo::test
