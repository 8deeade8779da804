// The parser's limit on distinct names. Around the limit, the outcome is that of a DOMParser.

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "ModulesFile.h"
#include "NamedPipe.h"
#include "ParserOutcome.h"
#include "SystemConfig.h"

namespace {

using velmo::test::repeated;
using velmo::test::thrownByConfig;
using velmo::test::thrownByParser;

constexpr int kLimit = 509;
constexpr int kDeeperThanTheStack = 300'000;

std::string numbered(const std::string& name, int number) {
  return name + std::to_string(number);
}

// `count` elements with different names.
std::string elements(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    text += "<" + numbered("e", i) + "/>";
  }
  return text;
}

// One element with `count` attributes.
std::string element(const std::string& name, const std::string& attributePrefix, int count) {
  std::string text = "<" + name;
  for (int i = 0; i < count; ++i) {
    text += " " + numbered(attributePrefix, i) + "=''";
  }
  return text + "/>";
}

// `count` elements and attributes with random names, prefixes and namespaces. An empty element does
// not declare a namespace, because a DOMParser that refuses it leaks the declaration.
std::string mixed(std::mt19937& random, int count) {
  const std::vector<std::string> prefixes{"", "", "p:", "q:"};
  std::string text;
  for (int i = 0; i < count; ++i) {
    const std::string name =
        prefixes[random() % prefixes.size()] + numbered("n", static_cast<int>(random() % 400));
    const std::string declaration = random() % 2 == 0 ? " xmlns='urn:d'" : "";
    text += random() % 2 == 0
                ? "<" + name + " q:" + numbered("a", i % 50) + "=''/>"
                : "<" + name + declaration + ">text<!-- c --><?target?></" + name + ">";
  }
  return text;
}

class SystemConfigNamesTest : public velmo::test::ModulesFileTest {
 protected:
  // Whether the file is refused because of its names; it is never refused otherwise.
  bool overflows(const std::string& contents) const {
    const std::string path = directory.writeFile("modules.xml", contents);
    const std::string thrown = thrownByConfig(path);
    EXPECT_EQ(thrownByParser(path), thrown) << contents;
    return !thrown.empty();
  }
};

TEST_F(SystemConfigNamesTest, MoreThan509DistinctNamesThrowAnOverflowOfThePool) {
  EXPECT_EQ("", read("<system>" + elements(kLimit - 1) + "</system>"));
  const std::string path =
      directory.writeFile("modules.xml", "<system>" + elements(kLimit) + "</system>");
  EXPECT_THROW(const SystemConfig config(path), Poco::PoolOverflowException);
  EXPECT_EQ("N4Poco21PoolOverflowExceptionE Pool overflow: XML name pool", thrownByConfig(path));
}

TEST_F(SystemConfigNamesTest, ElementsAndAttributesCountTogetherAndNothingElse) {
  struct Row {
    std::string contents;
    int names;  // without those that are added
    std::string reason;
  };
  const std::vector<Row> rows{
      {"", 1, "the root"},
      {"<!-- c -->text<![CDATA[d]]><?target?>&amp;", 1, "what is no element"},
      {"<machine id='a'/><machine id='b'/>", 3, "a name again"},
      {"<x x='a'/>", 2, "an element and an attribute of one name"},
      {"<x xmlns='urn:x'/><x/>", 3, "one name in two namespaces"},
      {"<p:x xmlns:p='urn:x'/><q:x xmlns:q='urn:x'/>", 3, "one name under two prefixes"},
      {"<x xmlns:p='urn:x' xmlns:q='urn:x'/>", 2, "a namespace that nothing uses"},
  };
  for (const Row& row : rows) {
    for (int names = kLimit - 2; names <= kLimit + 2; ++names) {
      const int added = names - row.names;
      const std::string head = "<system>" + row.contents;
      EXPECT_EQ(names > kLimit, overflows(head + elements(added) + "</system>")) << row.reason;
      EXPECT_EQ(names > kLimit, overflows(head + element("system", "a", added) + "</system>"))
          << row.reason;
    }
  }
}

TEST_F(SystemConfigNamesTest, MixedNamesOverflowWhereTheParserDoes) {
  std::mt19937 random(1);
  int refused = 0;
  for (int i = 0; i < 200; ++i) {
    refused += overflows("<system xmlns:p='urn:p' xmlns:q='urn:q'>" +
                         mixed(random, 300 + static_cast<int>(random() % 600)) + "</system>")
                   ? 1
                   : 0;
  }
  EXPECT_GT(refused, 20);
  EXPECT_LT(refused, 180);
}

TEST_F(SystemConfigNamesTest, IllFormedFileOfManyNamesThrowsWhatComesFirst) {
  EXPECT_TRUE(overflows("<system>" + elements(kLimit) + "</nonsense>"));
  const std::string path = directory.writeFile(
      "modules.xml", "<system>" + elements(kLimit - 1) + "</nonsense>" + elements(kLimit));
  EXPECT_THROW(const SystemConfig config(path), Poco::XML::SAXParseException);
}

TEST_F(SystemConfigNamesTest, PipeIsRefusedAtItsFirstNameTooManyWhileItsWriterStays) {
  const velmo::test::NamedPipe pipe(directory.path("pipe"));
  pipe.write("<system>" + elements(kLimit) + "<!-- c --></system>\n");
  EXPECT_THROW(const SystemConfig config(pipe.path()), Poco::PoolOverflowException);
}

// A DOMParser would end the process.
TEST_F(SystemConfigNamesTest, OverflowInADeepFileThrows) {
  const std::string deep = repeated("<a>", kDeeperThanTheStack);
  const std::string end = repeated("</a>", kDeeperThanTheStack) + "</system>";
  for (const std::string& contents :
       {"<system>" + deep + elements(kLimit) + end,
        "<system>" + deep + end.substr(0, end.size() - 9) + elements(kLimit) + "</system>"}) {
    const std::string path = directory.writeFile("modules.xml", contents);
    EXPECT_THROW(const SystemConfig config(path), Poco::PoolOverflowException);
  }
}

}  // namespace
