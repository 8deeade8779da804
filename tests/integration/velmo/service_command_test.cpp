// velmo service.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Environment.h"
#include "TemporaryDirectory.h"
#include "ToolProcess.h"

namespace velmo::test {
namespace {

constexpr const char* kTwoMachines =
    "<system><machine hostname='m1'>"
    "<host name='a' websocket-port='8080'><module name='velmo'/><module name='fennick'/></host>"
    "<host name='b'/></machine><machine hostname='m2'>"
    "<host name='c' websocket-port='9'><module name='velmo'/></host></machine></system>";

class ServiceCommandTest : public testing::Test {
 protected:
  std::string write(const std::string& contents) const {
    return m_directory.writeFile("modules.xml", contents);
  }

  TemporaryDirectory m_directory;
};

TEST_F(ServiceCommandTest, HostThatTasksAreSentToIsMarked) {
  const std::string file = write(kTwoMachines);
  const ToolResult result = runTool({"service", "--modules", file});
  EXPECT_EQ("File: " + file +
                "\n"
                "MACHINE  HOST  PORT  USED  MODULES\n"
                "m1       a     8080        velmo fennick\n"
                "m1       b\n"
                "m2       c        9  yes   velmo\n",
            result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.status);
}

TEST_F(ServiceCommandTest, EachHostIsAnObject) {
  EXPECT_EQ(R"({"machine":"m1","host":"a","websocket_port":8080,"modules":["velmo","fennick"],)"
            "\"is_chosen\":false}\n"
            R"({"machine":"m1","host":"b","websocket_port":null,"modules":[],"is_chosen":false})"
            "\n"
            R"({"machine":"m2","host":"c","websocket_port":9,"modules":["velmo"],)"
            "\"is_chosen\":true}\n",
            runTool({"service", "--json", "--modules", write(kTwoMachines)}).output);
}

TEST_F(ServiceCommandTest, MachineWithoutHostsIsListed) {
  const std::string file = write("<system><machine hostname='m'/></system>");
  EXPECT_EQ(R"({"machine":"m","host":null,"websocket_port":null,"modules":[],"is_chosen":false})"
            "\n",
            runTool({"service", "--json", "--modules", file}).output);
}

TEST_F(ServiceCommandTest, VariableNamesTheFile) {
  Environment environment;
  environment.set("VELMO_MODULES_XML", write(kTwoMachines));
  EXPECT_THAT(runTool({"service"}).output, testing::HasSubstr("m2       c        9  yes"));
}

TEST_F(ServiceCommandTest, HostsAreListedThoughNoneCanBeUsed) {
  const std::string file = write(
      "<system><machine hostname='m'><host websocket-port='70000'><module name='velmo'/>"
      "</host></machine></system>");
  const ToolResult result = runTool({"service", "--json", "--modules", file});
  EXPECT_EQ(R"({"machine":"m","host":"","websocket_port":70000,"modules":["velmo"],)"
            "\"is_chosen\":false}\n",
            result.output);
  EXPECT_EQ("velmo: the websocket-port in \"" + file + "\" is not in 1 to 65535: 70000\n",
            result.errors);
  EXPECT_EQ(2, result.status);
}

TEST_F(ServiceCommandTest, FileThatCannotBeReadIsReported) {
  const ToolResult missing = runTool({"service", "--modules", m_directory.path("none")});
  EXPECT_EQ(2, missing.status);
  EXPECT_EQ("", missing.output);
  EXPECT_EQ("velmo: cannot read \"" + m_directory.path("none") + "\": No such file or directory\n",
            missing.errors);
  EXPECT_EQ(2, runTool({"service", "--modules", write("<system>")}).status);
}

TEST_F(ServiceCommandTest, ControlCharactersAreNotPrinted) {
  const std::string file = write("<system><machine hostname='a&#10;b'/></system>");
  EXPECT_THAT(runTool({"service", "--modules", file}).output, testing::HasSubstr("\na?b\n"));
}

}  // namespace
}  // namespace velmo::test
