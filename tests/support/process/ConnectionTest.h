#ifndef VELMO_TEST_CONNECTIONTEST_H
#define VELMO_TEST_CONNECTIONTEST_H

#include <gtest/gtest.h>
#include <velmo/velmo.h>

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "PeerProcess.h"
#include "ScriptedPeer.h"
#include "WebSocketFrame.h"
#include "WireMessages.h"

namespace velmo::test {

/// A failure as one text: "IN_DOUBT 11, cause 4, errno 0, peer 0: text", with the port as PORT.
inline std::string shownError(velmo_status status, const velmo_error& error, unsigned short port) {
  std::string text = error.message;
  const std::string number = ":" + std::to_string(port);
  for (std::size_t at = text.find(number); at != std::string::npos; at = text.find(number)) {
    text.replace(at, number.size(), ":PORT");
  }
  return std::to_string(status) + (status == error.status ? "" : " (and not the same)") +
         (error.cause == status ? "" : ", cause " + std::to_string(error.cause)) +
         (error.system_error == 0 ? "" : ", errno " + std::to_string(error.system_error)) +
         (error.peer_code == 0 ? "" : ", peer " + std::to_string(error.peer_code)) + ": " + text;
}

inline velmo_endpoint endpointAt(const char* host, int port) {
  velmo_endpoint endpoint{};
  endpoint.size = sizeof endpoint;
  endpoint.host = host;
  endpoint.port = port;
  return endpoint;
}

inline velmo_task taskOf(const char* priorityClass, const char* command) {
  velmo_task task{};
  task.size = sizeof task;
  task.priority_class = priorityClass;
  task.command = command;
  return task;
}

/// Fixture of tests of the C calls against a peer in a process.
class ConnectionTest : public testing::Test {
 protected:
  static constexpr int kLongMs = 20000;

  ~ConnectionTest() override {
    velmo_disconnect(connection, 0);
  }

  void startPeer(const std::vector<PeerScript>& scripts) {
    peer.emplace(scripts);
    endpoint.port = peer->port();
  }

  /// @return "OK", or the failure
  std::string connect(int timeoutMs = kLongMs) {
    velmo_error error{};
    const velmo_status status = velmo_connect(&endpoint, timeoutMs, &connection, &error);
    return status == VELMO_OK ? "OK" : shownError(status, error, port());
  }

  void connectTo(const std::vector<PeerScript>& scripts) {
    startPeer(scripts);
    ASSERT_EQ("OK", connect());
  }

  /// @return "OK" and the name, or the failure
  std::string send(int timeoutMs = kLongMs) {
    std::array<char, VELMO_NAME_SIZE> name{"untouched"};
    velmo_error error{};
    const velmo_status status = velmo_send(connection, &task, timeoutMs, name.data(), &error);
    if (status == VELMO_OK) {
      return "OK " + std::string(name.data());
    }
    EXPECT_STREQ("untouched", name.data());
    return shownError(status, error, port());
  }

  bool isUsable() const {
    return velmo_is_usable(connection) != 0;
  }

  void disconnect(int timeoutMs) {
    velmo_disconnect(std::exchange(connection, nullptr), timeoutMs);
  }

  unsigned short port() const {
    return static_cast<unsigned short>(endpoint.port);
  }

  std::optional<PeerProcess> peer;
  velmo_endpoint endpoint = endpointAt("127.0.0.1", 0);
  velmo_task task = taskOf("Normal", "/bin/true");
  velmo_connection* connection = nullptr;
};

}  // namespace velmo::test

#endif
