#ifndef VELMO_HOSTPORT_H
#define VELMO_HOSTPORT_H

#include <string>

namespace velmo::cli {

/// Where a service listens.
struct HostPort {
  std::string host;  ///< a name or an address, without brackets
  int port;          ///< 1 to 65535
};

/// Reads "host:8080" or "[::1]:8080".
/// @throws Failure  Status::invalidArgument
HostPort parseHostPort(const std::string& text);

}  // namespace velmo::cli

#endif
