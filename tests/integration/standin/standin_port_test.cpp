// velmo-standin as a service: its port, its modules.xml, its environment, its end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "Connection.h"
#include "StandinPortTest.h"
#include "StandinProcess.h"
#include "WebSocketClient.h"

namespace fs = std::filesystem;

namespace velmo::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

bool refusesConnections(std::uint16_t port) {
  try {
    const WebSocketClient client(port);
    return false;
  } catch (const std::system_error& failure) {
    return failure.code().value() == ECONNREFUSED;
  }
}

// Reserves a port while the object exists: the system gives it to nobody else, but it can be
// listened on.
class ReservedPort {
 public:
  ReservedPort() : m_descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int on = 1;
    setsockopt(m_descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in address = loopback(0);
    EXPECT_EQ(0, bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }
  ReservedPort(const ReservedPort&) = delete;
  ReservedPort& operator=(const ReservedPort&) = delete;
  ~ReservedPort() {
    close(m_descriptor);
  }

  std::uint16_t number() const {
    return portOf(m_descriptor);
  }

 private:
  int m_descriptor;
};

// --- modules.xml, environment, port ---

TEST_F(StandinPortTest, ModulesXmlNamesThisMachineAndThePort) {
  EXPECT_EQ(m_standin.home() / "conf/modules.xml", m_standin.environment().at("VELMO_MODULES_XML"));
  EXPECT_EQ(
      "<system>\n"
      "  <machine id=\"standin\" hostname=\"127.0.0.1\">\n"
      "    <host name=\"standin\" websocket-port=\"" +
          std::to_string(m_standin.port()) +
          "\">\n"
          "      <module name=\"velmo\"/>\n"
          "    </host>\n"
          "  </machine>\n"
          "</system>\n",
      textOf(m_standin.home() / "conf/modules.xml"));
  EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write,
            fs::status(m_standin.home() / "conf/modules.xml").permissions());
}

TEST(StandinPortRunTest, ModulesXmlIsMadeAnewAndRemovedAtTheEndAlsoFromAGivenHome) {
  const TemporaryDirectory directory;
  directory.makeDirectory("conf");
  const std::string file = directory.writeFile("conf/modules.xml", "<old/>");
  StandinProcess standin(onAnyPort({"--home", directory.path().string()}));
  EXPECT_THAT(textOf(file), StartsWith("<system>"));
  EXPECT_EQ(0, standin.end());
  EXPECT_FALSE(fs::exists(file));
}

TEST(StandinPortRunTest, WithoutAPortThereIsNoModulesXml) {
  const StandinProcess standin;
  EXPECT_EQ(0U, standin.environment().count("VELMO_MODULES_XML"));
  EXPECT_FALSE(fs::exists(standin.home() / "conf/modules.xml"));
}

TEST(StandinPortRunTest, CommandIsToldWhereModulesXmlIsAndSharesNoSocket) {
  StandinProcess standin(
      onAnyPort({"--", "/bin/sh", "-c",
                 "[ \"$VELMO_MODULES_XML\" = \"$CONF/modules.xml\" ] && grep -c websocket-port "
                 "\"$VELMO_MODULES_XML\"; ls -l /proc/$$/fd | grep -c socket"}));
  EXPECT_EQ(1, standin.wait());  // from grep, which finds no socket
  EXPECT_EQ("1\n0\n", standin.output());
}

TEST(StandinPortRunTest, GivenPortIsTheOneListenedOn) {
  const ReservedPort port;
  const StandinProcess standin({"--port", std::to_string(port.number())});
  EXPECT_EQ(port.number(), standin.port());
  EXPECT_EQ("HTTP/1.1 101 Switching Protocols", WebSocketClient(port.number()).shakeHands());
}

TEST(StandinPortRunTest, PortInUseIsAFailureOfItsOwnAndRemovesEverything) {
  const StandinProcess first(onAnyPort());
  const std::string port = std::to_string(first.port());
  StandinProcess second({"--port", port, "--", "true"});
  EXPECT_EQ(125, second.wait());
  EXPECT_EQ("velmo-standin: cannot listen on 127.0.0.1 port " + port +
                ": Address already in use; --port 0 takes any free port\n",
            second.errors());
  EXPECT_THAT(namesIn(second.temporaryDirectory()), ElementsAre("stderr", "stdout"));
}

TEST(StandinPortRunTest, WhatIsNoPortIsAUsageError) {
  for (const std::string text : {"65536", "-1", "x", "80x", " 80"}) {
    StandinProcess standin({"--port", text, "--", "true"});
    EXPECT_EQ(2, standin.wait());
    EXPECT_EQ("velmo-standin: --port: '" + text +
                  "' is not a number from 0 to 65535; --port 0 takes any free port\n",
              standin.errors());
  }
  StandinProcess standin({"--port", "--", "true"});
  EXPECT_EQ(2, standin.wait());
  EXPECT_EQ(
      "velmo-standin: --port: a number from 0 to 65535 is missing; --port 0 takes any free port\n",
      standin.errors());
}

// --- the end ---

TEST(StandinPortRunTest, RequestThatHasBegunIsAnsweredAndRunBeforeTheEnd) {
  const TemporaryDirectory directory;
  StandinProcess standin(onAnyPort());
  const std::uint16_t port = standin.port();
  const auto client = clientOf(standin);
  client->ask(requestFor(waitForFile(directory.path() / "go")));
  const std::string message = requestFor("exit 3");
  client->sendFrame(kBinary, message.substr(0, 10));
  awaitReading(*client);
  standin.signal(SIGTERM);
  ASSERT_TRUE(waitUntil([&] { return refusesConnections(port); }));
  directory.writeFile("go", "");
  ASSERT_TRUE(waitUntil([&] { return !standin.errors().empty(); }));
  // Only the request keeps it running now.
  for (int i = 0; i < 100; ++i) {
    awaitReading(*client);
  }
  client->sendFrame(kLastContinuation, message.substr(10));
  EXPECT_THAT(taskNameFrom(client->receiveFrame()->payload), HasSubstr(".J12."));
  EXPECT_EQ(0, standin.wait());
  EXPECT_THAT(standin.errors(), HasSubstr(": exit 3\n"));
}

TEST(StandinPortRunTest, ConnectionsAreRefusedAndIdleClientsToldWhileTheQueueIsFinished) {
  const TemporaryDirectory directory;
  StandinProcess standin(onAnyPort());
  const std::uint16_t port = standin.port();
  const auto client = clientOf(standin);
  client->ask(requestFor(waitForFile(directory.path() / "go")));
  standin.signal(SIGTERM);
  const std::optional<WebSocketFrame> frame = client->receiveFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(kFinal | kClose, frame->flags);
  EXPECT_EQ(closePayload(1001, "velmo-standin ends"), frame->payload);
  EXPECT_TRUE(waitUntil([&] { return refusesConnections(port); }));
  EXPECT_TRUE(standin.isRunning());
  directory.writeFile("go", "");
  EXPECT_EQ(0, standin.wait());
  EXPECT_THAT(standin.errors(), HasSubstr(": exit 0\n"));
}

TEST(StandinPortRunTest, TasksSubmittedWhileCommandRanAreRunBeforeTheEnd) {
  const TemporaryDirectory directory;
  const fs::path modules = directory.path() / "conf/modules.xml";
  StandinProcess standin(onAnyPort({"--home", directory.path().string(), "--", "/bin/sh", "-c",
                                    "touch '" + (directory.path() / "ready").string() + "'; " +
                                        waitForFile(directory.path() / "go")}));
  ASSERT_TRUE(waitUntil([&] { return fs::exists(directory.path() / "ready"); }));
  WebSocketClient client(portIn(modules));
  client.shakeHands();
  client.ask(requestFor(waitForFile(directory.path() / "later")));
  client.ask(requestFor("exit 4"));
  directory.writeFile("go", "");
  EXPECT_EQ(kFinal | kClose, client.receiveFrame()->flags);  // COMMAND has ended
  directory.writeFile("later", "");
  EXPECT_EQ(0, standin.wait());
  EXPECT_THAT(standin.errors(), HasSubstr(": exit 4, output in"));
}

TEST(StandinPortRunTest, SecondSignalEndsAtOnceAlsoWithARequestHalfway) {
  StandinProcess standin(onAnyPort());
  const std::uint16_t port = standin.port();
  const auto client = clientOf(standin);
  client->sendFrame(kBinary, "x");
  awaitReading(*client);
  const WebSocketClient silent(port);  // has not even shaken hands
  standin.signal(SIGTERM);
  ASSERT_TRUE(waitUntil([&] { return refusesConnections(port); }));
  // Signals within 100 milliseconds count as one request to end.
  EXPECT_TRUE(waitUntil([&] {
    standin.signal(SIGINT);
    return !standin.isRunning();
  }));
  EXPECT_EQ(128 + SIGINT, standin.wait());
}

}  // namespace
}  // namespace velmo::test
