#ifndef VELMO_SYSTEMCONFIG_H
#define VELMO_SYSTEMCONFIG_H

/// @file
/// What "modules.xml" says.

#include <string>
#include <vector>

#include "Export.h"

/// A kind of module in "modules.xml". Any other name in the file is ignored.
enum ModuleType : int {
  Velmo = 0,    ///< "velmo"
  Fennick = 1,  ///< "fennick"
  Hollard = 2   ///< "hollard"
};

/// One host of a machine: a service process. A plain value. The references that it returns live as
/// long as it does; only an assignment to it changes them.
class VELMO_EXPORT HostConfig {
 public:
  /// Takes the values unchecked.
  /// @param name           name of the host; may be empty
  /// @param webSocketPort  any number; -1: none
  /// @param modules        modules that the host runs; may be empty or repeat one
  /// @throws std::bad_alloc  memory runs out
  HostConfig(const std::string& name, int webSocketPort, std::vector<ModuleType> modules);

  /// The name; empty if the file has none. The network name is MachineConfig::getHostname().
  const std::string& getName() const;

  /// The port for WebSocket connections; -1 if the file has no number. The range is not checked.
  int getWebSocketPort() const;

  /// The modules in document order, repeated ones included.
  const std::vector<ModuleType>& getModules() const;

 private:
  std::string m_name;
  int m_webSocketPort;
  std::vector<ModuleType> m_modules;
};

/// One machine of the installation. A plain value. The references that it returns live as long as
/// it does; only an assignment to it changes them.
class VELMO_EXPORT MachineConfig {
 public:
  /// Takes the values unchecked.
  /// @param id               identifier of the machine; may be empty
  /// @param hostname         name by which the network knows the machine; may be empty
  /// @param rmiRegistryPort  any number; -1: none
  /// @param hosts            hosts of the machine; may be empty
  /// @throws std::bad_alloc  memory runs out
  MachineConfig(const std::string& id, const std::string& hostname, int rmiRegistryPort,
                std::vector<HostConfig> hosts);

  /// The identifier; empty if the file has none.
  const std::string& getId() const;

  /// The name by which the network knows the machine; empty if the file has none.
  const std::string& getHostname() const;

  /// The port of the RMI registry; -1 if the file has no number. The range is not checked.
  int getRmiRegistryPort() const;

  /// The hosts in document order, also those without modules.
  const std::vector<HostConfig>& getHosts() const;

 private:
  std::string m_id;
  std::string m_hostname;
  int m_rmiRegistryPort;
  std::vector<HostConfig> m_hosts;
};

/// The machines, hosts and modules of the installation, as "modules.xml" lists them.
/// velmo-modules(5) describes the file.
///
/// The constructor reads the file. A copy is independent. Several threads may construct objects at
/// the same time, and read one object.
///
/// @par Examples
/// @code
/// const SystemConfig config(SystemConfig::s_szModulesXml);
/// for (const MachineConfig& machine : config.getMachines()) {
///   for (const HostConfig& host : machine.getHosts()) {
///     std::cout << machine.getHostname() << ':'
///               << host.getWebSocketPort() << '\n';
///   }
/// }
/// @endcode
///
/// @par Caveats
/// - If the path is a pipe, the constructor blocks until it finds a fault or the last writer closes
///   the pipe.
/// - All nodes of the file are held in memory during the call. A very long chain of entities, each
///   defined by the next, overflows the stack and ends the process: see host-safety.md.
/// - The time for one tag or comment grows with the square of its length: see velmo-modules(5).
class VELMO_EXPORT SystemConfig {
 public:
  /// Reads the file, but no other file that it names. Stops at the first fault. If `system` is not
  /// the very first node, there are no machines, and that is not an error.
  /// @param path  path of the file; empty: the file is missing
  /// @throws Poco::XML::SAXParseException  the file is missing, unreadable, empty, a directory, not
  ///                                       well-formed, or uses text of another file. It derives
  ///                                       from Poco::Exception and std::exception; `what()`
  ///                                       returns its name, `displayText()` the reason and the
  ///                                       place.
  /// @throws Poco::PoolOverflowException   the elements and attributes have more than 509 different
  ///                                       names. A name under another prefix or namespace counts
  ///                                       as another name. Derives from the same two.
  /// @throws std::bad_alloc                memory runs out; the parser may then leak memory
  SystemConfig(const std::string& path);

  /// The machines in document order. The reference lives as long as the object.
  const std::vector<MachineConfig>& getMachines() const;

  /// Path of the file that VelmoFacade reads: "/home/dorvan/var/conf/modules.xml" unless a program
  /// sets another one. The program owns that text. Set it before you start threads that use it.
  static const char* s_szModulesXml;

 private:
  std::vector<MachineConfig> m_machines;
};

#endif
