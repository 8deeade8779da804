#include "SystemConfig.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMBuilder.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/NumberParser.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/SAX/XMLFilterImpl.h>
#include <Poco/XML/XMLException.h>

#include <cerrno>
#include <exception>
#include <fstream>
#include <istream>
#include <new>
#include <optional>
#include <utility>

// What the parser throws passes unchanged. Whatever else the file lacks has a default, and is not
// reported.

using Poco::XML::AutoPtr;
using Poco::XML::Document;
using Poco::XML::Element;
using Poco::XML::InputSource;
using Poco::XML::Node;

namespace {

constexpr int kNoPort = -1;

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

// --- parsing ---

// A DOMParser without a name pool is a SAXParser with these two features under a DOMBuilder.
// Partial reads hand the parser what has arrived instead of waiting for a full block.
void configure(Poco::XML::SAXParser& parser) {
  parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, true);
  parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACE_PREFIXES, true);
  parser.setFeature(Poco::XML::SAXParser::FEATURE_PARTIAL_READS, true);
}

// Stands between the two. A DOMBuilder releases the tree of a failed parse recursively, and a deep
// tree would overflow the stack. So the failure is kept back, and the builder returns the partial
// tree. Only standard exceptions are caught: the cancellation of a thread must go on.
class Reader final : public Poco::XML::XMLFilterImpl {
 public:
  Reader(Poco::XML::SAXParser& parser, std::istream& stream)
      : XMLFilterImpl(&parser), m_stream(stream) {}

  using XMLFilterImpl::parse;

  void parse(InputSource* source) override {
    try {
      XMLFilterImpl::parse(source);
    } catch (const std::exception&) {
      keepFailure();
    }
  }

  // An exception that passes through the parser underneath, which is written in C, leaks.
  void startElement(const std::string& uri, const std::string& localName, const std::string& name,
                    const Poco::XML::Attributes& attributes) override {
    try {
      XMLFilterImpl::startElement(uri, localName, name, attributes);
    } catch (const std::exception&) {
      keepFailure();
      stop();
    }
  }

  void rethrowFailure() const {
    if (m_failure != nullptr) {
      std::rethrow_exception(m_failure);
    }
  }

 private:
  // The first one counts: the end of the stream is a fault too.
  void keepFailure() {
    if (m_failure == nullptr) {
      m_failure = std::current_exception();
    }
  }

  // The builder gets no more elements of this block, and no other block is read.
  void stop() {
    getParent()->setContentHandler(nullptr);
    m_stream.setstate(std::ios::badbit);
  }

  std::istream& m_stream;
  std::exception_ptr m_failure;
};

// A node that is removed goes to the document's pool. If the pool has no memory for it, the node is
// out of the tree already and belongs to nobody.
void removeLeaf(Document& document, Node& parent, Node* leaf) {
  try {
    parent.removeChild(leaf);
  } catch (const std::bad_alloc&) {
    leaf->release();
  }
  document.collectGarbage();
}

// Takes the nodes away from the leaves up: a node releases its children recursively, and a deep
// tree would overflow the stack.
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

// Owns a document that may be deep.
class Tree {
 public:
  explicit Tree(Document* document) : m_document(document) {}
  ~Tree() {
    takeApart(*m_document);
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  const Document& document() const {
    return *m_document;
  }

 private:
  AutoPtr<Document> m_document;
};

// Whether the file could be opened is not tested: the parser throws when there is nothing to read.
std::vector<MachineConfig> readFile(const std::string& path) {
  std::ifstream file(path);
  InputSource source(file);
  Poco::XML::SAXParser parser;
  configure(parser);
  Reader reader(parser, file);
  const Tree tree(Poco::XML::DOMBuilder(reader).parse(&source));
  reader.rethrowFailure();
  return readMachines(tree.document());
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

// The parser reports a failed allocation as an exception of its own, at times as a fault of the
// text. errno tells the two apart.
SystemConfig::SystemConfig(const std::string& path) {
  errno = 0;
  try {
    m_machines = readFile(path);
  } catch (const Poco::XML::XMLException&) {
    if (errno == ENOMEM) {
      throw std::bad_alloc();
    }
    throw;
  }
}

const std::vector<MachineConfig>& SystemConfig::getMachines() const {
  return m_machines;
}
