#ifndef VELMO_TEST_INSTALLATIONANDPEERTEST_H
#define VELMO_TEST_INSTALLATIONANDPEERTEST_H

#include <gtest/gtest.h>
#include <velmo/velmo.h>

#include "PeerProcess.h"
#include "ScriptedPeer.h"
#include "TaskInstallation.h"

namespace velmo::test {

/// Fixture with an open installation, and a peer that answers two requests.
class InstallationAndPeerTest : public testing::Test {
 protected:
  InstallationAndPeerTest() : peer({answering({naming("first"), naming("second")})}) {
    place.writeHomePriorities("Normal=50\n");
    place.writeConfPriorities("");
    place.directory.makeDirectory("jobs");
    task.size = sizeof task;
    task.priority_class = "Normal";
    task.command = "echo";
    unknown = task;
    unknown.priority_class = "Unknown";
    endpoint.size = sizeof endpoint;
    endpoint.host = "127.0.0.1";
    endpoint.port = peer.port();
    EXPECT_EQ(VELMO_OK, velmo_open(nullptr, &handle, nullptr));
  }

  ~InstallationAndPeerTest() override {
    velmo_disconnect(connection, 0);
    velmo_close(handle);
  }

  velmo_status submit(const velmo_task& given, unsigned flags = 0) {
    return velmo_submit(handle, &given, 1000, flags, nullptr, nullptr);
  }

  velmo_status findJob(const char* directory) {
    velmo_job job{};
    return velmo_find_job(handle, directory, "key", 0, 0, &job, nullptr);
  }

  PeerProcess peer;  // first: it forks
  TaskInstallation place;
  velmo_task task{};
  velmo_task unknown{};
  velmo_endpoint endpoint{};
  velmo_installation* handle = nullptr;
  velmo_connection* connection = nullptr;
};

}  // namespace velmo::test

#endif
