// velmo priorities.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "TaskInstallation.h"
#include "TerminalProcess.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

class PrioritiesCommandTest : public testing::Test {
 protected:
  std::string file(const std::string& place) const {
    return m_installation.directory.path().string() + "/" + place + "/priorities.cfg";
  }

  TaskInstallation m_installation;
};

TEST_F(PrioritiesCommandTest, ListsEachNameWithItsFileAndTheFileThatItHides) {
  m_installation.writeHomePriorities("Normal=500\nUrgent=50\n");
  m_installation.writeConfPriorities("Normal=400\nOdd=x\n");
  const ToolResult result = runTool({"priorities", "--json"});
  EXPECT_EQ(R"({"name":"Normal","number":400,"file":")" + file("conf") + R"(","hides":")" +
                file("home") + "\"}\n" + R"({"name":"Odd","number":null,"file":")" + file("conf") +
                "\",\"hides\":null}\n" + R"({"name":"Urgent","number":50,"file":")" + file("home") +
                "\",\"hides\":null}\n",
            result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.status);
}

TEST_F(PrioritiesCommandTest, TableIsAligned) {
  m_installation.writeHomePriorities("Later=20\nNormal=500\n");
  EXPECT_EQ("NAME    NUMBER  FILE" + std::string(file("home").size() - 4, ' ') + "  HIDES\n" +
                "Later       20  " + file("home") + "\n" + "Normal     500  " + file("home") + "\n",
            runTool({"priorities"}).output);
}

TEST_F(PrioritiesCommandTest, TerminalShowsTheEndsOfLongPaths) {
  m_installation.writeHomePriorities("Normal=500\n");
  m_installation.writeConfPriorities("Normal=400\n");
  TerminalProcess process({"priorities"}, 62, 24, {"NO_COLOR=1"});
  EXPECT_EQ(0, process.wait());
  EXPECT_THAT(process.output(),
              testing::EndsWith("400  ...conf/priorities.cfg  ...home/priorities.cfg\r\n"));
}

TEST_F(PrioritiesCommandTest, WithoutVariablesTheStatusIsNotConfigured) {
  m_installation.environment.unset("VELMO_HOME");
  m_installation.environment.unset("CONF");
  const ToolResult result = runTool({"priorities"});
  EXPECT_EQ(2, result.status);
  EXPECT_EQ("", result.output);
  EXPECT_THAT(result.errors, testing::StartsWith("velmo: "));
}

}  // namespace
}  // namespace velmo::test
