// The wrapper over a library whose calls the tests answer: finding a service, and connections.

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "FakeLibraryTest.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using velmo::Connection;
using velmo::Deadline;
using velmo::Endpoint;
using velmo::Task;
using velmo::test::failAllocations;
using velmo::test::failing;
using velmo::test::FakeLibraryTest;
using velmo::test::restoreAllocations;
using velmo::test::thrownBy;

class VelmoHppConnectionTest : public FakeLibraryTest {
 protected:
  VelmoHppConnectionTest() {
    library.isUsable = [](auto) { return 1; };
  }

  const Task task{"Normal", "true"};
};

TEST_F(VelmoHppConnectionTest, EveryFieldOfAnEndpointIsPassedOn) {
  std::atomic<int> stop{7};
  library.connect = [connect = library.connect](const velmo_endpoint* given, int timeout, auto out,
                                                auto error) {
    EXPECT_EQ(sizeof(velmo_endpoint), given->size);
    EXPECT_STREQ("host", given->host);
    EXPECT_EQ(8080, given->port);
    EXPECT_STREQ("/path", given->path);
    EXPECT_STREQ("/modules.xml", given->modules_xml);
    EXPECT_EQ(7, *given->stop);
    EXPECT_EQ(VELMO_NO_LIMIT, timeout);
    return connect(given, timeout, out, error);
  };
  const Connection connection({"host", 8080, "/path", "/modules.xml", &stop}, Deadline::never());
}

TEST_F(VelmoHppConnectionTest, EndpointHasDefaults) {
  library.connect = [connect = library.connect](const velmo_endpoint* given, int timeout, auto out,
                                                auto error) {
    EXPECT_STREQ("", given->host);
    EXPECT_EQ(0, given->port);
    EXPECT_STREQ("", given->path);
    EXPECT_STREQ("", given->modules_xml);
    EXPECT_EQ(nullptr, given->stop);
    return connect(given, timeout, out, error);
  };
  const Connection connection({}, 1s);
}

TEST_F(VelmoHppConnectionTest, FailureToConnectIsThrown) {
  library.connect = [](auto, auto, auto, velmo_error* error) {
    return failing(VELMO_UNREACHABLE, error);
  };
  EXPECT_EQ("8: status 8", thrownBy([] { Connection({}, 1s); }));
}

TEST_F(VelmoHppConnectionTest, TextOfAnEndpointWithANulIsRefusedBeforeTheCall) {
  library.connect = [](auto...) {
    ADD_FAILURE() << "called";
    return VELMO_SYSTEM_ERROR;
  };
  const std::string nul = "a\0b"s;
  EXPECT_EQ("1: host contains a NUL byte", thrownBy([&] { Connection({nul}, 1s); }));
  EXPECT_EQ("1: path contains a NUL byte", thrownBy([&] { Connection({"", 1, nul}, 1s); }));
  EXPECT_EQ("1: modules_xml contains a NUL byte", thrownBy([&] {
              Connection({"", 1, "", nul}, 1s);
            }));
  EXPECT_EQ("1: modules_xml contains a NUL byte", thrownBy([&] { velmo::findService(nul); }));
}

TEST_F(VelmoHppConnectionTest, TaskIsSentAndItsNameReturned) {
  library.send = [](auto, const velmo_task* given, int timeout, char* name, auto) {
    EXPECT_STREQ("true", given->command);
    EXPECT_EQ(0, timeout);
    std::strcpy(name, std::string(255, 'n').c_str());
    failAllocations();  // the name is returned even without memory
    return VELMO_OK;
  };
  Connection connection({}, 1s);
  const std::string name = connection.send(task, 0s);
  restoreAllocations();
  EXPECT_EQ(std::string(255, 'n'), name);
}

TEST_F(VelmoHppConnectionTest, FailureToSendIsThrown) {
  Connection connection({}, 1s);
  library.send = [](auto, auto, auto, auto, velmo_error* error) {
    return failing(VELMO_IN_DOUBT, error);
  };
  EXPECT_EQ("in doubt, 11: status 11", thrownBy([&] { connection.send(task, 1s); }));
  library.send = [](auto, auto, auto, auto, velmo_error* error) {
    return failing(VELMO_REFUSED, error);
  };
  EXPECT_EQ("10: status 10", thrownBy([&] { connection.send(task, 1s); }));
}

TEST_F(VelmoHppConnectionTest, UsabilityIsTheLibrarys) {
  const Connection connection({}, 1s);
  EXPECT_TRUE(connection.isUsable());
  library.isUsable = [](auto) { return 0; };
  EXPECT_FALSE(connection.isUsable());
}

TEST_F(VelmoHppConnectionTest, DestructorDisconnectsWithoutWaiting) {
  { const Connection connection({}, 1s); }
  EXPECT_EQ((std::vector<int>{0}), library.disconnects);
}

TEST_F(VelmoHppConnectionTest, CloseWaitsAndTheDestructorDoesNothingMore) {
  {
    Connection connection({}, 1s);
    connection.close(Deadline::never());
    connection.close(1s);
    EXPECT_FALSE(connection.isUsable());
    EXPECT_EQ("1: connection was closed or moved from",
              thrownBy([&] { connection.send(task, 1s); }));
  }
  EXPECT_EQ((std::vector<int>{VELMO_NO_LIMIT}), library.disconnects);
}

TEST_F(VelmoHppConnectionTest, MovedConnectionIsTheSameOne) {
  Connection first({}, 1s);
  Connection second = std::move(first);
  EXPECT_TRUE(second.isUsable());
  EXPECT_TRUE(library.disconnects.empty());
}

TEST_F(VelmoHppConnectionTest, ConnectionThatWasMovedFromIsNotUsable) {
  library.send = [](auto...) {
    ADD_FAILURE() << "called";
    return VELMO_OK;
  };
  Connection first({}, 1s);
  const Connection second = std::move(first);
  // NOLINTBEGIN(bugprone-use-after-move): the rule of this test
  EXPECT_FALSE(first.isUsable());
  EXPECT_EQ("1: connection was closed or moved from", thrownBy([&] { first.send(task, 1s); }));
  first.close(1s);
  // NOLINTEND(bugprone-use-after-move)
  EXPECT_TRUE(library.disconnects.empty());
}

TEST_F(VelmoHppConnectionTest, AssignmentDisconnectsTheConnectionBefore) {
  Connection first({}, 1s);
  first = Connection({}, 1s);
  EXPECT_EQ(1, library.connections);
  EXPECT_EQ((std::vector<int>{0}), library.disconnects);
}

TEST_F(VelmoHppConnectionTest, ConnectionCanBeMovedOnly) {
  EXPECT_FALSE(std::is_copy_constructible_v<Connection>);
  EXPECT_FALSE(std::is_copy_assignable_v<Connection>);
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<Connection>);
  EXPECT_TRUE(std::is_nothrow_move_assignable_v<Connection>);
}

TEST_F(VelmoHppConnectionTest, ServiceIsFound) {
  library.findService = [](const char* modules, char* host, int* port, auto) {
    EXPECT_STREQ("/modules.xml", modules);
    std::strcpy(host, "machine");
    *port = 8080;
    return VELMO_OK;
  };
  const Endpoint endpoint = velmo::findService("/modules.xml");
  EXPECT_EQ("machine", endpoint.host);
  EXPECT_EQ(8080, endpoint.port);
  EXPECT_EQ("", endpoint.path);
  EXPECT_EQ("", endpoint.modulesXml);
  EXPECT_EQ(nullptr, endpoint.stop);
}

TEST_F(VelmoHppConnectionTest, ServiceThatIsNotFoundIsAnError) {
  library.findService = [](const char* modules, auto, auto, velmo_error* error) {
    EXPECT_STREQ("", modules);
    return failing(VELMO_NOT_CONFIGURED, error);
  };
  EXPECT_EQ("2: status 2", thrownBy([] { velmo::findService(); }));
}

}  // namespace
