// Files that are missing, malformed, huge, deep, hostile or in another encoding. Exceptions are
// compared with those of a DOMParser.

#include <Poco/SAX/SAXException.h>
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "ModulesFile.h"
#include "ParserOutcome.h"
#include "SystemConfig.h"

namespace {

using velmo::test::expectRefused;
using velmo::test::repeated;
using velmo::test::thrownByConfig;
using velmo::test::thrownByParser;
using velmo::test::UnprivilegedFiles;

constexpr int kDeep = 50'000;
constexpr int kDeeperThanTheStack = 1'000'000;

const std::string& sample() {
  static const std::string text = R"(<?xml version="1.0"?>
<system>
  <machine id="m1" hostname="h1" rmi-port="1099">
    <host name="backend" websocket-port="8,080">
      <module name="velmo"/><!-- c --><module name="hollard"/>
    </host>
  </machine>
  <machine id="m2" hostname="h2"><host name="x"><module name="fennick"/></host></machine>
</system>)";
  return text;
}

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
      {" \n", "white space"},
      {"\xef\xbb\xbf", "a byte order mark"},
      {"<?xml version='1.0'?>", "a declaration"},
      {"<!-- c -->", "a comment"},
      {"<!DOCTYPE system>", "a document type declaration"},
      {"system", "text"},
      {"<system>", "not closed"},
      {"<system", "cut in the tag"},
      {"</system>", "not opened"},
      {"<system></System>", "closed under another name"},
      {"<system/><system/>", "two roots"},
      {"<system/>text", "text behind the root"},
      {"text<system/>", "text in front of the root"},
      {" <?xml version='1.0'?><system/>", "a declaration that is not first"},
      {"<system><machine></system></machine>", "crossed"},
      {"<system><machine id=a/></system>", "a value without quotes"},
      {"<system><machine id/></system>", "an attribute without a value"},
      {"<system><machine id='a' id='b'/></system>", "an attribute twice"},
      {"<system><machine id='<'/></system>", "a tag in a value"},
      {"<system><machine id='&'/></system>", "a bare ampersand"},
      {"<system>&nothing;</system>", "an entity that is not defined"},
      {"<system><machine id='&nothing;'/></system>", "one in an attribute"},
      {"<system>&#0;</system>", "the character 0"},
      {"<system>\x01</system>", "a control character"},
      {"<x:system/>", "a prefix that is not bound"},
      {"<system><!-- -- --></system>", "a comment in a comment"},
      {"<system>]]></system>", "the end of a section"},
      {std::string("<system>\0</system>", 18), "a NUL"},
      {std::string("\0<system/>", 10), "a NUL in front"},
      {std::string("<system/>\0", 10), "a NUL behind"},
      {std::string("<system><machine id='a\0b'/></system>", 36), "a NUL in a value"},
      {std::string("<sys\0tem/>", 10), "a NUL in a name"},
      {std::string(100'000, '\0'), "NULs"},
  };
  for (const Row& row : rows) {
    expectContentsRefused(row.contents, row.reason);
  }
}

TEST_F(SystemConfigBadInputTest, FileCutAnywhereThrows) {
  for (std::size_t length = 0; length < sample().size(); ++length) {
    expectContentsRefused(sample().substr(0, length), std::to_string(length) + " bytes");
  }
}

TEST_F(SystemConfigBadInputTest, IllFormedBehindGoodMachinesThrows) {
  expectContentsRefused(
      "<system>" + repeated("<machine><host><module name='velmo'/></host></machine>", 1000) + "<",
      "a thousand machines");
}

TEST_F(SystemConfigBadInputTest, ChangedBytesAreReadOrThrowButNothingElse) {
  std::mt19937 random(1);
  int refused = 0;
  for (int i = 0; i < 2000; ++i) {
    std::string contents = sample();
    for (int changes = 0; changes < 3; ++changes) {
      contents[random() % contents.size()] = static_cast<char>(random());
    }
    const std::string path = directory.writeFile("modules.xml", contents);
    const std::string thrown = thrownByConfig(path);
    EXPECT_EQ(thrownByParser(path), thrown) << contents;
    refused += thrown.empty() ? 0 : 1;
  }
  EXPECT_GT(refused, 500);
  EXPECT_LT(refused, 2000);
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

TEST_F(SystemConfigBadInputTest, DeepFileThatIsNotClosedThrows) {
  expectContentsRefused(repeated("<system>", kDeep), "what the parser throws");

  // The parser alone would end the process.
  const std::string path =
      directory.writeFile("modules.xml", repeated("<system>", kDeeperThanTheStack));
  EXPECT_THROW(const SystemConfig config(path), Poco::XML::SAXParseException);
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

TEST_F(SystemConfigBadInputTest, LongChainOfEntitiesIsFollowed) {
  std::string declarations = "<!ENTITY e0 'x'>";
  for (int i = 1; i < 10'000; ++i) {
    declarations += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";'>";
  }
  EXPECT_EQ("", read("<!DOCTYPE system [" + declarations + "]><system>&e9999;</system>"));
}

TEST_F(SystemConfigBadInputTest, DeclaredEntitiesLeaveNoMachines) {
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

// A port of this machine that says whether a client has connected.
class Listener {
 public:
  Listener() : m_descriptor(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(0, bind(m_descriptor, generic, size));
    EXPECT_EQ(0, listen(m_descriptor, 1));
    EXPECT_EQ(0, getsockname(m_descriptor, generic, &size));
    m_port = ntohs(address.sin_port);
  }
  ~Listener() {
    close(m_descriptor);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  std::string url() const {
    return "http://127.0.0.1:" + std::to_string(m_port) + "/x";
  }

  bool wasReached() const {
    const int connection = accept(m_descriptor, nullptr, nullptr);
    if (connection >= 0) {
      close(connection);
    }
    return connection >= 0;
  }

 private:
  int m_descriptor;
  int m_port = 0;
};

// Files that refer to another file: as the external part of the declarations, as a parameter
// entity, as an unused entity. If the other file were read, the outcome would show it.
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
  const Listener listener;
  readAllThatName(listener.url());
  EXPECT_FALSE(listener.wasReached());
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
      {"<?xml version='1.0' encoding=''?><system/>", "none"},
      {"<?xml version='1.0' encoding='UTF-16'?><system/>", "not what it says"},
      {"<system><machine id='\xe9'/></system>", "Latin-1 that does not say so"},
      {"<system><machine id='\xc3'/></system>", "half a character"},
      {"<system><machine id='\xc0\xaf'/></system>", "a character longer than it needs be"},
      {"<system><machine id='\xed\xa0\x80'/></system>", "half of a pair"},
      {"<system>\xff\xfe</system>", "a byte order mark inside"},
      {utf16(u"\ufeff<system/>", true).substr(0, 19), "UTF-16, cut in a character"},
      {utf16(u"\ufeff<system><machine id='\xd800'/></system>", false), "UTF-16, half of a pair"},
      {std::string("\xff\xfe\0\0<\0\0\0s\0\0\0/\0\0\0>\0\0\0", 20), "UTF-32"},
  };
  for (const Row& row : rows) {
    expectContentsRefused(row.contents, row.reason);
  }
}

}  // namespace
