#ifndef VELMO_HOSTADDRESSES_H
#define VELMO_HOSTADDRESSES_H

#include <sys/socket.h>

#include <string>
#include <vector>

#include "Fault.h"

namespace velmo::client {

/// The address of a port on a machine.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = 0;
};

/// The addresses of a host, in the order in which they should be tried; at least one, at most 16.
///
/// A numeric address (IPv4 or IPv6) is not looked up. A name is looked up with getaddrinfo(), which
/// no timeout bounds.
Result<std::vector<SocketAddress>> addressesOf(const std::string& host, int port);

/// "host:port", or "[host]:port" for a numeric IPv6 address.
std::string addressText(const std::string& host, int port);

}  // namespace velmo::client

#endif
