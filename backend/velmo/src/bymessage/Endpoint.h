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

/// The host name of the machine, and the port of its host, that run the velmo module. If several
/// hosts run it, the last one in document order counts.
///
/// @return nothing if no host runs it; or if the last one has the port -1 or its machine has no
///         host name, even if an earlier one is usable
std::optional<Endpoint> findEndpoint(const std::vector<MachineConfig>& machines);

}  // namespace brix::velmo

#endif
