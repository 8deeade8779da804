#ifndef VELMO_TEST_MODULESFILE_H
#define VELMO_TEST_MODULESFILE_H

#include <gtest/gtest.h>

#include <string>

#include <velmo/SystemConfig.h>
#include "TemporaryDirectory.h"

namespace velmo::test {

/// A host as one text: "name:port[0 2]".
inline std::string shown(const HostConfig& host) {
  std::string modules;
  for (const ModuleType module : host.getModules()) {
    modules += (modules.empty() ? "" : " ") + std::to_string(module);
  }
  return host.getName() + ":" + std::to_string(host.getWebSocketPort()) + "[" + modules + "]";
}

/// A machine as one text: "id@hostname:port{hosts}".
inline std::string shown(const MachineConfig& machine) {
  std::string hosts;
  for (const HostConfig& host : machine.getHosts()) {
    hosts += (hosts.empty() ? "" : " ") + shown(host);
  }
  return machine.getId() + "@" + machine.getHostname() + ":" +
         std::to_string(machine.getRmiRegistryPort()) + "{" + hosts + "}";
}

/// A configuration as one text; empty without machines.
inline std::string shown(const SystemConfig& config) {
  std::string machines;
  for (const MachineConfig& machine : config.getMachines()) {
    machines += (machines.empty() ? "" : " ") + shown(machine);
  }
  return machines;
}

/// Restores SystemConfig::s_szModulesXml at the end of its scope.
class ModulesXmlKeeper {
 public:
  ModulesXmlKeeper() = default;
  ~ModulesXmlKeeper() {
    SystemConfig::s_szModulesXml = m_before;
  }
  ModulesXmlKeeper(const ModulesXmlKeeper&) = delete;
  ModulesXmlKeeper& operator=(const ModulesXmlKeeper&) = delete;

 private:
  const char* m_before = SystemConfig::s_szModulesXml;
};

/// Fixture of tests that write and read a modules.xml.
class ModulesFileTest : public testing::Test {
 protected:
  /// Reads a file with these contents; returns the configuration as one text.
  std::string read(const std::string& contents) const {
    return shown(SystemConfig(directory.writeFile("modules.xml", contents)));
  }

  TemporaryDirectory directory;
  ModulesXmlKeeper keeper;
};

}  // namespace velmo::test

#endif
