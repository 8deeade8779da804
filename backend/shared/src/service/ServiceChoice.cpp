#include "ServiceChoice.h"

namespace brix::velmo {

// Deliberate: the last match wins, and both values come from it. An unusable last match does not
// fall back to an earlier one: all clients of an installation have to find the same service.
void ServiceChoice::add(const std::string& machineHostname, int webSocketPort) {
  m_hostname = machineHostname;
  m_port = webSocketPort;
}

std::optional<ServiceChoice::Host> ServiceChoice::chosen() const {
  if (m_hostname.empty() || m_port == kNoPort) {
    return std::nullopt;
  }
  return Host{m_hostname, m_port};
}

}  // namespace brix::velmo
