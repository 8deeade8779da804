// Both libraries find the same service in a file "modules.xml".

#include <Poco/Exception.h>
#include <gtest/gtest.h>
#include <velmo/SystemConfig.h>

#include <cstddef>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "Endpoint.h"
#include "ModulesReader.h"
#include "TemporaryDirectory.h"

namespace {

using brix::velmo::findEndpoint;
using velmo::client::findService;
using velmo::client::Problem;
using velmo::test::TemporaryDirectory;

class Random {
 public:
  std::size_t below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_engine);
  }

  bool oneIn(std::size_t count) {
    return below(count) == 0;
  }

  std::string oneOf(const std::vector<std::string>& texts) {
    return texts[below(texts.size())];
  }

 private:
  std::mt19937 m_engine{20240305};  // NOLINT: the same in every run
};

// --- files ---

// "host:port" with the lower 16 bits of the port, "none", or "malformed".
std::string byOldLibrary(const std::string& path) {
  try {
    const SystemConfig config(path);
    const auto endpoint = findEndpoint(config.getMachines());
    return endpoint ? endpoint->host + ":" + std::to_string(endpoint->port) : "none";
  } catch (const Poco::Exception&) {
    return "malformed";
  }
}

std::string byNewLibrary(const std::string& path) {
  const auto service = findService(path);
  if (service.isOk()) {
    return service.value().host + ":" + std::to_string(service.value().port);
  }
  switch (service.fault().problem) {
    case Problem::ModulesWithoutService:
      return "none";
    case Problem::ModulesMalformed:
      return "malformed";
    case Problem::ModulesPortUnusable:
      return "unusable port " + std::to_string(std::stoi(service.fault().detail) & 0xFFFF);
    default:
      return "unusable host";
  }
}

// The new library refuses ports to which the old one would fail to connect.
bool isSame(const std::string& old, const std::string& found) {
  const std::string unusable = "unusable port ";
  if (found.compare(0, unusable.size(), unusable) == 0) {
    const std::string port = ":" + found.substr(unusable.size());
    return old.size() > port.size() && old.substr(old.size() - port.size()) == port;
  }
  if (found == "unusable host") {
    return old != "none" && old != "malformed";
  }
  return old == found;
}

class Generator {
 public:
  std::string document() {
    std::string text = m_random.oneIn(3) ? "<?xml version='1.0' encoding='UTF-8'?>\n" : "";
    text += m_random.oneIn(20) ? other() : "";
    text += element({m_random.oneIn(20) ? "System" : "system", "machine", "host", "module"}, 0);
    text += m_random.oneIn(5) ? other() : "";
    return m_random.oneIn(3) ? mutated(text) : text;
  }

 private:
  std::string other() {
    return m_random.oneOf({"<!-- c -->", "<?system x?>", "<?p?>", "\n", "  ", "<!---->"});
  }

  std::string attributes() {
    static const std::vector<std::string> kNames{"hostname", "websocket-port", "name",   "id",
                                                 "rmi-port", "p:hostname",     "xmlns:p"};
    static const std::vector<std::string> kValues{
        "velmo", "velmo", "velmo", "alpha", "beta.example", "8080", "8,080", "70000",
        "-1",    "-3",    "0",     "",      " 80",          "80 ",  "abc",   "fennick",
        "Velmo", "&#98;", "a\tb",  "&lt;",  "a&#10;b"};
    std::string text;
    for (const std::string& name : kNames) {
      const bool isPrefixed = name.find(':') != std::string::npos;
      if (isPrefixed ? m_random.oneIn(60) : !m_random.oneIn(9)) {
        text +=
            " " + name + "='" + (m_random.oneIn(8) ? m_random.oneOf(kValues) : good(name)) + "'";
      }
    }
    return text + (m_random.oneIn(15) ? " xmlns='urn:x'" : "");
  }

  std::string good(const std::string& name) {
    return name == "websocket-port" ? std::to_string(m_random.below(70000))
           : name == "hostname"     ? m_random.oneOf({"alpha", "beta.example"})
                                    : "velmo";
  }

  std::string element(const std::vector<std::string>& names, std::size_t level) {
    const std::string& name = names[m_random.oneIn(12) ? m_random.below(names.size()) : level];
    const std::string prefix = m_random.oneIn(60) ? "p:" : "";
    const std::string start = prefix + name + attributes();
    if (m_random.oneIn(10)) {
      return "<" + start + "/>";
    }
    return "<" + start + ">" + children(names, level + 1) + "</" + prefix + name + ">";
  }

  std::string children(const std::vector<std::string>& names, std::size_t level) {
    std::string text;
    for (std::size_t i = 1 + m_random.below(3); i > 0 && level < names.size(); --i) {
      text += m_random.oneIn(3) ? other() : "";
      text += m_random.oneIn(15) ? "<![CDATA[<machine/>]]>text&amp;" : "";
      text += m_random.oneIn(10) ? "<group>" + element(names, level) + "</group>"
                                 : element(names, level);
    }
    return text;
  }

  std::string mutated(std::string text) {
    for (std::size_t i = 1 + m_random.below(2); i > 0; --i) {
      const std::size_t at = m_random.below(text.size());
      if (m_random.oneIn(2)) {
        text[at] = m_random.oneOf({"<", ">", "'", " ", "&", "x", "\x01", "\xe9", "/", ":"})[0];
      } else {
        text.erase(at, 1 + m_random.below(3));
      }
    }
    return text;
  }

  Random m_random;
};

class SameServiceFileTest : public testing::Test {
 protected:
  std::string difference(const std::string& contents) const {
    const std::string path = directory.writeFile("modules.xml", contents);
    const std::string old = byOldLibrary(path);
    const std::string found = byNewLibrary(path);
    return isSame(old, found) ? "" : old + " and " + found + " in:\n" + contents;
  }

  TemporaryDirectory directory;
};

TEST_F(SameServiceFileTest, InFilesAtRandom) {
  Generator generator;
  const char* given = std::getenv("VELMO_TEST_MODULES");
  int found = 0;
  const int count = given != nullptr ? std::atoi(given) : 2000;
  for (int i = 0; i < count; ++i) {
    const std::string contents = generator.document();
    ASSERT_EQ("", difference(contents));
    found += byNewLibrary(directory.path("modules.xml")).find(':') != std::string::npos ? 1 : 0;
  }
  EXPECT_GT(found, count / 20);
}

TEST_F(SameServiceFileTest, InFilesWhoseRootIsNotTheFirstNode) {
  const std::string root =
      "<system><machine hostname='h'><host websocket-port='1'><module name='velmo'/></host>"
      "</machine></system>";
  const std::string path = directory.writeFile("modules.xml", root);
  EXPECT_EQ("h:1", byOldLibrary(path));
  for (const std::string before :
       {"", "<?xml version='1.0'?>", "\n<!-- c -->", "<?system?>", "<!DOCTYPE system>",
        "<?xml version='1.0'?><!-- c -->", "<!DOCTYPE system [<!ENTITY e 'x'>]>"}) {
    EXPECT_EQ("", difference(before + root));
  }
  EXPECT_EQ("", difference(root + "<!-- c -->"));
}

TEST_F(SameServiceFileTest, InFilesOfOtherEncodings) {
  const std::string ascii =
      "<system><machine hostname='h'><host websocket-port='1'><module name='velmo'/></host>"
      "</machine></system>";
  const std::string root =
      "<system><machine id='\xe9' hostname='h'><host websocket-port='1'><module name='velmo'/>"
      "</host></machine></system>";
  for (const std::string encoding :
       {"ISO-8859-1", "Latin1", "Latin-1", "ISO-8859-2", "Latin2", "ISO-8859-15", "latin-9",
        "windows-1250", "CP1251", "Windows-1252", "US-ASCII", "UTF-8", "UTF16", "EBCDIC"}) {
    EXPECT_EQ("", difference("<?xml version='1.0' encoding='" + encoding + "'?>" + root));
  }
  EXPECT_EQ("", difference("<?xml version='1.0' encoding='UTF8'?>" + ascii));
  EXPECT_EQ("h:1", byNewLibrary(directory.path("modules.xml")));
}

}  // namespace
