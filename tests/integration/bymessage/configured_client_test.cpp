// VelmoFacade with a real modules.xml, a real WebSocket client and a peer.

#include <gtest/gtest.h>
#include <velmo/SystemConfig.h>
#include <velmo/VelmoFacade.h>

#include <string>
#include <utility>

#include "ClientProcess.h"
#include "ScriptedPeer.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::test::answering;
using velmo::test::ClientOutcome;
using velmo::test::naming;
using velmo::test::runAgainst;
using velmo::test::Tell;
using velmo::test::TemporaryDirectory;

std::string machineAt(int port) {
  return "<machine hostname='127.0.0.1'><host websocket-port='" + std::to_string(port) +
         "'><module name='velmo'/></host></machine>";
}

std::string submit(VelmoFacade& facade) {
  return facade.addTask("Normal", "true", TASK_SHELL_SCRIPT, "", "J1", "0", "", 0);
}

class ConfiguredClientTest : public testing::Test {
 protected:
  ConfiguredClientTest() {
    SystemConfig::s_szModulesXml = modulesXml.c_str();
  }

  ~ConfiguredClientTest() override {
    SystemConfig::s_szModulesXml = nullptr;
  }

  // Runs a facade whose modules.xml names a machine where nobody listens, and then the peer at its
  // port plus this offset.
  ClientOutcome outcomeOf(int portOffset) {
    return runAgainst(
        {answering({naming("T1")})}, [this, portOffset](unsigned short port, const Tell& tell) {
          directory.writeFile("modules.xml", "<system>" + machineAt(1) +
                                                 machineAt(port + portOffset) + "</system>");
          {
            VelmoFacade facade;
            tell(submit(facade));
          }
          tell("destroyed");
        });
  }

  TemporaryDirectory directory;
  const std::string modulesXml = directory.path("modules.xml");
};

TEST_F(ConfiguredClientTest, TaskGoesToTheLastMachineThatRunsTheService) {
  const ClientOutcome outcome = outcomeOf(0);
  EXPECT_EQ("T1; destroyed; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors << outcome.peer;
}

TEST_F(ConfiguredClientTest, PortIsCutToItsLower16Bits) {
  const ClientOutcome outcome = outcomeOf(65536);
  EXPECT_EQ("T1; destroyed; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors << outcome.peer;
}

TEST_F(ConfiguredClientTest, MovedFacadeTakesItsConnectionAlong) {
  const ClientOutcome outcome =
      runAgainst({answering({naming("T1")})}, [this](unsigned short port, const Tell& tell) {
        directory.writeFile("modules.xml", "<system>" + machineAt(port) + "</system>");
        VelmoFacade first;
        VelmoFacade second(std::move(first));
        tell(submit(second));
      });
  EXPECT_EQ("T1; ", outcome.report);
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors << outcome.peer;
}

TEST_F(ConfiguredClientTest, RefusedConnectionIsTheClientsException) {
  directory.writeFile("modules.xml", "<system>" + machineAt(1) + "</system>");
  EXPECT_THROW(VelmoFacade(), VelmoException);
}

}  // namespace
