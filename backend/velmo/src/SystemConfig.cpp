#include "SystemConfig.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/MemoryStream.h>
#include <Poco/NumberParser.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/SAXParser.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <new>
#include <optional>
#include <utility>

// What the parser throws passes unchanged; whatever the file lacks otherwise has a default, and
// nobody is told.

using Poco::XML::AutoPtr;
using Poco::XML::Document;
using Poco::XML::Element;
using Poco::XML::Node;

namespace {

constexpr int kNoPort = -1;
constexpr std::size_t kBlockSize = 8192;

// --- one element at a time ---

// The node type comes first: a processing instruction is named as its target.
bool isElement(const Node& node, const char* name) {
  return node.nodeType() == Node::ELEMENT_NODE && node.nodeName() == name;
}

// From sibling to sibling: a child list counts its way to every index anew.
template <typename Visit>
void forEachChild(const Element& parent, const char* name, Visit visit) {
  for (const Node* child = parent.firstChild(); child != nullptr; child = child->nextSibling()) {
    if (isElement(*child, name)) {
      visit(static_cast<const Element&>(*child));
    }
  }
}

// Deliberate: ports are not checked for their range, and an explicit -1 is no port either.
int parsePort(const std::string& text) {
  int port = 0;
  return Poco::NumberParser::tryParse(text, port, ',') ? port : kNoPort;
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

// Deliberate: only a root that is the first node counts; anything in front of it, a comment too,
// makes the configuration empty. A document type declaration is no child of the document here.
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

// Whether the file could be opened is not asked: the parser throws when it finds nothing to read.
std::string readFile(const std::string& path) {
  std::ifstream file(path);
  std::array<char, kBlockSize> block{};
  std::string text;
  do {
    file.read(block.data(), block.size());
    text.append(block.data(), static_cast<std::size_t>(file.gcount()));
  } while (file);
  return text;
}

// Throws what the parser has against the text, before there is a tree: the one of an ill-formed
// text the parser releases itself, and a deep one exhausts the stack.
void checkWellFormed(const std::string& text) {
  Poco::MemoryInputStream stream(text.data(), static_cast<std::streamsize>(text.size()));
  Poco::XML::InputSource source(stream);
  Poco::XML::SAXParser().parse(&source);
}

AutoPtr<Document> parse(const std::string& text) {
  Poco::MemoryInputStream stream(text.data(), static_cast<std::streamsize>(text.size()));
  Poco::XML::InputSource source(stream);
  return Poco::XML::DOMParser().parse(&source);
}

// The document's pool takes over what leaves the tree. A node that the pool has no memory for
// belongs to nobody.
void removeLeaf(Document& document, Node& parent, Node* leaf) {
  try {
    parent.removeChild(leaf);
  } catch (const std::bad_alloc&) {
    leaf->release();
    throw;
  }
  document.collectGarbage();
}

// Takes the nodes away from the leaves up. A node that is released releases those below it, each
// level on top of the other on the stack, which a deep file would exhaust.
void takeApart(Document& document) {
  document.suspendEvents();
  Node* node = &document;
  while (node != nullptr) {
    if (Node* child = node->firstChild()) {
      node = child;
      continue;
    }
    Node* parent = node->parentNode();
    if (parent != nullptr) {
      removeLeaf(document, *parent, node);
    }
    node = parent;
  }
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

SystemConfig::SystemConfig(const std::string& path) {
  const std::string text = readFile(path);
  checkWellFormed(text);
  AutoPtr<Document> document = parse(text);
  m_machines = readMachines(*document);
  takeApart(*document);
}

const std::vector<MachineConfig>& SystemConfig::getMachines() const {
  return m_machines;
}
