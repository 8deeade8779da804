#include "DryRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LibraryFault.h"
#include "TaskInstallation.h"

namespace velmo::cli {
namespace {

const std::string kTime(14, '?');

class DryRunTest : public testing::Test {
 protected:
  DryRunTest() {
    m_installation.writeConfPriorities("Normal=500\nLater=20\n");
    m_installation.writeJobCounter("7");
  }

  std::string queue() const {
    return m_installation.directory.path("var/taskqueue/");
  }

  test::TaskInstallation m_installation;
};

TEST_F(DryRunTest, PathHasTheKnownPartsOfTheName) {
  const DryRun run = dryRunByFile({"Normal", "ls", "", "Later", "J5", "3_x", "", -4});
  EXPECT_EQ(queue() + "0520.??????????????.J5.S3_x.T" + kTime + "-?.R-004.sh",
            run.fields["path"].get<std::string>());
  EXPECT_EQ(520, run.fields["priority"].get<int>());
}

TEST_F(DryRunTest, NewJobHasTheIdentityOfTheServer) {
  m_installation.writeServerIdentity("SELF_SERVER_ID=node2\n");
  const DryRun run = dryRunByFile({"Normal", "ls"});
  EXPECT_EQ(queue() + "0500.??????????????.node2-J?.S0.T" + kTime + "-?.R0000.sh",
            run.fields["path"].get<std::string>());
  EXPECT_TRUE(run.fields["job"].is_null());
}

TEST_F(DryRunTest, UnknownClassHasNoPriorityAndIsAFinding) {
  const DryRun run = dryRunByFile({"Nope", "ls"});
  EXPECT_EQ(queue() + "????.??????????????.J?.S0.T" + kTime + "-?.R0000.sh",
            run.fields["path"].get<std::string>());
  EXPECT_TRUE(run.fields["priority"].is_null());
  EXPECT_EQ(Status::notConfigured, run.status());
  EXPECT_THAT(run.findings.front().what(), testing::StartsWith("no priority class \"Nope\""));
}

TEST_F(DryRunTest, NothingIsWrittenAndNoNumberIsTaken) {
  const DryRun run = dryRunByFile({"Normal", "ls"});
  EXPECT_EQ(Status::ok, run.status()) << textOf(run);
  EXPECT_TRUE(m_installation.queue().empty());
  EXPECT_TRUE(m_installation.temporary().empty());
  EXPECT_EQ("7", m_installation.jobCounter());
  EXPECT_EQ(0, m_installation.counter.value());
}

TEST_F(DryRunTest, ContentsAreTheBytesOfTheFile) {
  EXPECT_EQ("a %d%%\ninfo\n", dryRunByFile({"Normal", "a %d%%", "", "", "", "", "info"}).contents);
}

TEST_F(DryRunTest, TextHasFieldsContentsAndFindings) {
  DryRun run;
  run.fields = {{"path", "/a\x1b"}, {"priority", nullptr}, {"job", nullptr}, {"sub_job", "0"}};
  run.contents = "ls\ninfo\n";
  run.findings.push_back(errorOf(client::Fault{client::Problem::ArgumentMissing, "command"}));
  EXPECT_EQ(
      "path               /a\\x1B\n"
      "priority           ?\n"
      "job                new\n"
      "sub job            0\n"
      "contents           ls\\n\n"
      "                   info\\n\n"
      "finding: command is missing\n",
      textOf(run));
}

TEST_F(DryRunTest, JsonHasFieldsContentsAndFindings) {
  const DryRun run = dryRunByFile({"Normal", "a\tb", "", "", "J1"});
  EXPECT_EQ(R"({"path":")" + queue() + "0500." + kTime + ".J1.S0.T" + kTime +
                R"(-?.R0000.sh","priority":500,)"
                R"("job":"J1","sub_job":"0","relative_priority":0,"type":"sh",)"
                R"("contents":"a\tb\n","findings":[]})"
                "\n",
            jsonLine(jsonOf(run)));
}

TEST_F(DryRunTest, RequestHasItsEndpointAndFields) {
  const DryRun run = dryRunByMessage({"Normal", "ls", "java"}, {"host", 80});
  EXPECT_EQ(R"({"host":"host","port":80,"path":"/velmo","priority_class":"Normal",)"
            R"("adjustment":null,"job":null,"sub_job":"0","relative_priority":0,"type":"java",)"
            R"("information":null,"command":"ls","findings":[]})"
            "\n",
            jsonLine(jsonOf(run)));
}

TEST_F(DryRunTest, RequestThatCannotBeSentIsAFinding) {
  const DryRun run = dryRunByMessage({"Normal", "ls", "perl"}, {"host", 80});
  EXPECT_EQ(Status::invalidArgument, run.status());
  EXPECT_EQ(
      R"({"status":"invalid_argument","message":"by message, type is \"sh\" or \"java\", not \"perl\""})",
      jsonOf(run)["findings"][0].dump());
}

TEST_F(DryRunTest, MissingModulesFileIsTheFirstFinding) {
  Endpoint endpoint;
  endpoint.modulesXml = m_installation.directory.path("none.xml");
  const DryRun run = dryRunByMessage({"Normal", "ls", "perl"}, endpoint);
  EXPECT_EQ(Status::notConfigured, run.status());
  ASSERT_EQ(2U, run.findings.size());
  EXPECT_EQ("cannot read \"" + endpoint.modulesXml + "\": No such file or directory",
            std::string(run.findings.front().what()));
  EXPECT_EQ(0U, jsonLine(jsonOf(run)).find(R"({"host":null,"port":null,"path":"/velmo",)"));
}

TEST_F(DryRunTest, PlaceThatIsNotKnownIsAQuestionMark) {
  DryRun run;
  run.fields = {{"host", nullptr}, {"port", nullptr}, {"adjustment", nullptr}};
  EXPECT_EQ(
      "host               ?\n"
      "port               ?\n"
      "adjustment         none\n",
      textOf(run));
}

TEST_F(DryRunTest, VisibleTextCannotHarmATerminal) {
  EXPECT_EQ("a\\x1B\\x00\\xC3\\xA4\\\\\\n\n~", visible({"a\x1b\0\xc3\xa4\\\n~", 8}));
}

}  // namespace
}  // namespace velmo::cli
