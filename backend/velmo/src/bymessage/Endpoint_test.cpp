#include "Endpoint.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <string>
#include <vector>

namespace {

using brix::velmo::Endpoint;
using brix::velmo::findEndpoint;
using brix::velmo::portOf;

// "host:port", or nothing.
std::optional<std::string> found(const std::vector<MachineConfig>& machines) {
  const std::optional<Endpoint> endpoint = findEndpoint(machines);
  if (!endpoint) {
    return std::nullopt;
  }
  return endpoint->host + ":" + std::to_string(endpoint->port);
}

HostConfig velmoHost(int port) {
  return {"name", port, {Velmo}};
}

MachineConfig velmoMachine(const std::string& hostname, int port) {
  return {"id", hostname, 1099, {velmoHost(port)}};
}

TEST(EndpointTest, IsTheMachinesHostNameAndTheHostsPort) {
  EXPECT_EQ("h:8080", found({{"id", "h", 1099, {{"name", 8080, {Velmo}}}}}));
}

TEST(EndpointTest, HostIsRecognisedByTheVelmoModuleAmongItsModules) {
  struct Row {
    std::vector<ModuleType> modules;
    bool found;
    std::string reason;
  };
  const std::vector<Row> rows{
      {{Velmo}, true, "alone"},
      {{Velmo, Fennick, Hollard}, true, "first"},
      {{Fennick, Velmo, Hollard}, true, "in between"},
      {{Fennick, Hollard, Velmo}, true, "last"},
      {{Velmo, Velmo}, true, "twice"},
      {{}, false, "no modules"},
      {{Fennick, Hollard}, false, "others"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.found, found({{"id", "h", 1099, {{"name", 80, row.modules}}}}).has_value())
        << row.reason;
  }
}

TEST(EndpointTest, LastMatchInDocumentOrderWins) {
  const MachineConfig empty("id", "empty", 1, {});
  const MachineConfig other("id", "other", 1, {{"name", 9, {Fennick}}});
  struct Row {
    std::vector<MachineConfig> machines;
    std::optional<std::string> endpoint;
    std::string reason;
  };
  const std::vector<Row> rows{
      {{}, std::nullopt, "no machines"},
      {{empty, other}, std::nullopt, "no match"},
      {{velmoMachine("a", 1), velmoMachine("b", 2)}, "b:2", "two machines"},
      {{velmoMachine("b", 2), velmoMachine("a", 1)}, "a:1", "the other way round"},
      {{{"id", "a", 1, {velmoHost(1), velmoHost(2)}}}, "a:2", "two hosts of a machine"},
      {{velmoMachine("a", 1), empty, other}, "a:1", "what follows is no match"},
      {{{"id", "a", 1, {velmoHost(1), {"name", 9, {Hollard}}}}}, "a:1", "nor is the next host"},
      {{velmoMachine("a", 1), velmoMachine("b", -1)}, std::nullopt, "the last has no port"},
      {{velmoMachine("a", 1), velmoMachine("", 2)}, std::nullopt, "the last has no host name"},
      {{{"id", "a", 1, {velmoHost(1), velmoHost(-1)}}}, std::nullopt, "its last host has no port"},
      {{velmoMachine("a", -1), velmoMachine("b", 2)}, "b:2", "the first has no port"},
      {{velmoMachine("", 1), velmoMachine("b", 2)}, "b:2", "the first has no host name"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.endpoint, found(row.machines)) << row.reason;
  }
}

TEST(EndpointTest, WithoutPortOrHostNameThereIsNone) {
  EXPECT_EQ(std::nullopt, found({velmoMachine("h", -1)}));
  EXPECT_EQ(std::nullopt, found({velmoMachine("", 8080)}));
  EXPECT_EQ(std::nullopt, found({velmoMachine("", -1)}));
}

TEST(EndpointTest, HostNameIsTakenAsItIs) {
  EXPECT_EQ(" h :80", found({velmoMachine(" h ", 80)}));
  EXPECT_EQ(" :80", found({velmoMachine(" ", 80)}));
}

TEST(EndpointTest, OnlyMinusOneIsNoPort) {
  EXPECT_EQ("h:0", found({velmoMachine("h", 0)}));
  EXPECT_EQ("h:65534", found({velmoMachine("h", -2)}));
  EXPECT_EQ("h:65535", found({velmoMachine("h", 65535)}));
  EXPECT_EQ("h:65535", found({velmoMachine("h", 131071)}));
}

TEST(EndpointTest, PortIsTheLowerSixteenBits) {
  struct Row {
    int number;
    int port;
  };
  const std::vector<Row> rows{
      {0, 0},      {1, 1},        {8080, 8080},    {65535, 65535},   {65536, 0},
      {65537, 1},  {70000, 4464}, {131071, 65535}, {INT_MAX, 65535}, {INT_MIN, 0},
      {-1, 65535}, {-2, 65534},   {-65536, 0},     {-70000, 61072},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.port, portOf(row.number)) << row.number;
  }
}

}  // namespace
