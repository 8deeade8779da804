// The facade alone. The test program defines its own client in place of the library's; it records
// its calls and opens no connection.

#include "VelmoFacade.h"

#include <Poco/Net/WebSocket.h>
#include <Poco/SAX/SAXException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ModulesFile.h"
#include "SystemConfig.h"
#include "VelmoFacadeWS.h"

namespace {

std::vector<std::string> g_journal;
std::vector<const VelmoFacadeWS*> g_open;
std::function<void()> g_onConnect;
std::function<std::string()> g_onTask;

}  // namespace

VelmoFacadeWS::VelmoFacadeWS(const std::string& host, unsigned short port) {
  g_journal.push_back("connect " + host + ":" + std::to_string(port));
  g_onConnect();
  g_open.push_back(this);
}

VelmoFacadeWS::~VelmoFacadeWS() {
  const auto entry = std::find(g_open.begin(), g_open.end(), this);
  g_journal.emplace_back(entry != g_open.end() ? "close" : "close of none");
  if (entry != g_open.end()) {
    g_open.erase(entry);
  }
}

std::string VelmoFacadeWS::addTask(const std::string& priorityType, const std::string& command,
                                   TaskType taskType, const std::string& deltaType,
                                   const std::string& jobId, const std::string& subJobId,
                                   const std::string& jobInfo, int relPriority) {
  g_journal.push_back(priorityType + "|" + command + "|" + std::to_string(taskType) + "|" +
                      deltaType + "|" + jobId + "|" + subJobId + "|" + jobInfo + "|" +
                      std::to_string(relPriority));
  return g_onTask();
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string velmoMachine(const std::string& hostname, const std::string& port) {
  return "<machine id='id' hostname='" + hostname + "' rmi-port='1099'><host name='name' " +
         "websocket-port='" + port + "'><module name='velmo'/></host></machine>";
}

std::string addTask(VelmoFacade& facade) {
  return facade.addTask("p", "c", TASK_SHELL_SCRIPT, "d", "j", "s", "i", 3);
}

const std::string kTask = "p|c|1|d|j|s|i|3";

class VelmoFacadeTest : public velmo::test::ModulesFileTest {
 protected:
  VelmoFacadeTest() {
    g_journal.clear();
    g_open.clear();
    g_onConnect = [] {};
    g_onTask = [] { return "T1"; };
  }

  // Writes these contents to the modules file of the installation.
  void install(const std::string& contents) {
    installPath(directory.writeFile("modules.xml", contents));
  }

  void installPath(const std::string& path) {
    m_path = path;
    SystemConfig::s_szModulesXml = m_path.c_str();
  }

  void installMachines(const std::string& machines) {
    install("<system>" + machines + "</system>");
  }

  // The constructor fails because no endpoint is configured, and connects to nothing.
  static void expectNotConfigured(const std::string& reason) {
    try {
      const VelmoFacade facade;
      ADD_FAILURE() << reason;
    } catch (const VelmoException& exception) {
      EXPECT_STREQ("Velmo not configured in modules.xml", exception.what()) << reason;
    }
    EXPECT_THAT(g_journal, IsEmpty()) << reason;
  }

 private:
  std::string m_path;
};

// --- construction ---

TEST_F(VelmoFacadeTest, ConnectsToTheMachinesHostNameAndTheHostsPort) {
  installMachines(
      "<machine id='1' hostname='two.example.com' rmi-port='3'>"
      "<host name='4' websocket-port='5'><module name='velmo'/></host></machine>");
  const VelmoFacade facade;
  EXPECT_THAT(g_journal, ElementsAre("connect two.example.com:5"));
}

TEST_F(VelmoFacadeTest, ConnectsToTheLastOfSeveral) {
  installMachines(velmoMachine("A", "1") + velmoMachine("B", "2"));
  const VelmoFacade facade;
  EXPECT_THAT(g_journal, ElementsAre("connect B:2"));
}

TEST_F(VelmoFacadeTest, PortsBeyondSixteenBitsAreCut) {
  const std::vector<std::pair<std::string, std::string>> rows{
      {"70000", "4464"}, {"-2", "65534"}, {"65536", "0"}, {"0", "0"}, {"8,080", "8080"}};
  for (const auto& [number, port] : rows) {
    g_journal.clear();
    installMachines(velmoMachine("h", number));
    const VelmoFacade facade;
    EXPECT_THAT(g_journal, ElementsAre("connect h:" + port));
  }
}

TEST_F(VelmoFacadeTest, WithoutAnEndpointThrowsAndConnectsToNothing) {
  const std::string good = velmoMachine("h", "80");
  const std::vector<std::pair<std::string, std::string>> rows{
      {"<system/>", "no machines"},
      {"<system><machine hostname='h'><host websocket-port='80'/></machine></system>", "no module"},
      {"<system><machine hostname='h'><host websocket-port='80'><module name='Velmo'/></host>"
       "</machine></system>",
       "another module"},
      {"<system><machine hostname='h'><host><module name='velmo'/></host></machine></system>",
       "no port"},
      {"<system>" + velmoMachine("h", "") + "</system>", "an empty port"},
      {"<system>" + velmoMachine("h", "abc") + "</system>", "a port that is no number"},
      {"<system>" + velmoMachine("h", "-1") + "</system>", "the port -1"},
      {"<system><machine id='h' rmi-port='80'><host name='h' websocket-port='80'>"
       "<module name='velmo'/></host></machine></system>",
       "no host name"},
      {"<system>" + velmoMachine("", "80") + "</system>", "an empty host name"},
      {"<system>" + good + velmoMachine("h", "") + "</system>", "no port in the last"},
      {"<system>" + good + velmoMachine("", "80") + "</system>", "no host name in the last"},
      {"<!-- c --><system>" + good + "</system>", "a comment in front"},
      {"<?p i?><system>" + good + "</system>", "a processing instruction in front"},
      {"<!DOCTYPE system><system>" + good + "</system>", "a document type declaration in front"},
      {"<systems>" + good + "</systems>", "another root"},
  };
  for (const auto& [contents, reason] : rows) {
    install(contents);
    expectNotConfigured(reason);
  }
}

TEST_F(VelmoFacadeTest, MissingFileThrowsWhatTheParserThrows) {
  installPath(directory.path("nowhere.xml"));
  EXPECT_THROW(const VelmoFacade facade, Poco::XML::SAXParseException);
  EXPECT_THAT(g_journal, IsEmpty());
}

TEST_F(VelmoFacadeTest, IllFormedFileThrowsWhatTheParserThrows) {
  install("<system>" + velmoMachine("h", "80"));
  EXPECT_THROW(const VelmoFacade facade, Poco::XML::SAXParseException);
  EXPECT_THAT(g_journal, IsEmpty());
}

TEST_F(VelmoFacadeTest, NullPathThrowsALogicError) {
  SystemConfig::s_szModulesXml = nullptr;
  try {
    const VelmoFacade facade;
    ADD_FAILURE() << "no exception";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
  }
  EXPECT_THAT(g_journal, IsEmpty());
}

TEST_F(VelmoFacadeTest, FileIsReadAnewForEveryFacade) {
  installMachines(velmoMachine("A", "1"));
  const VelmoFacade first;
  installMachines(velmoMachine("B", "2"));
  const VelmoFacade second;
  EXPECT_THAT(g_journal, ElementsAre("connect A:1", "connect B:2"));
}

TEST_F(VelmoFacadeTest, FileIsNotReadAfterwards) {
  installMachines(velmoMachine("A", "1"));
  VelmoFacade facade;
  install("broken");
  EXPECT_EQ("T1", addTask(facade));
  EXPECT_THAT(g_journal, ElementsAre("connect A:1", kTask));
}

TEST_F(VelmoFacadeTest, FileIsClosedBeforeTheClientConnects) {
  installMachines(velmoMachine("A", "1"));
  const std::size_t before = velmo::test::openDescriptors();
  g_onConnect = [before] { EXPECT_EQ(before, velmo::test::openDescriptors()); };
  const VelmoFacade facade;
  EXPECT_THAT(g_journal, ElementsAre("connect A:1"));
}

TEST_F(VelmoFacadeTest, FailureToConnectPasses) {
  installMachines(velmoMachine("A", "1"));
  g_onConnect = [] { throw VelmoException("Connection refused"); };
  try {
    const VelmoFacade facade;
    ADD_FAILURE() << "no exception";
  } catch (const VelmoException& exception) {
    EXPECT_STREQ("Connection refused", exception.what());
  }
  EXPECT_THAT(g_journal, ElementsAre("connect A:1"));
}

// --- tasks ---

TEST_F(VelmoFacadeTest, TaskGoesToTheClientWithTheSameArguments) {
  installMachines(velmoMachine("A", "1"));
  VelmoFacade facade;
  g_journal.clear();
  facade.addTask("one", "two", TASK_SHELL_SCRIPT, "three", "four", "five", "six", 7);
  facade.addTask("", "", TASK_JAVA_CLASS, "", "", "", "", -7);
  facade.addTask(" a ", "x\ny", static_cast<TaskType>(9), "b", "c", "d", "e", 2147483647);
  EXPECT_THAT(g_journal, ElementsAre("one|two|1|three|four|five|six|7", "||0|||||-7",
                                     " a |x\ny|9|b|c|d|e|2147483647"));
}

TEST_F(VelmoFacadeTest, NameOfTheTaskIsReturnedUnchanged) {
  installMachines(velmoMachine("A", "1"));
  VelmoFacade facade;
  for (const std::string& name : {std::string("T17"), std::string(), std::string("a\0b ", 4)}) {
    g_onTask = [name] { return name; };
    EXPECT_EQ(name, addTask(facade));
  }
}

TEST_F(VelmoFacadeTest, FailureOfATaskPassesAndTheClientIsKept) {
  installMachines(velmoMachine("A", "1"));
  VelmoFacade facade;
  g_onTask = []() -> std::string { throw VelmoException("Timeout"); };
  EXPECT_THROW(addTask(facade), VelmoException);
  g_onTask = []() -> std::string { throw 17; };
  EXPECT_THROW(addTask(facade), int);
  g_onTask = [] { return "T2"; };
  EXPECT_EQ("T2", addTask(facade));
  EXPECT_THAT(g_journal, ElementsAre("connect A:1", kTask, kTask, kTask));
}

// --- lifetime ---

TEST_F(VelmoFacadeTest, DestructionClosesTheClientOnce) {
  installMachines(velmoMachine("A", "1"));
  {
    const VelmoFacade facade;
    EXPECT_THAT(g_journal, ElementsAre("connect A:1"));
  }
  EXPECT_THAT(g_journal, ElementsAre("connect A:1", "close"));
}

TEST_F(VelmoFacadeTest, MoveHandsTheClientOver) {
  installMachines(velmoMachine("A", "1"));
  {
    VelmoFacade first;
    VelmoFacade second = std::move(first);
    addTask(second);
    VelmoFacade third(std::move(second));
    addTask(third);
  }
  EXPECT_THAT(g_journal, ElementsAre("connect A:1", kTask, kTask, "close"));
}

TEST_F(VelmoFacadeTest, MoveAssignmentClosesTheClientHeldBefore) {
  installMachines(velmoMachine("A", "1"));
  {
    VelmoFacade first;
    installMachines(velmoMachine("B", "2"));
    VelmoFacade second;
    const VelmoFacadeWS* kept = g_open[1];
    first = std::move(second);
    EXPECT_THAT(g_open, ElementsAre(kept));
    addTask(first);
  }
  EXPECT_THAT(g_journal, ElementsAre("connect A:1", "connect B:2", "close", kTask, "close"));
}

TEST_F(VelmoFacadeTest, FacadeMovedFromTakesAnotherClient) {
  installMachines(velmoMachine("A", "1"));
  VelmoFacade first;
  { const VelmoFacade gone = std::move(first); }
  first = VelmoFacade();
  addTask(first);
  EXPECT_THAT(g_journal, ElementsAre("connect A:1", "close", "connect A:1", kTask));
}

TEST_F(VelmoFacadeTest, MoveToItselfChangesNothing) {
  installMachines(velmoMachine("A", "1"));
  VelmoFacade facade;
  VelmoFacade& same = facade;
  facade = std::move(same);
  addTask(facade);
  EXPECT_THAT(g_journal, ElementsAre("connect A:1", kTask));
}

TEST(VelmoFacadeClassTest, MovesButDoesNotCopy) {
  EXPECT_FALSE(std::is_copy_constructible_v<VelmoFacade>);
  EXPECT_FALSE(std::is_copy_assignable_v<VelmoFacade>);
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<VelmoFacade>);
  EXPECT_TRUE(std::is_nothrow_move_assignable_v<VelmoFacade>);
  EXPECT_FALSE(std::is_polymorphic_v<VelmoFacade>);
  EXPECT_EQ(sizeof(void*), sizeof(VelmoFacade));
}

}  // namespace
