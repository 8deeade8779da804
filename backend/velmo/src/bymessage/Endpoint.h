#ifndef VELMO_ENDPOINT_H
#define VELMO_ENDPOINT_H

#include <optional>
#include <string>
#include <vector>

#include "../SystemConfig.h"

namespace brix::velmo {

/// Where the service listens.
struct Endpoint {
  std::string host;  ///< never empty
  unsigned short port = 0;
};

/// The lower 16 bits of a number: 70000 is the port 4464, -2 the port 65534, 65536 the port 0.
unsigned short portOf(int number);

/// The host name of the machine, and the port of its host, that run the velmo module: of several
/// hosts with that module the last one in document order.
///
/// @return nothing when no host runs it, or when the last one has the port -1 or its machine no
///         host name, whatever the others have
std::optional<Endpoint> findEndpoint(const std::vector<MachineConfig>& machines);

}  // namespace brix::velmo

#endif
