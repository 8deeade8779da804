#include "HostAddress.h"

#include <Poco/Net/DNS.h>
#include <Poco/Net/HostEntry.h>
#include <Poco/Net/NetException.h>
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>

namespace brix::velmo {

namespace {

bool isIPv4Address(const std::string& host) {
  in_addr address{};
  return inet_aton(host.c_str(), &address) != 0;
}

// An interface may follow: "fe80::1%eth0".
bool isIPv6Address(const std::string& host) {
  in6_addr address{};
  const std::string::size_type end = host.find('%');
  return inet_pton(AF_INET6, host.substr(0, end).c_str(), &address) == 1 &&
         (end == std::string::npos || if_nametoindex(host.c_str() + end + 1) != 0);
}

}  // namespace

// Deliberate: the smallest address, not the resolver's first. Services that listen on IPv4 alone
// are reached by names that have an IPv6 address too, such as "localhost". The networking library
// chose so until version 1.11; its later versions take the resolver's first.
std::string addressOf(const std::string& host) {
  if (isIPv4Address(host) || isIPv6Address(host)) {
    return host;
  }
  const auto addresses = Poco::Net::DNS::hostByName(host).addresses();
  if (addresses.empty()) {
    throw Poco::Net::HostNotFoundException("No address found for host", host);
  }
  return std::min_element(addresses.begin(), addresses.end())->toString();
}

}  // namespace brix::velmo
