// velmo-standin as a service: tasks submitted by message, and control frames.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <velmo/velmo.pb.h>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "StandinPortTest.h"
#include "StandinProcess.h"
#include "WebSocketClient.h"
#include "WebSocketHandshake.h"

namespace velmo::test {
namespace {

using service::velmo::AddTaskRequest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

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
  WebSocketClient client(m_standin.port());
  client.send(handshakeRequest("/velmo", "") +
              clientFrame(kFinal | kBinary, completeRequest().SerializeAsString(), "abcd") +
              clientFrame(kFinal | kClose, "", "abcd"));
  EXPECT_THAT(client.readToTheEnd(), HasSubstr(".J12.S3_x."));
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
    EXPECT_EQ("", client->readToTheEnd());
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

}  // namespace
}  // namespace velmo::test
