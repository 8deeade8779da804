#include "Endpoint.h"

#include <algorithm>

#include "ServiceChoice.h"

namespace brix::velmo {

namespace {

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

std::optional<Endpoint> findEndpoint(const std::vector<MachineConfig>& machines) {
  ServiceChoice choice;
  for (const MachineConfig& machine : machines) {
    for (const HostConfig& host : machine.getHosts()) {
      if (runsVelmo(host)) {
        choice.add(machine.getHostname(), host.getWebSocketPort());
      }
    }
  }
  const std::optional<ServiceChoice::Host> chosen = choice.chosen();
  if (!chosen) {
    return std::nullopt;
  }
  return Endpoint{chosen->hostname, portOf(chosen->port)};
}

}  // namespace brix::velmo
