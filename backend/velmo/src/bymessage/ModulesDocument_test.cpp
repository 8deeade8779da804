#include "ModulesDocument.h"

#include <Poco/DOM/Element.h>
#include <Poco/Exception.h>
#include <Poco/SAX/SAXException.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "ParserOutcome.h"
#include "TemporaryDirectory.h"

namespace {

using brix::velmo::ModulesDocument;
using brix::velmo::parseModules;
using Poco::XML::SAXParseException;
using velmo::test::openDescriptors;
using velmo::test::repeated;

constexpr int kDeep = 200'000;

// `count` elements with different names.
std::string namedElements(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    text += "<e" + std::to_string(i) + "/>";
  }
  return text;
}

class ModulesDocumentTest : public testing::Test {
 protected:
  ModulesDocument parse(const std::string& text) const {
    return parseModules(directory.writeFile("modules.xml", text));
  }

  const velmo::test::TemporaryDirectory directory;
};

TEST_F(ModulesDocumentTest, NodesKeepTheirOrderAndTheirTexts) {
  const ModulesDocument document = parse("<?xml version='1.0'?><a k='v '> <b/>t</a>");
  const auto* root = dynamic_cast<const Poco::XML::Element*>(document->firstChild());
  ASSERT_NE(nullptr, root);
  EXPECT_EQ("a", root->nodeName());
  EXPECT_EQ("v ", root->getAttribute("k"));
  EXPECT_EQ(" ", root->firstChild()->nodeValue());
  EXPECT_EQ("b", root->firstChild()->nextSibling()->nodeName());
  EXPECT_EQ("t", root->lastChild()->nodeValue());
}

TEST_F(ModulesDocumentTest, NamesKeepTheirPrefixesAndHaveNamespaces) {
  const ModulesDocument document = parse("<n:a xmlns:n='urn:x'/>");
  EXPECT_EQ("n:a", document->firstChild()->nodeName());
  EXPECT_EQ("urn:x", document->firstChild()->namespaceURI());
}

TEST_F(ModulesDocumentTest, FileIsClosedWhileTheDocumentLives) {
  const std::size_t before = openDescriptors();
  const ModulesDocument document = parse("<a/>");
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(ModulesDocumentTest, MissingFileThrowsWhatTheParserThrows) {
  EXPECT_THROW(parseModules(directory.path("missing")), SAXParseException);
  EXPECT_THROW(parseModules(""), SAXParseException);
}

TEST_F(ModulesDocumentTest, MalformedFileThrowsWhatTheParserThrowsAndIsClosed) {
  const std::size_t before = openDescriptors();
  EXPECT_THROW(parse(""), SAXParseException);
  EXPECT_THROW(parse("<a><b></a>"), SAXParseException);
  EXPECT_EQ(before, openDescriptors());
}

TEST_F(ModulesDocumentTest, EarlierLackOfMemoryDoesNotCountForAMalformedFile) {
  errno = ENOMEM;
  EXPECT_THROW(parse("<a>"), SAXParseException);
}

TEST_F(ModulesDocumentTest, DeepDocumentIsReleasedWithoutRecursion) {
  const ModulesDocument document = parse(repeated("<a>", kDeep) + repeated("</a>", kDeep));
  EXPECT_EQ("a", document->firstChild()->nodeName());
}

TEST_F(ModulesDocumentTest, DeepDocumentThatIsCutShortIsReleasedWithoutRecursion) {
  EXPECT_THROW(parse(repeated("<a>", kDeep)), SAXParseException);
}

// The parser stops there, and would report an early end of the file as well.
TEST_F(ModulesDocumentTest, FirstOfSeveralFailuresIsThrown) {
  EXPECT_THROW(parse("<a>" + namedElements(600) + "</a>"), Poco::PoolOverflowException);
  EXPECT_THROW(parse("<a>" + namedElements(600)), Poco::PoolOverflowException);
}

}  // namespace
