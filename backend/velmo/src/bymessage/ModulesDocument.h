#ifndef VELMO_MODULESDOCUMENT_H
#define VELMO_MODULESDOCUMENT_H

#include <Poco/DOM/Document.h>

#include <memory>
#include <string>

namespace brix::velmo {

/// Releases a document that may be nested to any depth, without recursion. Needs no memory.
struct DocumentReleaser {
  void operator()(Poco::XML::Document* document) const;
};

/// The nodes of a "modules.xml".
using ModulesDocument = std::unique_ptr<Poco::XML::Document, DocumentReleaser>;

/// Parses the file at `path` while reading it, and closes it. Elements may be nested to any depth.
/// Other files that it names are not fetched.
/// @return the document, never null
/// @throws Poco::XML::SAXParseException  if the file cannot be read or is not well-formed
/// @throws Poco::PoolOverflowException   if it has more different names than the parser holds
/// @throws std::bad_alloc                if memory runs out, in the parser too
ModulesDocument parseModules(const std::string& path);

}  // namespace brix::velmo

#endif
