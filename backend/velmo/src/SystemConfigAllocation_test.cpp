// What happens when memory runs out behind the parser: the standard exception, and nothing leaks.
// The parser itself leaks when memory runs out in it, so its share is let through.

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/SAX/SAXParser.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "ReplacedAllocation.h"
#include "SystemConfig.h"
#include "TemporaryDirectory.h"

namespace {

using velmo::test::g_alive;
using velmo::test::g_made;
using velmo::test::g_untilFailure;

constexpr int kMachines = 10;
constexpr long kAllocationsForReading = 20;  // and a few more

// Texts too long for a string's own buffer.
std::string contents() {
  std::string machines;
  for (int i = 0; i < kMachines; ++i) {
    machines +=
        "<machine id='a-rather-long-identifier' hostname='a-rather-long-name.example.com'>"
        "<host name='a-rather-long-name-of-a-host'><module name='velmo'/><module name='hollard'/>"
        "</host></machine>";
  }
  return "<system>" + machines + "</system>";
}

template <typename Call>
long allocationsOf(Call call) {
  const long before = g_made;
  call();
  return g_made - before;
}

// How many allocations the parser makes for these contents: once to check them, once for the tree.
long allocationsOfTheParser(const std::string& text) {
  return allocationsOf([&text] {
    Poco::XML::SAXParser().parseString(text);
    const Poco::XML::AutoPtr<Poco::XML::Document> document =
        Poco::XML::DOMParser().parseString(text);
  });
}

TEST(SystemConfigAllocationTest, MemoryThatRunsOutBehindTheParserThrowsAndLeaksNothing) {
  const velmo::test::TemporaryDirectory directory;
  const std::string path = directory.writeFile("modules.xml", contents());
  const auto read = [&path] { const SystemConfig config(path); };
  read();
  const long first = allocationsOfTheParser(contents()) + kAllocationsForReading;
  const long all = allocationsOf(read);
  ASSERT_GT(all, first + 5L * kMachines);

  for (long succeeding = first; succeeding < all; ++succeeding) {
    const long alive = g_alive;
    bool thrown = false;
    g_untilFailure = succeeding;
    try {
      read();
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    g_untilFailure = -1;
    EXPECT_TRUE(thrown) << succeeding << " of " << all;
    EXPECT_EQ(alive, g_alive) << succeeding << " of " << all;
  }
}

TEST(SystemConfigAllocationTest, ReadingLeaksNothing) {
  const velmo::test::TemporaryDirectory directory;
  const std::string good = directory.writeFile("good.xml", contents());
  const std::string cut = directory.writeFile("cut.xml", contents().substr(0, 300));
  const std::string missing = directory.path("missing.xml");
  for (const std::string& path : {good, cut, missing}) {
    const auto read = [&path] {
      try {
        const SystemConfig config(path);
      } catch (const std::exception&) {
        return;
      }
    };
    read();
    const long alive = g_alive;
    read();
    EXPECT_EQ(alive, g_alive) << path;
  }
}

}  // namespace
