#ifndef VELMO_SERVICECHOICE_H
#define VELMO_SERVICECHOICE_H

#include <optional>
#include <string>

namespace brix::velmo {

/// The marker of "modules.xml" for a port that is missing or not a number.
constexpr int kNoPort = -1;

/// Chooses the host of "modules.xml" on which clients find the service: the last one that runs the
/// velmo module, in document order.
class ServiceChoice {
 public:
  /// What the file says of that host.
  struct Host {
    std::string hostname;  ///< of its machine; never empty
    int port;              ///< as the file has it, in any range, but never kNoPort
  };

  /// Takes the next host that runs the velmo module.
  void add(const std::string& machineHostname, int webSocketPort);

  /// @return nothing if there is no such host; or if the last one has no port or its machine has
  ///         no host name, even if an earlier one is usable
  std::optional<Host> chosen() const;

 private:
  std::string m_hostname;
  int m_port = kNoPort;
};

}  // namespace brix::velmo

#endif
