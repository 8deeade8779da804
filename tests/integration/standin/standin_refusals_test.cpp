// velmo-standin as a service: what it refuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <velmo/velmo.pb.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "StandinPortTest.h"
#include "StandinProcess.h"
#include "WebSocketClient.h"
#include "WebSocketHandshake.h"

namespace velmo::test {
namespace {

using service::velmo::AddTaskRequest;
using service::velmo::BaseMessage;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

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

// The length of the path in front of the characters is unknown. One of three lengths makes the cut
// fall inside a character.
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
  EXPECT_EQ("", client->readToTheEnd());
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
    WebSocketClient client(m_standin.port());
    client.send(row.request);
    EXPECT_THAT(client.readToTheEnd(), StartsWith("HTTP/1.1 " + std::string(row.status)));
    EXPECT_EQ("velmo-standin: refused " + std::string(row.line) + "\n",
              m_standin.errors().substr(before));
  }
}

TEST_F(StandinPortTest, HandshakeWithoutAnOriginIsTaken) {
  WebSocketClient client(m_standin.port());
  client.send(handshakeRequest("/velmo", "") + clientFrame(kFinal | kClose, "", "abcd"));
  EXPECT_THAT(client.readToTheEnd(), StartsWith("HTTP/1.1 101 "));
}

}  // namespace
}  // namespace velmo::test
