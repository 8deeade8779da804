#include "SystemConfig.h"

#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <optional>
#include <utility>

#include "GroupedNumber.h"
#include "ModulesDocument.h"
#include "ServiceChoice.h"

// What the parser throws passes unchanged. Everything else has a default, and nothing is reported.

using Poco::XML::Document;
using Poco::XML::Element;
using Poco::XML::Node;

namespace {

// --- one element at a time ---

// Tests the type too: the name of a processing instruction is its target, which may be any name.
bool isElement(const Node& node, const char* name) {
  return node.nodeType() == Node::ELEMENT_NODE && node.nodeName() == name;
}

// Goes from sibling to sibling: a child list counts from the first child for every index.
template <typename Visit>
void forEachChild(const Element& parent, const char* name, Visit visit) {
  for (const Node* child = parent.firstChild(); child != nullptr; child = child->nextSibling()) {
    if (isElement(*child, name)) {
      visit(static_cast<const Element&>(*child));
    }
  }
}

// Deliberate: the range of a port is not checked, and an explicit -1 means no port. Callers get the
// number that the file has.
int parsePort(const std::string& text) {
  return brix::velmo::groupedNumber(text).value_or(brix::velmo::kNoPort);
}

std::optional<ModuleType> parseModule(const std::string& name) {
  if (name == "velmo") {
    return Velmo;
  }
  if (name == "fennick") {
    return Fennick;
  }
  if (name == "hollard") {
    return Hollard;
  }
  return std::nullopt;
}

HostConfig readHost(const Element& host) {
  std::vector<ModuleType> modules;
  forEachChild(host, "module", [&modules](const Element& module) {
    if (const auto type = parseModule(module.getAttribute("name"))) {
      modules.push_back(*type);
    }
  });
  return {host.getAttribute("name"), parsePort(host.getAttribute("websocket-port")),
          std::move(modules)};
}

MachineConfig readMachine(const Element& machine) {
  std::vector<HostConfig> hosts;
  forEachChild(machine, "host", [&hosts](const Element& host) { hosts.push_back(readHost(host)); });
  return {machine.getAttribute("id"), machine.getAttribute("hostname"),
          parsePort(machine.getAttribute("rmi-port")), std::move(hosts)};
}

// --- the document ---

// Deliberate: the root counts only if it is the first node. Anything in front of it, even a
// comment, makes the configuration empty; all programs of an installation have to read the same
// machines from a file. A document type declaration is not a child of the document here.
const Element* findSystem(const Document& document) {
  const Node* first = document.firstChild();
  if (document.doctype() != nullptr || !isElement(*first, "system")) {
    return nullptr;
  }
  return static_cast<const Element*>(first);
}

std::vector<MachineConfig> readMachines(const Document& document) {
  std::vector<MachineConfig> machines;
  if (const Element* system = findSystem(document)) {
    forEachChild(*system, "machine",
                 [&machines](const Element& machine) { machines.push_back(readMachine(machine)); });
  }
  return machines;
}

}  // namespace

const char* SystemConfig::s_szModulesXml = "/home/dorvan/var/conf/modules.xml";

HostConfig::HostConfig(const std::string& name, int webSocketPort, std::vector<ModuleType> modules)
    : m_name(name), m_webSocketPort(webSocketPort), m_modules(std::move(modules)) {}

const std::string& HostConfig::getName() const {
  return m_name;
}

int HostConfig::getWebSocketPort() const {
  return m_webSocketPort;
}

const std::vector<ModuleType>& HostConfig::getModules() const {
  return m_modules;
}

MachineConfig::MachineConfig(const std::string& id, const std::string& hostname,
                             int rmiRegistryPort, std::vector<HostConfig> hosts)
    : m_id(id),
      m_hostname(hostname),
      m_rmiRegistryPort(rmiRegistryPort),
      m_hosts(std::move(hosts)) {}

const std::string& MachineConfig::getId() const {
  return m_id;
}

const std::string& MachineConfig::getHostname() const {
  return m_hostname;
}

int MachineConfig::getRmiRegistryPort() const {
  return m_rmiRegistryPort;
}

const std::vector<HostConfig>& MachineConfig::getHosts() const {
  return m_hosts;
}

SystemConfig::SystemConfig(const std::string& path)
    : m_machines(readMachines(*brix::velmo::parseModules(path))) {}

const std::vector<MachineConfig>& SystemConfig::getMachines() const {
  return m_machines;
}
