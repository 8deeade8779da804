#include "ModulesDocument.h"

#include <Poco/DOM/DOMBuilder.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/SAX/XMLFilterImpl.h>
#include <Poco/XML/XMLException.h>

#include <cerrno>
#include <exception>
#include <fstream>
#include <istream>
#include <new>

#include "CancellationGuard.h"

namespace brix::velmo {

namespace {

using Poco::XML::Document;
using Poco::XML::InputSource;
using Poco::XML::Node;

// --- reading ---

// A DOMParser without a name pool is a SAXParser with the first two features under a DOMBuilder.
// Partial reads give the parser what has arrived, instead of waiting for a full block.
void configure(Poco::XML::SAXParser& parser) {
  parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, true);
  parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACE_PREFIXES, true);
  parser.setFeature(Poco::XML::SAXParser::FEATURE_PARTIAL_READS, true);
}

// Filters what the parser sends to the builder. After a failed parse, a DOMBuilder releases its
// partial tree recursively, and a deep tree would overflow the stack. The filter holds the failure
// back, so that the builder returns the partial tree. It catches standard exceptions only: the
// cancellation of a thread must continue.
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

  // The parser below this one is written in C: an exception that passes through it leaks memory.
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
  // Keeps the first failure: after stop(), the parser also reports that the file ends too early.
  void keepFailure() {
    if (m_failure == nullptr) {
      m_failure = std::current_exception();
    }
  }

  // The builder gets no more elements of this block, and no further block is read.
  void stop() {
    getParent()->setContentHandler(nullptr);
    m_stream.setstate(std::ios::badbit);
  }

  std::istream& m_stream;
  std::exception_ptr m_failure;
};

// Does not test whether the file could be opened: the parser throws if it reads nothing. A thread
// that is cancelled here would release a partial tree recursively, and lose the descriptor.
ModulesDocument parse(const std::string& path) {
  const imutils::CancellationGuard uncancelled;
  std::ifstream file(path);
  InputSource source(file);
  Poco::XML::SAXParser parser;
  configure(parser);
  Reader reader(parser, file);
  ModulesDocument document(Poco::XML::DOMBuilder(reader).parse(&source));
  reader.rethrowFailure();
  return document;
}

// --- releasing ---

// A node that is removed goes to the document's pool. If the pool has no memory for it, the node
// has already left the tree and has no owner.
void removeLeaf(Document& document, Node& parent, Node* leaf) {
  try {
    parent.removeChild(leaf);
  } catch (const std::bad_alloc&) {
    leaf->release();
  }
  document.collectGarbage();
}

// Removes the nodes from the leaves up: a node releases its children recursively, and a deep tree
// would overflow the stack.
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

void DocumentReleaser::operator()(Document* document) const {
  takeApart(*document);
  document->release();
}

// If an allocation fails, the parser may throw the exception for a malformed file. errno shows
// which of the two it was.
ModulesDocument parseModules(const std::string& path) {
  errno = 0;
  try {
    return parse(path);
  } catch (const Poco::XML::XMLException&) {
    if (errno == ENOMEM) {
      throw std::bad_alloc();
    }
    throw;
  }
}

}  // namespace brix::velmo
