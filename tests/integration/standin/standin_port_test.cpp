// The program as a service: tasks that come by message.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <velmo/velmo.pb.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "StandinProcess.h"
#include "WebSocketClient.h"

namespace fs = std::filesystem;

namespace velmo::test {
namespace {

using service::velmo::AddTaskRequest;
using service::velmo::BaseMessage;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

BaseMessage completeRequest() {
  BaseMessage message;
  AddTaskRequest& request = *message.mutable_addtaskrequest();
  request.set_prioritytype("Normal");
  request.set_command("echo hello");
  request.set_tasktype(service::velmo::ShellScript);
  request.set_deltatype("Later");
  request.set_jobid("J12");
  request.set_subjobid("3_x");
  request.set_jobinfo("#1USE=u#1JNA=n");
  request.set_relpriority(7);
  return message;
}

// A request that is complete but for what `change` does to it.
std::string requestWith(const std::function<void(AddTaskRequest&)>& change) {
  BaseMessage message = completeRequest();
  change(*message.mutable_addtaskrequest());
  return message.SerializePartialAsString();
}

std::string requestFor(const std::string& command) {
  return requestWith([&](AddTaskRequest& request) { request.set_command(command); });
}

std::string taskNameFrom(const std::string& response) {
  BaseMessage message;
  EXPECT_TRUE(message.ParseFromString(response));
  EXPECT_EQ(BaseMessage::kAddTaskResponse, message.theMessage_case());
  return message.addtaskresponse().taskname();
}

std::uint16_t portOf(const fs::path& modulesFile) {
  const std::string text = textOf(modulesFile);
  const std::string mark = "websocket-port=\"";
  return static_cast<std::uint16_t>(std::stoi(text.substr(text.find(mark) + mark.size())));
}

std::uint16_t portOf(const StandinProcess& standin) {
  return portOf(standin.environment().at("VELMO_MODULES_XML"));
}

// A client that has shaken hands.
std::unique_ptr<WebSocketClient> clientOf(const StandinProcess& standin) {
  auto client = std::make_unique<WebSocketClient>(portOf(standin));
  EXPECT_EQ("HTTP/1.1 101 Switching Protocols", client->shakeHands());
  return client;
}

std::string ask(const StandinProcess& standin, const std::string& message) {
  return taskNameFrom(clientOf(standin)->ask(message));
}

// What the server has read of a connection when this returns: all that was sent before.
void awaitReading(WebSocketClient& client) {
  client.sendFrame(kFinal | kPing, "");
  const std::optional<WebSocketFrame> frame = client.receiveFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(kFinal | kPong, frame->flags);
}

bool refusesConnections(std::uint16_t port) {
  try {
    const WebSocketClient client(port);
    return false;
  } catch (const std::system_error& failure) {
    return failure.code().value() == ECONNREFUSED;
  }
}

// A port that nobody else is given while the object is there, and that can be listened on.
class ReservedPort {
 public:
  ReservedPort() : m_descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int on = 1;
    setsockopt(m_descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    m_address.sin_family = AF_INET;
    m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof m_address;
    EXPECT_EQ(0, bind(m_descriptor, reinterpret_cast<sockaddr*>(&m_address), size));
    getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&m_address), &size);
  }
  ReservedPort(const ReservedPort&) = delete;
  ReservedPort& operator=(const ReservedPort&) = delete;
  ~ReservedPort() {
    close(m_descriptor);
  }

  std::uint16_t number() const {
    return ntohs(m_address.sin_port);
  }

 private:
  int m_descriptor;
  sockaddr_in m_address{};
};

std::vector<std::string> onAnyPort(std::vector<std::string> others = {}) {
  others.insert(others.begin(), {"--port", "0"});
  return others;
}

class StandinPortTest : public testing::Test {
 protected:
  fs::path queueFileOf(const std::string& name) const {
    return m_standin.home() / "var/taskqueue" / name;
  }

  // What a message is refused with: the text of the close frame, which the line on standard error
  // says too.
  void expectRefused(int flags, const std::string& message, std::uint16_t code,
                     const std::string& why) {
    const std::size_t before = m_standin.errors().size();
    const auto client = clientOf(m_standin);
    client->sendFrame(flags, message);
    const std::optional<WebSocketFrame> frame = client->receiveFrame();
    ASSERT_TRUE(frame) << why;
    EXPECT_EQ(kFinal | kClose, frame->flags);
    EXPECT_EQ(closePayload(code, why), frame->payload);
    EXPECT_EQ(std::nullopt, client->receiveFrame() ? std::optional<int>(1) : std::nullopt) << why;
    EXPECT_EQ("velmo-standin: refused a message: " + why + "\n", m_standin.errors().substr(before));
  }

  StandinProcess m_standin{onAnyPort({"--no-run"})};
};

// --- requests ---

TEST_F(StandinPortTest, RequestBecomesATaskFileAndIsAnsweredWithItsName) {
  const std::string name = ask(m_standin, completeRequest().SerializeAsString());
  EXPECT_THAT(name, MatchesRegex("0520\\.[0-9]+\\.J12\\.S3_x\\.T[0-9]+-1\\.R0007\\.sh"));
  EXPECT_EQ("echo hello\n#1USE=u#1JNA=n\n", textOf(queueFileOf(name)));
  EXPECT_THAT(namesIn(m_standin.home() / "var/taskqueue"), ElementsAre(name));
  EXPECT_THAT(namesIn(m_standin.home() / "tmp"), IsEmpty());
  EXPECT_EQ("", m_standin.errors());
}

TEST_F(StandinPortTest, JavaClassIsOfTheTypeJava) {
  EXPECT_THAT(ask(m_standin, requestWith([](AddTaskRequest& request) {
                    request.set_tasktype(service::velmo::JavaClass);
                  })),
              MatchesRegex(".*\\.R0007\\.java"));
}

TEST_F(StandinPortTest, EmptyTextsMeanNoAdjustmentANewJobSubJob0AndNoJobInformation) {
  const std::string name = ask(m_standin, requestWith([](AddTaskRequest& request) {
                                 request.set_deltatype("");
                                 request.set_jobid("");
                                 request.set_subjobid("");
                                 request.set_jobinfo("");
                                 request.set_relpriority(0);
                               }));
  EXPECT_THAT(name, MatchesRegex("0500\\.[0-9]+\\.standin-J0\\.S0\\.T[0-9]+-1\\.R0000\\.sh"));
  EXPECT_EQ("echo hello\n", textOf(queueFileOf(name)));
}

TEST_F(StandinPortTest, UnknownPriorityIsQueuedAs9999AndWarnedOfByItsName) {
  EXPECT_THAT(ask(m_standin,
                  requestWith([](AddTaskRequest& request) { request.set_prioritytype("NoSuch"); })),
              MatchesRegex("9999\\..*"));
  EXPECT_EQ(
      "velmo-standin: warning: a request names the priority class 'NoSuch', which is not in "
      "priorities.cfg; its task gets the priority 9999\n",
      m_standin.errors());
}

TEST_F(StandinPortTest, CommandIsQueuedAsItWasSent) {
  const std::string command = "echo 100%% %s %n \xc3\xa9 \xff";
  EXPECT_EQ(command + "\n#1USE=u#1JNA=n\n",
            textOf(queueFileOf(ask(m_standin, requestFor(command)))));
  EXPECT_EQ("", m_standin.errors());
}

TEST_F(StandinPortTest, RequestsOnOneConnectionAreAnsweredInOrder) {
  const auto client = clientOf(m_standin);
  for (const char* command : {"echo a", "echo b", "echo c"}) {
    client->sendFrame(kFinal | kBinary, requestFor(command));
  }
  for (const char* contents : {"echo a\n", "echo b\n", "echo c\n"}) {
    const std::string name = taskNameFrom(client->receiveFrame()->payload);
    EXPECT_EQ(std::string(contents) + "#1USE=u#1JNA=n\n", textOf(queueFileOf(name)));
  }
}

TEST_F(StandinPortTest, FramesThatComeWithTheHandshakeAreAnswered) {
  WebSocketClient client(portOf(m_standin));
  client.send(handshakeRequest("/velmo", "") +
              clientFrame(kFinal | kBinary, completeRequest().SerializeAsString(), "abcd") +
              clientFrame(kFinal | kClose, "", "abcd"));
  EXPECT_THAT(client.receiveAll(), HasSubstr(".J12.S3_x."));
}

TEST_F(StandinPortTest, FragmentsAreReassembledAlsoWithAPingBetweenThem) {
  const std::string command(20000, 'x');
  const std::string message = requestFor(command);
  const auto client = clientOf(m_standin);
  client->sendFrame(kBinary, message.substr(0, 8192));
  awaitReading(*client);
  client->sendFrame(kContinuation, message.substr(8192, 8192));
  client->sendFrame(kLastContinuation, message.substr(16384));
  const std::string name = taskNameFrom(client->receiveFrame()->payload);
  EXPECT_EQ(command + "\n#1USE=u#1JNA=n\n", textOf(queueFileOf(name)));
}

TEST_F(StandinPortTest, EmptyFragmentInTheMiddleOfAMessageIsTaken) {
  const std::string message = completeRequest().SerializeAsString();
  const auto client = clientOf(m_standin);
  client->sendFrame(kBinary, message.substr(0, 10));
  client->sendFrame(kContinuation, "");
  client->sendFrame(kContinuation, message.substr(10));
  client->sendFrame(kLastContinuation, "");
  EXPECT_THAT(taskNameFrom(client->receiveFrame()->payload), HasSubstr(".J12.S3_x."));
  EXPECT_EQ("", m_standin.errors());
}

TEST_F(StandinPortTest, ClientsAtTheSameTimeGetDifferentTasks) {
  std::vector<std::unique_ptr<WebSocketClient>> clients(40);
  for (auto& client : clients) {
    client = clientOf(m_standin);
  }
  const std::string message = requestWith([](AddTaskRequest& request) { request.set_jobid(""); });
  for (const auto& client : clients) {
    client->sendFrame(kFinal | kBinary, message);
  }
  std::set<std::string> names;
  for (const auto& client : clients) {
    names.insert(taskNameFrom(client->receiveFrame()->payload));
  }
  EXPECT_EQ(clients.size(), names.size());
  EXPECT_EQ("39", textOf(m_standin.home() / "data/velmo/jobid"));
}

TEST(StandinPortRunTest, TaskThatCameByMessageIsRun) {
  const TemporaryDirectory directory;
  StandinProcess standin(onAnyPort({"--home", directory.path().string()}));
  const std::string name = ask(standin, requestFor("echo from the task"));
  EXPECT_EQ(0, standin.end());
  EXPECT_THAT(standin.errors(),
              HasSubstr("job J12, sub-job 3_x, task 1, relative 7, type sh: exit 0"));
  EXPECT_EQ("from the task\n", textOf(directory.path() / "var/log" / (name + ".log")));
}

TEST(StandinPortRunTest, UnknownClassOfARequestIsWarnedOfOnceAlsoWhenItsTaskIsRun) {
  StandinProcess standin(onAnyPort());
  ask(standin, requestWith([](AddTaskRequest& request) {
        request.set_prioritytype("NoSuch");
        request.set_command("true");
      }));
  EXPECT_EQ(0, standin.end());
  EXPECT_THAT(standin.errors(),
              MatchesRegex("velmo-standin: warning: a request names the priority class 'NoSuch'.*\n"
                           "velmo-standin: priority 9999, created .*: exit 0\n"));
}

// --- control frames ---

TEST_F(StandinPortTest, PingIsAnsweredWithAPongOfTheSamePayload) {
  const auto client = clientOf(m_standin);
  client->sendFrame(kFinal | kPong, "unasked");
  client->sendFrame(kFinal | kPing, "payload");
  const std::optional<WebSocketFrame> frame = client->receiveFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(kFinal | kPong, frame->flags);
  EXPECT_EQ("payload", frame->payload);
}

TEST_F(StandinPortTest, CloseIsAnsweredWithItsCodeAndReasonAndTheEndOfTheConnection) {
  for (const std::string& payload :
       {closePayload(1000, ""), closePayload(1001, "caf\xc3\xa9"), closePayload(4999, "own")}) {
    const auto client = clientOf(m_standin);
    client->sendFrame(kFinal | kClose, payload);
    const std::optional<WebSocketFrame> frame = client->receiveFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(kFinal | kClose, frame->flags);
    EXPECT_EQ(payload, frame->payload);
    EXPECT_EQ("", client->receiveAll());
  }
  EXPECT_EQ("", m_standin.errors());
}

TEST_F(StandinPortTest, CloseWithoutACodeIsAnsweredWith1000) {
  const auto client = clientOf(m_standin);
  client->sendFrame(kFinal | kClose, "");
  EXPECT_EQ(closePayload(1000, ""), client->receiveFrame()->payload);
}

TEST_F(StandinPortTest, MalformedCloseIsAnsweredWith1002) {
  expectRefused(kFinal | kClose, "x", 1002, "a close frame of one byte");
  expectRefused(kFinal | kClose, closePayload(1005, ""), 1002, "a close frame with the code 1005");
  expectRefused(kFinal | kClose, closePayload(1000, "\xff"), 1002,
                "a close frame whose reason is not UTF-8");
}

TEST_F(StandinPortTest, ClientThatGoesWithoutACloseIsNoFault) {
  clientOf(m_standin).reset();
  EXPECT_EQ(0, m_standin.end());
  EXPECT_EQ("", m_standin.errors());
}

// --- what is refused ---

TEST_F(StandinPortTest, MessageThatIsNoRequestIsRefusedWithOneLineAndACloseFrame) {
  BaseMessage response;
  response.mutable_addtaskresponse()->set_taskname("x");
  const int whole = kFinal | kBinary;
  expectRefused(whole, "\xff\xff\xff", 1007, "not a BaseMessage");
  expectRefused(whole, "", 1003, "a BaseMessage without an addTaskRequest");
  expectRefused(whole, response.SerializeAsString(), 1003,
                "a BaseMessage without an addTaskRequest");
  expectRefused(whole, completeRequest().SerializeAsString().substr(0, 20), 1007,
                "not a BaseMessage");
  expectRefused(kFinal | kText, "hello", 1003, "text, where binary frames belong");
}

TEST_F(StandinPortTest, IncompleteRequestIsRefusedWithTheFieldsItLacks) {
  expectRefused(kFinal | kBinary, requestWith([](AddTaskRequest& request) {
                  request.clear_tasktype();
                  request.clear_jobinfo();
                }),
                1007, "its addTaskRequest lacks or does not know taskType, jobInfo");
}

TEST_F(StandinPortTest, UnknownTaskTypeIsRefused) {
  std::string message = completeRequest().SerializeAsString();
  const std::size_t taskType = message.find("\x18\x02");
  ASSERT_NE(std::string::npos, taskType);
  message[taskType + 1] = 3;
  expectRefused(kFinal | kBinary, message, 1007,
                "its addTaskRequest lacks or does not know taskType");
}

TEST_F(StandinPortTest, TextsThatATaskFileCannotHoldAreRefused) {
  const auto refused = [this](const std::function<void(AddTaskRequest&)>& change,
                              const std::string& why) {
    expectRefused(kFinal | kBinary, requestWith(change), 1008, why);
  };
  refused([](auto& request) { request.set_command("a\nb"); }, "its command holds a line feed");
  refused([](auto& request) { request.set_jobinfo("a\n"); }, "its jobInfo holds a line feed");
  refused([](auto& request) { request.set_command(std::string("a\0b", 3)); },
          "its command holds a NUL");
  refused([](auto& request) { request.set_jobid("../x"); }, "its jobId holds a slash");
  refused([](auto& request) { request.set_subjobid("/"); }, "its subJobId holds a slash");
  EXPECT_THAT(namesIn(m_standin.home() / "var/taskqueue"), IsEmpty());
}

TEST_F(StandinPortTest, NameThatIsTooLongIsRefusedAndLeavesNothing) {
  const auto client = clientOf(m_standin);
  client->sendFrame(kFinal | kBinary, requestWith([](AddTaskRequest& request) {
                      request.set_jobid(std::string(255, 'j'));
                    }));
  EXPECT_EQ(closePayload(1011, "cannot make the file "),
            client->receiveFrame()->payload.substr(0, 23));
  EXPECT_THAT(m_standin.errors(), HasSubstr(": File name too long\n"));
  EXPECT_THAT(namesIn(m_standin.home() / "var/taskqueue"), IsEmpty());
}

// The path before the characters has any length: one of three lengths cuts within a character.
TEST_F(StandinPortTest, ReasonOfACloseIsCutBetweenCharacters) {
  const std::string euro = "\xe2\x82\xac";
  for (const std::string start : {"j", "jj", "jjj"}) {
    const auto client = clientOf(m_standin);
    client->sendFrame(kFinal | kBinary, requestWith([&](AddTaskRequest& request) {
                        std::string job = start;
                        for (int i = 0; i < 80; ++i) {
                          job += euro;
                        }
                        request.set_jobid(job);
                      }));
    const std::string payload = client->receiveFrame()->payload;
    EXPECT_GT(payload.size(), 122U);
    EXPECT_LE(payload.size(), 125U);
    std::string characters = payload.substr(payload.find(euro));
    while (characters.substr(0, 3) == euro) {
      characters.erase(0, 3);
    }
    EXPECT_EQ("", characters);
  }
}

TEST_F(StandinPortTest, RequestWithoutAMaskIsRefused) {
  const auto client = clientOf(m_standin);
  client->send("\x82\x01x");
  EXPECT_EQ(closePayload(1002, "a frame without a mask"), client->receiveFrame()->payload);
  EXPECT_EQ("", client->receiveAll());
  EXPECT_EQ("velmo-standin: refused a message: a frame without a mask\n", m_standin.errors());
}

TEST_F(StandinPortTest, FramesOutOfOrderAreRefused) {
  expectRefused(kLastContinuation, "x", 1002, "a continuation that continues nothing");
  expectRefused(kFinal | 0x3, "x", 1002, "a frame with the flags 131");
  expectRefused(kFinal | 0x40 | kBinary, "x", 1002, "a frame with the flags 194");

  const auto client = clientOf(m_standin);
  client->sendFrame(kBinary, "x");
  client->sendFrame(kFinal | kBinary, "x");
  EXPECT_EQ(closePayload(1002, "a message within a message"), client->receiveFrame()->payload);
}

TEST_F(StandinPortTest, MessageBeyondTheLimitIsRefusedInOneFrameOrSeveral) {
  const std::string limit(1048576, '\x08');
  expectRefused(kFinal | kBinary, limit + "x", 1009, "longer than 1048576 bytes");
  const auto client = clientOf(m_standin);
  client->sendFrame(kBinary, limit);
  client->sendFrame(kLastContinuation, "x");
  EXPECT_EQ(closePayload(1009, "longer than 1048576 bytes"), client->receiveFrame()->payload);
}

TEST_F(StandinPortTest, ConnectionThatEndsWithinAMessageIsReported) {
  {
    const auto client = clientOf(m_standin);
    client->sendFrame(kBinary, "x");
    awaitReading(*client);
  }
  EXPECT_TRUE(waitUntil([this] { return !m_standin.errors().empty(); }));
  EXPECT_EQ("velmo-standin: refused a message: cut short, the connection has ended\n",
            m_standin.errors());
}

TEST_F(StandinPortTest, ConnectionThatEndsWithinAFrameIsReported) {
  {
    const auto client = clientOf(m_standin);
    client->send(clientFrame(kFinal | kPing, "", "abcd") + "\x82");
    EXPECT_EQ(kFinal | kPong, client->receiveFrame()->flags);
  }
  EXPECT_TRUE(waitUntil([this] { return !m_standin.errors().empty(); }));
  EXPECT_EQ("velmo-standin: refused a message: cut short, the connection has ended\n",
            m_standin.errors());
}

TEST_F(StandinPortTest, RefusalOfOneClientLeavesOthersServed) {
  const auto other = clientOf(m_standin);
  expectRefused(kFinal | kText, "hello", 1003, "text, where binary frames belong");
  EXPECT_NE("", taskNameFrom(other->ask(completeRequest().SerializeAsString())));
}

TEST_F(StandinPortTest, WhatIsNoHandshakeAtItsPathIsRefusedWithAStatusAndOneLine) {
  struct Row {
    std::string request;
    const char* status;
    const char* line;
  };
  const std::string plain = " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
  const std::vector<Row> rows{
      {"GET /other" + plain, "404 Not Found", "GET /other: only /velmo is served here (404)"},
      {handshakeRequest("/velmo/", ""), "404 Not Found",
       "GET /velmo/: only /velmo is served here (404)"},
      {"GET /velmo" + plain, "400 Bad Request",
       "GET /velmo: no WebSocket handshake, No WebSocket handshake (400)"},
      {"POST /velmo HTTP/1.1\r\nContent-Length: 2\r\n\r\nhi", "400 Bad Request",
       "POST /velmo: no WebSocket handshake, No WebSocket handshake (400)"},
      {handshakeRequest("/velmo", "origin: http://elsewhere\r\n"), "403 Forbidden",
       "GET /velmo: its origin is http://elsewhere, not localhost (403)"},
  };
  for (const Row& row : rows) {
    const std::size_t before = m_standin.errors().size();
    WebSocketClient client(portOf(m_standin));
    client.send(row.request);
    EXPECT_THAT(client.receiveAll(), testing::StartsWith("HTTP/1.1 " + std::string(row.status)));
    EXPECT_EQ("velmo-standin: refused " + std::string(row.line) + "\n",
              m_standin.errors().substr(before));
  }
}

TEST_F(StandinPortTest, HandshakeWithoutAnOriginIsTaken) {
  WebSocketClient client(portOf(m_standin));
  client.send(handshakeRequest("/velmo", "") + clientFrame(kFinal | kClose, "", "abcd"));
  EXPECT_THAT(client.receiveAll(), testing::StartsWith("HTTP/1.1 101 "));
}

// --- modules.xml, environment, port ---

TEST_F(StandinPortTest, ModulesXmlNamesThisMachineAndThePort) {
  EXPECT_EQ(m_standin.home() / "conf/modules.xml", m_standin.environment().at("VELMO_MODULES_XML"));
  EXPECT_EQ(
      "<system>\n"
      "  <machine id=\"standin\" hostname=\"127.0.0.1\">\n"
      "    <host name=\"standin\" websocket-port=\"" +
          std::to_string(portOf(m_standin)) +
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
  EXPECT_THAT(textOf(file), testing::StartsWith("<system>"));
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
  EXPECT_EQ(1, standin.wait());  // grep's, which finds no socket
  EXPECT_EQ("1\n0\n", standin.output());
}

TEST(StandinPortRunTest, GivenPortIsTheOneListenedOn) {
  const ReservedPort port;
  const StandinProcess standin({"--port", std::to_string(port.number())});
  EXPECT_EQ(port.number(), portOf(standin));
  EXPECT_EQ("HTTP/1.1 101 Switching Protocols", WebSocketClient(port.number()).shakeHands());
}

TEST(StandinPortRunTest, PortInUseIsAFailureOfItsOwnAndRemovesEverything) {
  const StandinProcess first(onAnyPort());
  const std::string port = std::to_string(portOf(first));
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
  const std::uint16_t port = portOf(standin);
  const auto client = clientOf(standin);
  client->ask(requestFor(waitForFile(directory.path() / "go")));
  const std::string message = requestFor("exit 3");
  client->sendFrame(kBinary, message.substr(0, 10));
  awaitReading(*client);
  standin.signal(SIGTERM);
  ASSERT_TRUE(waitUntil([&] { return refusesConnections(port); }));
  directory.writeFile("go", "");
  ASSERT_TRUE(waitUntil([&] { return !standin.errors().empty(); }));
  // Nothing but the request is left to wait for now.
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
  const std::uint16_t port = portOf(standin);
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
  WebSocketClient client(portOf(modules));
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
  const std::uint16_t port = portOf(standin);
  const auto client = clientOf(standin);
  client->sendFrame(kBinary, "x");
  awaitReading(*client);
  const WebSocketClient silent(port);  // has not even shaken hands
  standin.signal(SIGTERM);
  ASSERT_TRUE(waitUntil([&] { return refusesConnections(port); }));
  // What comes within 100 milliseconds is the same request to end.
  EXPECT_TRUE(waitUntil([&] {
    standin.signal(SIGINT);
    return !standin.isRunning();
  }));
  EXPECT_EQ(128 + SIGINT, standin.wait());
}

}  // namespace
}  // namespace velmo::test
