#include "ModulesReader.h"

#include <dlfcn.h>
#include <expat.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <new>
#include <string>
#include <utility>

#include "TemporaryDirectory.h"

namespace {

using velmo::client::findService;
using velmo::client::findServiceIn;
using velmo::client::ModulesContents;
using velmo::client::ModulesHost;
using velmo::client::ModulesMachine;
using velmo::client::readModules;
using velmo::client::readModulesIn;
using velmo::client::Result;
using velmo::client::ServiceAddress;

// What the parser of the program returns instead of a run.
bool g_hasNoParser = false;
bool g_hasNoMemory = false;

}  // namespace

extern "C" XML_Parser XML_ParserCreateNS(const XML_Char* encoding, XML_Char separator) {
  using Function = XML_Parser (*)(const XML_Char*, XML_Char);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "XML_ParserCreateNS"));
  return g_hasNoParser ? nullptr : real(encoding, separator);
}

extern "C" XML_Status XML_Parse(XML_Parser parser, const char* text, int size, int isFinal) {
  using Function = XML_Status (*)(XML_Parser, const char*, int, int);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "XML_Parse"));
  return g_hasNoMemory ? XML_STATUS_ERROR : real(parser, text, size, isFinal);
}

extern "C" XML_Error XML_GetErrorCode(XML_Parser parser) {
  using Function = XML_Error (*)(XML_Parser);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "XML_GetErrorCode"));
  return g_hasNoMemory ? XML_ERROR_NO_MEMORY : real(parser);
}

namespace {

std::string shown(const Result<ServiceAddress>& service) {
  if (service.isOk()) {
    return service.value().host + ":" + std::to_string(service.value().port);
  }
  velmo_error error{};
  describe(service.fault(), &error);
  return error.message;
}

std::string foundIn(const std::string& contents) {
  return shown(findServiceIn(contents, "FILE"));
}

std::string host(const std::string& port, const std::string& modules = "<module name='velmo'/>") {
  return "<host websocket-port='" + port + "'>" + modules + "</host>";
}

std::string machine(const std::string& hostname, const std::string& hosts) {
  return "<machine hostname='" + hostname + "'>" + hosts + "</machine>";
}

std::string system(const std::string& machines) {
  return "<system>" + machines + "</system>";
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

const std::string kNone =  // NOLINT(cert-err58-cpp)
    "\"FILE\" names no host that runs the module velmo, with a machine's hostname and a "
    "websocket-port";

TEST(ModulesReaderTest, LastHostThatRunsVelmoIsChosen) {
  EXPECT_EQ("b:3", foundIn(system(machine("a", host("1")) + machine("b", host("2") + host("3")) +
                                  machine("c", host("4", "<module name='other'/>")))));
}

TEST(ModulesReaderTest, UnusableLastHostDoesNotFallBack) {
  EXPECT_EQ(kNone, foundIn(system(machine("a", host("1")) + machine("b", host("x")))));
  EXPECT_EQ(kNone, foundIn(system(machine("a", host("1")) + machine("", host("2")))));
}

TEST(ModulesReaderTest, MissingAttributesAreEmpty) {
  EXPECT_EQ(kNone, foundIn(system("<machine>" + host("1") + "</machine>")));
  EXPECT_EQ(kNone, foundIn(system(machine("a", "<host><module name='velmo'/></host>"))));
  EXPECT_EQ(kNone, foundIn(system(machine("a", host("1", "<module/>")))));
}

TEST(ModulesReaderTest, OnlyDirectChildrenCount) {
  EXPECT_EQ(kNone, foundIn(system("<group>" + machine("a", host("1")) + "</group>")));
  EXPECT_EQ(kNone, foundIn(system(machine("a", "<group>" + host("1") + "</group>"))));
  EXPECT_EQ(kNone, foundIn(system(machine("a", host("1", "<g><module name='velmo'/></g>")))));
  EXPECT_EQ(kNone, foundIn(system(system(machine("a", host("1"))))));
  EXPECT_EQ("a:1", foundIn(system("<g><machine/></g>" + machine("a", "<x/>" + host("1")))));
}

TEST(ModulesReaderTest, RootMustBeTheFirstNode) {
  const std::string root = system(machine("a", host("1")));
  EXPECT_EQ("a:1", foundIn("<?xml version='1.0'?>\n" + root + "<!-- c -->"));
  EXPECT_EQ(kNone, foundIn("<!-- c -->" + root));
  EXPECT_EQ(kNone, foundIn("<?p?>" + root));
  EXPECT_EQ(kNone, foundIn("<!DOCTYPE system>" + root));
  EXPECT_EQ(kNone, foundIn("<systems>" + machine("a", host("1")) + "</systems>"));
}

TEST(ModulesReaderTest, NamesAreQualified) {
  EXPECT_EQ("a:1", foundIn("<system xmlns='urn:x'>" + machine("a", host("1")) + "</system>"));
  EXPECT_EQ(kNone, foundIn("<p:system xmlns:p='urn:x'>" + machine("a", host("1")) + "</p:system>"));
  EXPECT_EQ(kNone, foundIn("<system xmlns:p='urn:x'><machine p:hostname='a'>" + host("1") +
                           "</machine></system>"));
}

TEST(ModulesReaderTest, MalformedFileIsRefusedWithTheLineAndTheReason) {
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 2, mismatched tag",
            foundIn("<system>\n</machine></system>"));
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 1, no element found", foundIn(""));
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 1, junk after document element",
            foundIn(system(machine("a", host("1"))) + "<x/>"));
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 1, unbound prefix", foundIn("<p:system/>"));
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 1, unknown encoding",
            foundIn("<?xml version='1.0' encoding='EBCDIC'?><system/>"));
}

TEST(ModulesReaderTest, HostNameThatCannotBeIsRefused) {
  EXPECT_EQ("the hostname in \"FILE\" cannot be used: \"a b\"",
            foundIn(system(machine("a b", host("1")))));
  EXPECT_EQ("the hostname in \"FILE\" cannot be used: \"a\\x0Ab\"",
            foundIn(system(machine("a&#10;b", host("1")))));
  EXPECT_EQ("the hostname in \"FILE\" cannot be used: \"\\xC3\\xA9\"",
            foundIn(system(machine("\xc3\xa9", host("1")))));
  EXPECT_EQ(std::string(255, 'h') + ":1",
            foundIn(system(machine(std::string(255, 'h'), host("1")))));
  EXPECT_NE(std::string::npos,
            foundIn(system(machine(std::string(256, 'h'), host("1")))).find("cannot be used"));
}

// --- everything in the file ---

// "a{be:1[velmo fennick]*}": the mark is on the host that runs velmo last.
std::string contentsOf(const std::string& text) {
  const Result<ModulesContents> read = readModulesIn(text, "FILE");
  if (!read.isOk()) {
    velmo_error error{};
    describe(read.fault(), &error);
    return error.message;
  }
  std::string shownContents;
  const ModulesContents& contents = read.value();
  for (std::size_t m = 0; m < contents.machines.size(); ++m) {
    const ModulesMachine& each = contents.machines[m];
    shownContents += (m == 0 ? "" : " ") + each.hostname + "{";
    for (std::size_t h = 0; h < each.hosts.size(); ++h) {
      const ModulesHost& one = each.hosts[h];
      shownContents += (h == 0 ? "" : " ") + one.name + ":";
      shownContents += one.port ? std::to_string(*one.port) : "none";
      for (const std::string& module : one.modules) {
        shownContents += "[" + module + "]";
      }
      shownContents += contents.lastVelmo == std::pair(m, h) ? "*" : "";
    }
    shownContents += "}";
  }
  return shownContents + " -> " + shown(contents.service);
}

TEST(ModulesContentsTest, EveryMachineHostAndModuleIsThereInTheOrderOfTheFile) {
  EXPECT_EQ("a{x:1[velmo][fennick]* :2[other]} b{} -> a:1",
            contentsOf("<system><machine hostname='a'><host name='x' websocket-port='1'>"
                       "<module name='velmo'/><module name='fennick'/></host>"
                       "<host websocket-port='2'><module name='other'/></host></machine>"
                       "<machine hostname='b'/></system>"));
}

TEST(ModulesContentsTest, LastHostThatRunsVelmoIsMarkedThoughItIsUnusable) {
  EXPECT_EQ("a{:1[velmo]} b{:none[velmo]*} -> " + kNone,
            contentsOf(system(machine("a", host("1")) + machine("b", host("x")))));
}

TEST(ModulesContentsTest, PortOutOfRangeIsKept) {
  EXPECT_EQ("a{:70000[velmo]*} -> the websocket-port in \"FILE\" is not in 1 to 65535: 70000",
            contentsOf(system(machine("a", host("70000")))));
}

TEST(ModulesContentsTest, ElementsElsewhereAreIgnored) {
  EXPECT_EQ("a{} -> " + kNone,
            contentsOf(system(machine("a", "<group>" + host("1") + "</group>") + host("2"))));
}

TEST(ModulesContentsTest, FileOfWhichClientsReadNothingHasNoMachines) {
  const std::string root = system(machine("a", host("1")));
  EXPECT_EQ(" -> " + kNone, contentsOf("<!-- c -->" + root));
  EXPECT_EQ(" -> " + kNone, contentsOf("<!DOCTYPE system>" + root));
  EXPECT_EQ(" -> " + kNone, contentsOf("<systems>" + machine("a", host("1")) + "</systems>"));
}

TEST(ModulesContentsTest, MalformedFileIsRefusedThoughItBeginsWell) {
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 1, no element found",
            contentsOf("<system>" + machine("a", host("1"))));
}

TEST(ModulesContentsTest, FileOfTheGreatestSizeIsRead) {
  const std::string rest = system(machine("a", host("1")));
  const std::size_t most = std::size_t{4} * 1024 * 1024;
  const int count = static_cast<int>((most - rest.size() - 100) / std::string("<host/>").size());
  const Result<ModulesContents> read = readModulesIn(
      system(machine("b", repeated("<host/>", count)) + machine("a", host("1"))), "FILE");
  ASSERT_TRUE(read.isOk());
  EXPECT_EQ(static_cast<std::size_t>(count), read.value().machines.at(0).hosts.size());
}

// --- hostile files ---

TEST(ModulesReaderTest, EntitiesAreNeverExpanded) {
  std::string bomb = "<!DOCTYPE system [<!ENTITY e0 'xxxxxxxxxx'>";
  for (int i = 1; i < 30; ++i) {
    bomb += "<!ENTITY e" + std::to_string(i) + " '" +
            repeated("&e" + std::to_string(i - 1) + ";", 10) + "'>";
  }
  EXPECT_EQ(kNone, foundIn(bomb + "]><system>&e29;</system>"));
  EXPECT_EQ(kNone, foundIn("<!DOCTYPE s SYSTEM 'file:///etc/passwd' [<!ENTITY e SYSTEM "
                           "'file:///etc/passwd'>]><system>&e;</system>"));
}

TEST(ModulesReaderTest, DepthIsBounded) {
  EXPECT_EQ("a:1", foundIn(system(repeated("<g>", 999) + repeated("</g>", 999) +
                                  machine("a", host("1")))));
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 1, elements are nested too deeply",
            foundIn(system(repeated("<g>", 1000) + repeated("</g>", 1000))));
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 1, elements are nested too deeply",
            foundIn(repeated("<g>", 1000000)));
}

TEST(ModulesReaderTest, ParserWithoutMemoryThrows) {
  g_hasNoParser = true;
  EXPECT_THROW(foundIn("<system/>"), std::bad_alloc);
  g_hasNoParser = false;
  g_hasNoMemory = true;
  EXPECT_THROW(foundIn("<system/>"), std::bad_alloc);
  g_hasNoMemory = false;
}

// --- files ---

class ModulesReaderFileTest : public testing::Test {
 protected:
  // With the file's path as FILE.
  static std::string foundAt(const std::string& path) {
    std::string text = shown(findService(path));
    const std::size_t at = text.find(path);
    return at == std::string::npos ? text : text.replace(at, path.size(), "FILE");
  }

  velmo::test::TemporaryDirectory directory;
};

TEST_F(ModulesReaderFileTest, FileIsRead) {
  const std::size_t descriptors = velmo::test::openDescriptors();
  EXPECT_EQ("a:1", foundAt(directory.writeFile("modules.xml", system(machine("a", host("1"))))));
  EXPECT_EQ(descriptors, velmo::test::openDescriptors());
}

TEST_F(ModulesReaderFileTest, ContentsAreReadFromTheFileToo) {
  const auto read =
      readModules(directory.writeFile("modules.xml", system(machine("a", host("1")))));
  ASSERT_TRUE(read.isOk());
  EXPECT_EQ("a:1", shown(read.value().service));
  EXPECT_FALSE(readModules(directory.path("none")).isOk());
}

TEST_F(ModulesReaderFileTest, MissingFileIsUnreadable) {
  EXPECT_EQ("cannot read \"FILE\": No such file or directory", foundAt(directory.path("none")));
}

TEST_F(ModulesReaderFileTest, PipeIsNotWaitedFor) {
  const std::string path = directory.path("pipe");
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  EXPECT_EQ("cannot read \"FILE\": not a regular file", foundAt(path));
}

TEST_F(ModulesReaderFileTest, DirectoryAndDeviceAreNotFiles) {
  EXPECT_EQ("cannot read \"FILE\": not a regular file", foundAt(directory.path().string()));
  EXPECT_EQ("cannot read \"FILE\": not a regular file", foundAt("/dev/zero"));
}

TEST_F(ModulesReaderFileTest, FileAboveFourMebibytesIsRefused) {
  const std::string start = system(machine("a", host("1")));
  const std::size_t most = std::size_t{4} * 1024 * 1024;
  const std::string spaces(most - start.size(), ' ');
  EXPECT_EQ("a:1", foundAt(directory.writeFile("modules.xml", start + spaces)));
  EXPECT_EQ("cannot read \"FILE\": larger than 4 MiB",
            foundAt(directory.writeFile("modules.xml", start + spaces + " ")));
}

TEST_F(ModulesReaderFileTest, ProcFileWhoseSizeIsUnknownIsReadToItsEnd) {
  EXPECT_EQ("\"FILE\" is not well-formed XML: line 1, syntax error", foundAt("/proc/self/status"));
}

}  // namespace
