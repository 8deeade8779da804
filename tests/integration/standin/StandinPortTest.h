#ifndef VELMO_TEST_STANDINPORTTEST_H
#define VELMO_TEST_STANDINPORTTEST_H

#include <gtest/gtest.h>
#include <velmo/velmo.pb.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "StandinProcess.h"
#include "WebSocketClient.h"

// Shared by the tests of velmo-standin as a service.

namespace velmo::test {

inline service::velmo::BaseMessage completeRequest() {
  service::velmo::BaseMessage message;
  service::velmo::AddTaskRequest& request = *message.mutable_addtaskrequest();
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

/// A request that is complete but for what `change` does to it.
inline std::string requestWith(const std::function<void(service::velmo::AddTaskRequest&)>& change) {
  service::velmo::BaseMessage message = completeRequest();
  change(*message.mutable_addtaskrequest());
  return message.SerializePartialAsString();
}

inline std::string requestFor(const std::string& command) {
  return requestWith(
      [&](service::velmo::AddTaskRequest& request) { request.set_command(command); });
}

inline std::string taskNameFrom(const std::string& response) {
  service::velmo::BaseMessage message;
  EXPECT_TRUE(message.ParseFromString(response));
  EXPECT_EQ(service::velmo::BaseMessage::kAddTaskResponse, message.theMessage_case());
  return message.addtaskresponse().taskname();
}

/// A client that has shaken hands.
inline std::unique_ptr<WebSocketClient> clientOf(const StandinProcess& standin) {
  auto client = std::make_unique<WebSocketClient>(standin.port());
  EXPECT_EQ("HTTP/1.1 101 Switching Protocols", client->shakeHands());
  return client;
}

inline std::string ask(const StandinProcess& standin, const std::string& message) {
  return taskNameFrom(clientOf(standin)->ask(message));
}

/// Returns once the server has read all that was sent on the connection before.
inline void awaitReading(WebSocketClient& client) {
  client.sendFrame(kFinal | kPing, "");
  const std::optional<WebSocketFrame> frame = client.receiveFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(kFinal | kPong, frame->flags);
}

inline std::vector<std::string> onAnyPort(std::vector<std::string> others = {}) {
  others.insert(others.begin(), {"--port", "0"});
  return others;
}

/// A stand-in that listens and leaves tasks in the queue.
class StandinPortTest : public testing::Test {
 protected:
  std::filesystem::path queueFileOf(const std::string& name) const {
    return m_standin.home() / "var/taskqueue" / name;
  }

  /// Checks that a message is refused with a close frame of this code and text, and with a line on
  /// standard error that gives the same text.
  void expectRefused(int flags, const std::string& message, std::uint16_t code,
                     const std::string& why) {
    const std::size_t before = m_standin.errors().size();
    const auto client = clientOf(m_standin);
    client->sendFrame(flags, message);
    const std::optional<WebSocketFrame> frame = client->receiveFrame();
    ASSERT_TRUE(frame) << why;
    EXPECT_EQ(kFinal | kClose, frame->flags);
    EXPECT_EQ(closePayload(code, why), frame->payload);
    EXPECT_FALSE(client->receiveFrame()) << why;
    EXPECT_EQ("velmo-standin: refused a message: " + why + "\n", m_standin.errors().substr(before));
  }

  StandinProcess m_standin{onAnyPort({"--no-run"})};
};

}  // namespace velmo::test

#endif
