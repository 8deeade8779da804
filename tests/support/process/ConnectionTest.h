#ifndef VELMO_TEST_CONNECTIONTEST_H
#define VELMO_TEST_CONNECTIONTEST_H

#include <gtest/gtest.h>
#include <pthread.h>
#include <velmo/velmo.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "PeerProcess.h"
#include "ScriptedPeer.h"
#include "SignalStorm.h"
#include "TemporaryDirectory.h"
#include "WebSocketFrame.h"
#include "WireMessages.h"

namespace velmo::test {

/// A failure as one text: "11, cause 4, errno 110, peer 1000: text", without what is 0 or the same,
/// and with the port as PORT.
inline std::string shownError(velmo_status status, const velmo_error& error, int port) {
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

/// The signal mask of this thread as one text of bits.
inline std::string signalMask() {
  sigset_t set{};
  pthread_sigmask(SIG_BLOCK, nullptr, &set);
  std::string bits;
  for (int number = 1; number < NSIG; ++number) {
    bits += sigismember(&set, number) == 1 ? '1' : '0';
  }
  return bits;
}

/// Fixture of tests of the C calls against a peer in a process. Signals arrive all the time during
/// the calls. At its end, descriptors and signal mask are as before; a SIGPIPE would have ended the
/// test.
class ConnectionTest : public testing::Test {
 protected:
  static constexpr int kLongMs = 20000;
  static constexpr int kShortMs = 200;
  static constexpr int kToleranceMs = 2000;

  ~ConnectionTest() override {
    disconnect(0);
    peer.reset();
    EXPECT_EQ(m_descriptors, openDescriptors());
    EXPECT_EQ(m_signalMask, signalMask());
  }

  void startPeer(const std::vector<PeerScript>& scripts) {
    peer.emplace(scripts);
    endpoint.port = peer->port();
  }

  /// @return "OK", or the failure
  std::string connect(int timeoutMs = kLongMs) {
    disconnect(0);
    connection = reinterpret_cast<velmo_connection*>(this);  // to be overwritten
    velmo_error error{};
    const velmo_status status =
        timed(timeoutMs, [&] { return velmo_connect(&endpoint, timeoutMs, &connection, &error); });
    if (status == VELMO_OK) {
      return "OK";
    }
    EXPECT_EQ(nullptr, connection);
    return shownError(status, error, endpoint.port);
  }

  void connectTo(const std::vector<PeerScript>& scripts) {
    startPeer(scripts);
    ASSERT_EQ("OK", connect());
  }

  /// Connects, lets the peer come to the end of its script, and goes on.
  void connectToEnd(const PeerScript& script) {
    startPeer({script});
    ASSERT_EQ("OK", connect());
    ASSERT_EQ("", peer->end());
  }

  /// @return "OK" and the name, or the failure. A connection that failed is not usable afterwards.
  std::string send(int timeoutMs = kLongMs) {
    std::array<char, VELMO_NAME_SIZE> name{"untouched"};
    velmo_error error{};
    const velmo_status status = timed(
        timeoutMs, [&] { return velmo_send(connection, &task, timeoutMs, name.data(), &error); });
    if (status == VELMO_OK) {
      EXPECT_TRUE(isUsable());
      return "OK " + std::string(name.data());
    }
    EXPECT_STREQ("untouched", name.data());
    EXPECT_EQ(status == VELMO_INVALID_ARGUMENT, isUsable());
    return shownError(status, error, endpoint.port);
  }

  /// Connects to a peer with this script, and sends.
  std::string sendTo(const PeerScript& script, int timeoutMs = kLongMs) {
    startPeer({script});
    const std::string connected = connect();
    return connected == "OK" ? send(timeoutMs) : "not connected: " + connected;
  }

  bool isUsable() const {
    return velmo_is_usable(connection) != 0;
  }

  void disconnect(int timeoutMs) {
    if (connection == nullptr) {
      return;
    }
    const SignalStorm storm;
    velmo_disconnect(std::exchange(connection, nullptr), timeoutMs);
  }

  /// Makes the request larger than all buffers on its way.
  void makeHuge() {
    m_command.assign(std::size_t{16} * 1024 * 1024, 'c');
    task.command = m_command.c_str();
  }

  std::optional<PeerProcess> peer;
  velmo_endpoint endpoint = endpointAt("127.0.0.1", 0);
  velmo_task task = taskOf("Normal", "/bin/true");
  velmo_connection* connection = nullptr;

 private:
  // Runs a call amid signals; it must keep its deadline.
  template <typename Call>
  static velmo_status timed(int timeoutMs, Call call) {
    const SignalStorm storm;
    const auto start = std::chrono::steady_clock::now();
    const velmo_status status = call();
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::steady_clock::now() - start)
                            .count();
    if (timeoutMs >= 0) {
      EXPECT_LE(passed, timeoutMs + kToleranceMs);
    }
    return status;
  }

  std::size_t m_descriptors = openDescriptors();
  std::string m_signalMask = signalMask();
  std::string m_command;
};

}  // namespace velmo::test

#endif
