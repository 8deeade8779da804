// What happens when memory runs out, in the parser too: the standard exception, and nothing leaks
// but what the parser itself loses.

#include <Poco/Exception.h>
#include <dlfcn.h>
#include <expat.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "ModulesFile.h"
#include "ParserOutcome.h"
#include "ReplacedAllocation.h"
#include "SystemConfig.h"
#include "TemporaryDirectory.h"

// The parser in C allocates with malloc unless it is given other functions. This function replaces
// its constructor and gives it these.
XML_Parser XML_ParserCreateNS(const XML_Char* encoding, XML_Char separator) {
  using Create = XML_Parser (*)(const XML_Char*, const XML_Memory_Handling_Suite*, const XML_Char*);
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "XML_ParserCreate_MM"));
  static const XML_Memory_Handling_Suite functions{
      velmo::test::countedMalloc, velmo::test::countedRealloc, velmo::test::countedFree};
  const std::string separators(1, separator);  // too short to be allocated
  return create(encoding, &functions, separators.c_str());
}

namespace {

using velmo::test::g_alive;
using velmo::test::g_aliveInLibrary;
using velmo::test::g_failsForGood;
using velmo::test::g_made;
using velmo::test::g_untilFailure;
using velmo::test::repeated;
using velmo::test::shown;

constexpr int kMachines = 10;
constexpr int kDeeperThanTheStack = 300'000;
constexpr int kPositionsOfADeepFile = 50;

// One block at each of three positions before it reads anything: two where it seeds a random
// number, one where it stores the name of the file.
constexpr int kPositionsWhereTheParserLeaks = 3;

// Texts too long for the buffer inside a string.
std::string machines() {
  return "<system>" +
         repeated(
             "<machine id='a-rather-long-identifier' hostname='a-rather-long-name.example.com'>"
             "<host name='a-rather-long-name-of-a-host'><module name='velmo'/>"
             "<module name='hollard'/></host></machine>",
             kMachines) +
         "</system>";
}

// Files that give the parser more work: encodings, declarations, entities, namespaces, long texts.
std::vector<std::string> files() {
  return {machines(), "<?xml version='1.0' encoding='windows-1252'?>" + machines(),
          "<!DOCTYPE system [<!ENTITY a 'a text of some length to be replaced'><!ENTITY b '&a;&a;'>"
          "<!ATTLIST machine id CDATA 'a-default-of-some-length'><!NOTATION n SYSTEM 'somewhere'>"
          "<!ENTITY u SYSTEM 'a-picture-of-some-length' NDATA n>]>"
          "<system><machine hostname='&b;'/>&b;</system>",
          "<system xmlns:p='urn:a-namespace-of-some-length'><p:machine p:id='1'/>" +
              std::string(20'000, 'x') + "<![CDATA[a section of some length]]>" +
              "<!-- a comment of some length --><?target some-data-of-some-length?></system>"};
}

// The contents of the file, or what is thrown, if the allocation with this number fails.
std::string outcome(const std::string& path, long failing) {
  g_untilFailure = failing;
  try {
    const SystemConfig config(path);
    g_untilFailure = -1;
    return shown(config);
  } catch (const std::bad_alloc&) {
    g_untilFailure = -1;
    return "std::bad_alloc";
  } catch (const Poco::Exception& exception) {
    g_untilFailure = -1;
    return exception.displayText();
  }
}

// How many allocations reading the file takes.
long allocationsFor(const std::string& path) {
  const std::string first = outcome(path, -1);
  const long before = g_made;
  const SystemConfig config(path);
  return g_made - before;
}

// Whether one block was lost; never more. What the parser underneath has for itself is not counted:
// it is written in C, and its later versions keep all of it when an exception has passed through
// them, as the XML library's own do.
bool leaksOneBlock(const std::string& path, long failing) {
  const long alive = g_alive;
  { const std::string ignored = outcome(path, failing); }
  EXPECT_LE(g_alive, alive + 1) << failing;
  return g_alive != alive;
}

class SystemConfigAllocationTest : public velmo::test::ModulesFileTest {
 protected:
  ~SystemConfigAllocationTest() override {
    g_failsForGood = false;
  }
};

// The last few are made when the tree is released, which does not need them.
TEST_F(SystemConfigAllocationTest, MemoryThatRunsOutAnywhereThrowsBadAllocOrIsNotNeeded) {
  for (const std::string& contents : files()) {
    const std::string path = directory.writeFile("modules.xml", contents);
    const std::string expected = outcome(path, -1);
    const long all = allocationsFor(path);
    for (const bool forGood : {false, true}) {
      g_failsForGood = forGood;
      bool needed = true;
      for (long failing = 0; failing < all; ++failing) {
        const std::string result = outcome(path, failing);
        needed = needed && result == "std::bad_alloc";
        EXPECT_EQ(needed ? "std::bad_alloc" : expected, result) << failing << " of " << all;
        EXPECT_TRUE(needed || failing > all / 2) << failing << " of " << all;
      }
    }
  }
}

TEST_F(SystemConfigAllocationTest, MemoryThatRunsOutLeaksNothingButWhatTheParserLoses) {
  for (const std::string& contents : files()) {
    const std::string path = directory.writeFile("modules.xml", contents);
    const long all = allocationsFor(path);
    int leaking = 0;
    for (long failing = 0; failing < all; ++failing) {
      leaking += leaksOneBlock(path, failing) ? 1 : 0;
    }
    EXPECT_LE(leaking, kPositionsWhereTheParserLeaks);
  }
}

TEST_F(SystemConfigAllocationTest, IllFormedFileThrowsBadAllocOrWhatTheParserThrows) {
  const std::string path = directory.writeFile("modules.xml", machines().substr(0, 300));
  const std::string refused = outcome(path, -1);
  EXPECT_EQ("SAXParseException: Unclosed token in line 1 column 275", refused);
  int outOfMemory = 0;
  for (long failing = 0; failing < 100; ++failing) {
    const std::string result = outcome(path, failing);
    EXPECT_TRUE(result == "std::bad_alloc" || result == refused) << result;
    outOfMemory += result == "std::bad_alloc" ? 1 : 0;
  }
  EXPECT_GT(outOfMemory, 50);
  EXPECT_LT(outOfMemory, 100);
}

// Releasing a tree level by level on the stack would end the process.
TEST_F(SystemConfigAllocationTest, MemoryThatRunsOutInADeepFileThrows) {
  const std::string path =
      directory.writeFile("modules.xml", "<system>" + repeated("<a>", kDeeperThanTheStack) +
                                             repeated("</a>", kDeeperThanTheStack) + "</system>");
  const long all = allocationsFor(path);
  for (const bool forGood : {false, true}) {
    g_failsForGood = forGood;
    EXPECT_EQ("std::bad_alloc", outcome(path, all / 2));
    EXPECT_EQ("", outcome(path, all - kPositionsOfADeepFile));
  }
}

TEST_F(SystemConfigAllocationTest, ReadingLeaksNothing) {
  const std::string good = directory.writeFile("good.xml", machines());
  const std::string cut = directory.writeFile("cut.xml", machines().substr(0, 300));
  const std::string missing = directory.path("missing.xml");
  for (const std::string& path : {good, cut, missing}) {
    EXPECT_NE("std::bad_alloc", outcome(path, -1));
    const long inParser = g_aliveInLibrary;
    EXPECT_FALSE(leaksOneBlock(path, -1)) << path;
    EXPECT_EQ(inParser, g_aliveInLibrary) << path;
  }
}

// The parser underneath is written in C: an exception that passes through it loses the namespace.
TEST_F(SystemConfigAllocationTest, RefusingTooManyNamesLeaksNothing) {
  std::string names;
  for (int i = 0; i < 600; ++i) {
    const std::string number = std::to_string(i);
    names += "<n" + number + " xmlns='urn:" + number + "'/>";
  }
  const std::string path = directory.writeFile("modules.xml", "<system>" + names + "</system>");
  EXPECT_EQ("Pool overflow: XML name pool", outcome(path, -1));
  const long inParser = g_aliveInLibrary;
  EXPECT_FALSE(leaksOneBlock(path, -1));
  EXPECT_EQ(inParser, g_aliveInLibrary);
}

}  // namespace
