#include "Endpoint.h"

#include <algorithm>

namespace brix::velmo {

namespace {

constexpr int kNoPort = -1;

bool runsVelmo(const HostConfig& host) {
  const std::vector<ModuleType>& modules = host.getModules();
  return std::find(modules.begin(), modules.end(), Velmo) != modules.end();
}

}  // namespace

// Deliberate: the range is not checked, and the upper bits are dropped. All clients of an
// installation have to find the same port.
unsigned short portOf(int number) {
  return static_cast<unsigned short>(number);
}

// Deliberate: the last match wins, and both values come from it. An unusable last match does not
// fall back to an earlier one: all clients of an installation have to find the same service.
std::optional<Endpoint> findEndpoint(const std::vector<MachineConfig>& machines) {
  std::string hostname;
  int port = kNoPort;
  for (const MachineConfig& machine : machines) {
    for (const HostConfig& host : machine.getHosts()) {
      if (runsVelmo(host)) {
        hostname = machine.getHostname();
        port = host.getWebSocketPort();
      }
    }
  }
  if (hostname.empty() || port == kNoPort) {
    return std::nullopt;
  }
  return Endpoint{hostname, portOf(port)};
}

}  // namespace brix::velmo
