// The parser's limit on distinct names.

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <string>

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

// One element with so many attributes.
std::string elementWithAttributes(int count) {
  std::string text = "<machine";
  for (int i = 0; i < count; ++i) {
    text += " " + numbered("a", i) + "=''";
  }
  return text + "/>";
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

TEST_F(SystemConfigNamesTest, AttributesCountTogetherWithElements) {
  EXPECT_FALSE(overflows("<system>" + elementWithAttributes(kLimit - 2) + "</system>"));
  EXPECT_TRUE(overflows("<system>" + elementWithAttributes(kLimit - 1) + "</system>"));
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
