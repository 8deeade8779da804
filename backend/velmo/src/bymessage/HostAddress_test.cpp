#include "HostAddress.h"

#include <Poco/Net/NetException.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FakeResolver.h"

namespace {

using brix::velmo::addressOf;
using velmo::test::FakeResolver;

std::string addressAmong(const std::vector<std::string>& addresses) {
  const FakeResolver resolver(addresses);
  return addressOf("name");
}

// Whether the host is looked up.
bool isName(const std::string& host) {
  const FakeResolver resolver({"192.0.2.1"});
  const std::string address = addressOf(host);
  EXPECT_EQ(resolver.names().empty() ? host : "192.0.2.1", address);
  return resolver.names() == std::vector<std::string>{host};
}

TEST(HostAddressTest, AddressIsNotLookedUp) {
  for (const std::string host : {"127.0.0.1", "10.1", "0.0.0.0", "::1", "::", "fe80::1%lo"}) {
    EXPECT_FALSE(isName(host)) << host;
  }
}

TEST(HostAddressTest, EverythingElseIsAName) {
  for (const std::string host : {"", "localhost", "/run/velmo.socket", "[::1]", "[fe80::1%lo]",
                                 "0:0:0", "1.2.3.4.5", "fe80::1%nowhere"}) {
    EXPECT_TRUE(isName(host)) << host;
  }
}

TEST(HostAddressTest, IPv4AddressComesBeforeIPv6Addresses) {
  EXPECT_EQ("127.0.0.1", addressAmong({"::1", "127.0.0.1"}));
  EXPECT_EQ("203.0.113.9", addressAmong({"2001:db8::1", "::1", "203.0.113.9"}));
}

TEST(HostAddressTest, SmallestOfSeveralAddressesIsTaken) {
  EXPECT_EQ("10.0.0.2", addressAmong({"192.0.2.1", "10.0.0.10", "10.0.0.2"}));
  EXPECT_EQ("2001:db8::2", addressAmong({"2001:db8::a", "2001:db8::2"}));
}

TEST(HostAddressTest, OnlyAddressIsTaken) {
  EXPECT_EQ("192.0.2.1", addressAmong({"192.0.2.1"}));
  EXPECT_EQ("::1", addressAmong({"::1", "::1"}));
}

TEST(HostAddressTest, NameWithoutAddressThrows) {
  const FakeResolver resolver({});
  try {
    addressOf("nowhere.example");
    ADD_FAILURE() << "no exception";
  } catch (const Poco::Net::HostNotFoundException& exception) {
    EXPECT_EQ("Host not found: nowhere.example", exception.displayText());
  }
}

}  // namespace
