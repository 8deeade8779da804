#include "HostAddresses.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <string>

namespace {

using velmo::client::addressesOf;
using velmo::client::addressText;
using velmo::client::SocketAddress;

std::string shown(const SocketAddress& address) {
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  getnameinfo(reinterpret_cast<const sockaddr*>(&address.storage), address.size, host.data(),
              host.size(), port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV);
  return std::string(host.data()) + " " + port.data();
}

TEST(HostAddressesTest, NumericHostIsItsOwnAddress) {
  for (const std::string host : {"127.0.0.1", "10.1.2.3", "::1", "2001:db8::5"}) {
    const auto addresses = addressesOf(host, 8080);
    ASSERT_TRUE(addresses.isOk());
    ASSERT_EQ(1U, addresses.value().size());
    EXPECT_EQ(host + " 8080", shown(addresses.value()[0]));
  }
}

TEST(HostAddressesTest, LocalNameIsLookedUp) {
  const auto addresses = addressesOf("localhost", 65535);
  ASSERT_TRUE(addresses.isOk());
  const std::string first = shown(addresses.value()[0]);
  EXPECT_TRUE(first == "127.0.0.1 65535" || first == "::1 65535") << first;
}

TEST(HostAddressesTest, AddressTextPutsColonsInBrackets) {
  EXPECT_EQ("host:80", addressText("host", 80));
  EXPECT_EQ("[::1]:80", addressText("::1", 80));
}

}  // namespace
