#ifndef VELMO_TEST_PARSEROUTCOME_H
#define VELMO_TEST_PARSEROUTCOME_H

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/Exception.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/SAXException.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <string>
#include <typeinfo>

#include <velmo/SystemConfig.h>

namespace velmo::test {

// Compares what a SystemConfig throws with what the parser throws when it is used directly.

/// The text, repeated this many times.
inline std::string repeated(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) {
    result += text;
  }
  return result;
}

/// Class and text of the exception that the call throws; empty if it throws none.
inline std::string thrownBy(const std::function<void()>& call) {
  try {
    call();
  } catch (const Poco::Exception& exception) {
    return std::string(typeid(exception).name()) + " " + exception.displayText();
  }
  return "";
}

/// The same for a SystemConfig of this file.
inline std::string thrownByConfig(const std::string& path) {
  return thrownBy([&path] { const SystemConfig config(path); });
}

/// The same for a DOMParser without a name pool.
inline std::string thrownByParser(const std::string& path) {
  return thrownBy([&path] {
    std::ifstream file(path);
    Poco::XML::InputSource source(file);
    const Poco::XML::AutoPtr<Poco::XML::Document> document = Poco::XML::DOMParser().parse(&source);
  });
}

/// Checks that a SystemConfig of this file throws the parser's own exception, class and text
/// unchanged.
inline void expectRefused(const std::string& path, const std::string& reason) {
  EXPECT_THROW(const SystemConfig config(path), Poco::XML::SAXParseException) << reason;
  EXPECT_EQ(thrownByParser(path), thrownByConfig(path)) << reason;
}

}  // namespace velmo::test

#endif
