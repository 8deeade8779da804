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

// Deliberate: no check of the range, what does not fit is cut.
unsigned short portOf(int number) {
  return static_cast<unsigned short>(number);
}

// Deliberate: the last match wins, and both values are its own. When it is of no use, neither are
// the ones before it.
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
