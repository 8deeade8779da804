// Files that are missing, malformed, huge, deep, hostile or in another encoding. Exceptions are
// compared with those of a DOMParser.

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "ModulesFile.h"
#include "ParserOutcome.h"
#include "ScriptedPeer.h"
#include "SystemConfig.h"

namespace {

using velmo::test::expectRefused;
using velmo::test::repeated;
using velmo::test::thrownByConfig;
using velmo::test::UnprivilegedFiles;

constexpr int kDeep = 50'000;
constexpr int kDeeperThanTheStack = 1'000'000;

class SystemConfigBadInputTest : public velmo::test::ModulesFileTest {
 protected:
  void expectContentsRefused(const std::string& contents, const std::string& reason) const {
    expectRefused(directory.writeFile("modules.xml", contents), reason);
  }
};

// --- files ---

TEST_F(SystemConfigBadInputTest, MissingFileThrowsWhatTheParserThrows) {
  expectRefused(directory.path("nowhere.xml"), "missing");
  expectRefused(directory.path("nowhere/modules.xml"), "in a missing directory");
  expectRefused("", "no path");
  expectRefused(std::string(5000, 'x'), "a name too long");
}

TEST_F(SystemConfigBadInputTest, WhatThrowsIsAStandardExceptionToo) {
  EXPECT_THROW(const SystemConfig config(directory.path("nowhere.xml")), std::exception);
}

TEST_F(SystemConfigBadInputTest, DirectoryThrowsWhatTheParserThrows) {
  expectRefused(directory.makeDirectory("modules.xml"), "a directory");
}

TEST_F(SystemConfigBadInputTest, UnreadableFileThrowsWhatTheParserThrows) {
  const std::string path = directory.writeFile("modules.xml", "<system/>");
  std::filesystem::permissions(path, std::filesystem::perms::none);
  const UnprivilegedFiles unprivileged;
  expectRefused(path, "unreadable");
}

TEST_F(SystemConfigBadInputTest, FailureLeavesNoFileOpen) {
  const std::string path = directory.writeFile("modules.xml", "<system>");
  const std::size_t before = velmo::test::openDescriptors();
  EXPECT_NE("", thrownByConfig(path));
  EXPECT_EQ(before, velmo::test::openDescriptors());
}

TEST_F(SystemConfigBadInputTest, FileThatWasBadIsReadOnceItIsGood) {
  expectContentsRefused("<system>", "not closed");
  EXPECT_EQ("a@:-1{}", read("<system><machine id='a'/></system>"));
}

// --- ill-formed contents ---

TEST_F(SystemConfigBadInputTest, IllFormedContentsThrowWhatTheParserThrows) {
  struct Row {
    std::string contents;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"", "empty"},
      {"<system>", "not closed"},
      {"<system/><system/>", "two roots"},
      {"<system><machine id='a' id='b'/></system>", "an attribute twice"},
      {"<system>&nothing;</system>", "an entity that is not defined"},
      {"<x:system/>", "a prefix that is not bound"},
      {std::string("<system/>\0", 10), "a NUL behind"},
  };
  for (const Row& row : rows) {
    expectContentsRefused(row.contents, row.reason);
  }
}

TEST_F(SystemConfigBadInputTest, IllFormedBehindGoodMachinesThrows) {
  expectContentsRefused(
      "<system>" + repeated("<machine><host><module name='velmo'/></host></machine>", 1000) + "<",
      "a thousand machines");
}

// --- size and depth ---

TEST_F(SystemConfigBadInputTest, TenMegabytesOfMachinesAreReadInOneGo) {
  const std::string path = directory.writeFile(
      "modules.xml", "<system>" + repeated("<machine/>", 1'000'000) + "</system>");
  EXPECT_EQ(1'000'000U, SystemConfig(path).getMachines().size());
}

TEST_F(SystemConfigBadInputTest, TenMegabytesOfOtherThingsAreSkipped) {
  EXPECT_EQ("a@:-1{}", read("<system>" + std::string(5'000'000, ' ') + "<machine id='a'/>" +
                            repeated("<!-- c -->", 500'000) + "</system>"));
}

TEST_F(SystemConfigBadInputTest, TenMegabytesThatAreNotClosedThrow) {
  expectContentsRefused("<system>" + repeated("<machine/>", 1'000'000), "not closed");
}

TEST_F(SystemConfigBadInputTest, DeepFileIsReadAsFarAsItCounts) {
  for (const int levels : {kDeep, kDeeperThanTheStack}) {
    for (const std::string name : {"a", "machine", "host"}) {
      const std::string deep =
          repeated("<" + name + ">", levels) + repeated("</" + name + ">", levels);
      EXPECT_EQ(name == "machine" ? "@:-1{} b@:-1{}" : "b@:-1{}",
                read("<system>" + deep + "<machine id='b'/></system>"))
          << levels << " levels of " << name;
    }
  }
}

TEST_F(SystemConfigBadInputTest, DeepFileOfAnotherRootHasNoMachines) {
  EXPECT_EQ("", read(repeated("<a>", kDeeperThanTheStack) + repeated("</a>", kDeeperThanTheStack)));
  EXPECT_EQ("", read("<!DOCTYPE a>" + repeated("<a>", kDeeperThanTheStack) +
                     repeated("</a>", kDeeperThanTheStack)));
}

// Not compared with a DOMParser: it overflows the stack, or refuses any deep file.
TEST_F(SystemConfigBadInputTest, DeepFileThatIsNotClosedThrows) {
  for (const int levels : {kDeep, kDeeperThanTheStack}) {
    const std::string path = directory.writeFile("modules.xml", repeated("<system>", levels));
    EXPECT_EQ(
        "N4Poco3XML17SAXParseExceptionE SAXParseException: No element found in line 1 column " +
            std::to_string(levels * 8),
        thrownByConfig(path));
  }
}

// --- entities ---

// Ten entities, each ten times as long as the one before.
std::string laughs() {
  std::string declarations = "<!ENTITY e0 'ha ha ha ha'>";
  for (int i = 1; i < 10; ++i) {
    const std::string before = "&e" + std::to_string(i - 1) + ";";
    declarations += "<!ENTITY e" + std::to_string(i) + " '" + repeated(before, 10) + "'>";
  }
  return "<!DOCTYPE system [" + declarations + "]>";
}

TEST_F(SystemConfigBadInputTest, EntityBombThrowsAtOnce) {
  const auto start = std::chrono::steady_clock::now();
  expectContentsRefused(laughs() + "<system>&e9;</system>", "in a text");
  expectContentsRefused(laughs() + "<system><machine id='&e9;'/></system>", "in an attribute");
  expectContentsRefused(
      "<!DOCTYPE system [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><system>&a;</system>", "in a circle");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(SystemConfigBadInputTest, EntitiesOfOnesOwnLeaveNoMachines) {
  EXPECT_EQ("", read("<!DOCTYPE system [<!ENTITY m \"<machine id='a'/>\">]><system>&m;</system>"));
  EXPECT_EQ("", read("<!DOCTYPE system [<!ENTITY v 'velmo'><!ATTLIST machine id CDATA 'x'>]>"
                     "<system><machine/></system>"));
}

// Watches one file and says whether it has been opened.
class OpenWatch {
 public:
  explicit OpenWatch(const std::string& path) : m_descriptor(inotify_init1(IN_NONBLOCK)) {
    EXPECT_GE(inotify_add_watch(m_descriptor, path.c_str(), IN_OPEN), 0);
  }
  ~OpenWatch() {
    close(m_descriptor);
  }
  OpenWatch(const OpenWatch&) = delete;
  OpenWatch& operator=(const OpenWatch&) = delete;

  bool wasOpened() const {
    std::array<char, 4096> events{};
    return ::read(m_descriptor, events.data(), events.size()) > 0;
  }

 private:
  int m_descriptor;
};

// Files that bring another in: as the declarations' outer part, as a parameter entity, as an entity
// that nothing uses. The other file would show in their outcome.
std::vector<std::string> filesThatName(const std::string& target) {
  const std::string system = "SYSTEM \"" + target + "\"";
  return {
      "<!DOCTYPE system " + system + "><system/>",
      "<!DOCTYPE system [<!ENTITY % x " + system + "> %x;]><system/>",
      "<!DOCTYPE system [<!ENTITY x " + system + ">]><system/>",
  };
}

// A file that uses the entity.
std::string fileThatUses(const std::string& target) {
  return "<!DOCTYPE system [<!ENTITY x SYSTEM \"" + target + "\">]><system>&x;</system>";
}

class SystemConfigOtherFileTest : public SystemConfigBadInputTest {
 protected:
  // Tries all files that refer to the target: those that do not use its text are read.
  void readAllThatName(const std::string& target) const {
    for (const std::string& contents : filesThatName(target)) {
      EXPECT_EQ("", read(contents)) << contents;
    }
    expectContentsRefused(fileThatUses(target), target);
  }
};

TEST_F(SystemConfigOtherFileTest, OtherFilesAreNeverOpened) {
  const std::string other = directory.writeFile("other", "<machine id='other'/>");
  const OpenWatch watch(other);
  readAllThatName(other);
  readAllThatName("file://" + other);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(directory.path());
  readAllThatName("other");
  std::filesystem::current_path(before);
  EXPECT_FALSE(watch.wasOpened());

  EXPECT_EQ("<machine id='other'/>", velmo::test::readFile(other));
  EXPECT_TRUE(watch.wasOpened());
}

// Opening it would block until a writer comes.
TEST_F(SystemConfigOtherFileTest, PipesAreNeverOpened) {
  const std::string pipe = directory.path("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  readAllThatName(pipe);
}

TEST_F(SystemConfigOtherFileTest, OtherMachinesAreNeverAsked) {
  const velmo::test::PeerListener listener;
  readAllThatName("http://127.0.0.1:" + std::to_string(listener.port()) + "/x");
  EXPECT_FALSE(listener.isReached());
}

// --- encodings ---

std::string utf16(const std::u16string& text, bool bigEndian) {
  std::string bytes;
  for (const char16_t unit : text) {
    const auto high = static_cast<char>(unit >> 8);
    const auto low = static_cast<char>(unit & 0xff);
    bytes += bigEndian ? high : low;
    bytes += bigEndian ? low : high;
  }
  return bytes;
}

const std::string kAccent = "\xc3\xa9@:-1{}";

TEST_F(SystemConfigBadInputTest, TextsAreUtf8InFilesOfAnyEncoding) {
  const std::u16string machine = u"<system><machine id='\u00e9'/></system>";
  EXPECT_EQ(kAccent, read("<system><machine id='\xc3\xa9'/></system>"));
  EXPECT_EQ(kAccent, read("\xef\xbb\xbf<system><machine id='\xc3\xa9'/></system>"));
  EXPECT_EQ(kAccent, read(utf16(u"\ufeff" + machine, true)));
  EXPECT_EQ(kAccent, read(utf16(u"\ufeff" + machine, false)));
  EXPECT_EQ(kAccent, read("<?xml version='1.0' encoding='ISO-8859-1'?>"
                          "<system><machine id='\xe9'/></system>"));
  EXPECT_EQ("\xe2\x82\xac@:-1{}", read("<?xml version='1.0' encoding='windows-1252'?>"
                                       "<system><machine id='\x80'/></system>"));
}

TEST_F(SystemConfigBadInputTest, WrongEncodingsThrowWhatTheParserThrows) {
  struct Row {
    std::string contents;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"<?xml version='1.0' encoding='nonsense'?><system/>", "an encoding that nobody knows"},
      {"<system><machine id='\xe9'/></system>", "Latin-1 that does not say so"},
  };
  for (const Row& row : rows) {
    expectContentsRefused(row.contents, row.reason);
  }
}

}  // namespace
