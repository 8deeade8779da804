// What callers give, and what the file "modules.xml" says.

#include <gtest/gtest.h>
#include <velmo/velmo.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ConnectionTest.h"
#include "Environment.h"

namespace {

using velmo::test::answering;
using velmo::test::ConnectionTest;
using velmo::test::endpointAt;
using velmo::test::Environment;
using velmo::test::naming;
using velmo::test::PeerConnection;
using velmo::test::tellTest;
using velmo::test::TemporaryDirectory;

class ArgumentsTest : public ConnectionTest {
 protected:
  std::string writeModules(const std::string& hostname, const std::string& port) const {
    return directory.writeFile(
        "modules.xml", "<system><machine hostname='" + hostname + "'><host websocket-port='" +
                           port + "'><module name='velmo'/></host></machine></system>");
  }

  std::string find(const char* modules) const {
    std::array<char, VELMO_NAME_SIZE> host{"untouched"};
    int port = -7;
    velmo_error error{};
    const velmo_status status = velmo_find_service(modules, host.data(), &port, &error);
    if (status == VELMO_OK) {
      return std::string(host.data()) + ":" + std::to_string(port);
    }
    EXPECT_STREQ("untouched", host.data());
    EXPECT_EQ(-7, port);
    std::string text = velmo::test::shownError(status, error, 0);
    const std::size_t at = text.find(directory.path().string());
    return at == std::string::npos ? text
                                   : text.replace(at, directory.path().string().size(), "DIR");
  }

  TemporaryDirectory directory;
};

// --- velmo_connect ---

TEST_F(ArgumentsTest, EndpointThatCannotBeIsRefused) {
  struct Row {
    velmo_endpoint endpoint;
    int timeoutMs;
    std::string text;
  };
  velmo_endpoint small = endpointAt("h", 1);
  small.size -= 1;
  velmo_endpoint path = endpointAt("h", 1);
  path.path = "velmo";
  velmo_endpoint blankPath = endpointAt("h", 1);
  blankPath.path = "/a b";
  const std::string longHost(256, 'h');
  const std::vector<Row> rows{
      {small, 1, "1: the size of velmo_endpoint is 47: set it to the sizeof of the struct"},
      {endpointAt("h", 0), 1, "1: port is out of range: 0"},
      {endpointAt("h", -1), 1, "1: port is out of range: -1"},
      {endpointAt("h", 65536), 1, "1: port is out of range: 65536"},
      {endpointAt("", -1), 1, "1: port is out of range: -1"},
      {endpointAt("a b", 1), 1, "1: host contains a blank or a control character: \"a b\""},
      {endpointAt("a\r\nX: y", 1), 1,
       "1: host contains a blank or a control character: \"a\\x0D\\x0AX: y\""},
      {endpointAt(longHost.c_str(), 1), 1, "1: host is too long: 256 bytes"},
      {path, 1, "1: path is not an absolute path: \"velmo\""},
      {blankPath, 1, "1: path contains a blank or a control character: \"/a b\""},
      {endpointAt("h", 1), -2, "1: timeout_ms is out of range: -2"},
  };
  for (const Row& row : rows) {
    velmo_error error{};
    connection = reinterpret_cast<velmo_connection*>(this);
    EXPECT_EQ(VELMO_INVALID_ARGUMENT,
              velmo_connect(&row.endpoint, row.timeoutMs, &connection, &error));
    EXPECT_EQ(row.text, velmo::test::shownError(VELMO_INVALID_ARGUMENT, error, 0));
    EXPECT_EQ(nullptr, connection);
  }
}

TEST_F(ArgumentsTest, OutIsNeeded) {
  velmo_error error{};
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_connect(&endpoint, 0, nullptr, &error));
  EXPECT_STREQ("out is missing", error.message);
}

TEST_F(ArgumentsTest, EndpointOfALaterHeaderIsTakenIfTheRestIsZero) {
  startPeer({answering({naming("n")}), answering({naming("n")})});
  struct {
    velmo_endpoint known;
    long later;  // as wide as the alignment: no padding behind it
  } larger{endpoint, 0};
  larger.known.size = sizeof larger;
  EXPECT_EQ(VELMO_OK, velmo_connect(&larger.known, kLongMs, &connection, nullptr));
  disconnect(0);
  larger.later = 1;
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_connect(&larger.known, kLongMs, &connection, nullptr));
}

TEST_F(ArgumentsTest, WithoutAHostTheModulesFileSaysWhere) {
  startPeer({answering({naming("n")})});
  const std::string file = writeModules("127.0.0.1", std::to_string(endpoint.port));
  endpoint = endpointAt(nullptr, 0);
  endpoint.modules_xml = file.c_str();
  EXPECT_EQ("OK", connect());
  EXPECT_EQ("OK n", send());
}

TEST_F(ArgumentsTest, PortReplacesThatOfTheModulesFile) {
  startPeer({answering({naming("n")})});
  const std::string file = writeModules("127.0.0.1", "1");
  endpoint.host = "";
  endpoint.modules_xml = file.c_str();
  EXPECT_EQ("OK", connect());
}

TEST_F(ArgumentsTest, WithoutAnEndpointTheVariableSaysWhere) {
  startPeer({[](PeerConnection& connected) { tellTest(connected.upgrade().substr(0, 20)); }});
  Environment environment;
  environment.set("VELMO_MODULES_XML", writeModules("127.0.0.1", std::to_string(endpoint.port)));
  EXPECT_EQ(VELMO_OK, velmo_connect(nullptr, kLongMs, &connection, nullptr));
  EXPECT_EQ("GET /velmo HTTP/1.1\r", peer->end());
}

TEST_F(ArgumentsTest, ModulesFileIsNotReadIfAHostIsGiven) {
  startPeer({answering({naming("n")})});
  endpoint.modules_xml = "/nowhere/modules.xml";
  EXPECT_EQ("OK", connect());
}

// --- velmo_find_service ---

TEST_F(ArgumentsTest, ServiceIsFoundInTheGivenFileOrTheVariablesOne) {
  const std::string file = writeModules("far.example", "8,080");
  EXPECT_EQ("far.example:8080", find(file.c_str()));
  EXPECT_EQ(VELMO_OK, velmo_find_service(file.c_str(), nullptr, nullptr, nullptr));
  Environment environment;
  environment.set("VELMO_MODULES_XML", file);
  EXPECT_EQ("far.example:8080", find(nullptr));
  EXPECT_EQ("far.example:8080", find(""));
  EXPECT_EQ("2, errno 2: cannot read \"/nowhere/m.xml\": No such file or directory",
            find("/nowhere/m.xml"));
}

TEST_F(ArgumentsTest, WithoutAVariableTheFileOfTheInstallationIsRead) {
  Environment environment;
  environment.set("VELMO_MODULES_XML", "");
  EXPECT_EQ(
      "2, errno 2: cannot read \"/home/dorvan/var/conf/modules.xml\": No such file or directory",
      find(nullptr));
}

TEST_F(ArgumentsTest, PortThatNobodyCanListenOnIsRefused) {
  for (const std::string port : {"0", "65536", "70000", "-2"}) {
    EXPECT_EQ("2: the websocket-port in \"DIR/modules.xml\" is not in 1 to 65535: " + port,
              find(writeModules("h", port).c_str()));
  }
}

// --- velmo_send ---

TEST_F(ArgumentsTest, TaskThatCannotBeSentIsRefused) {
  connectTo({answering({naming("n")})});
  const velmo_task good = task;
  const auto refusal = [&](const velmo_task& wrong) {
    task = wrong;
    std::string text = send();
    task = good;
    return text;
  };
  const auto with = [&](const char* velmo_task::*field, const char* text) {
    velmo_task wrong = good;
    wrong.*field = text;
    return refusal(wrong);
  };
  EXPECT_EQ("1: priority_class is missing", with(&velmo_task::priority_class, nullptr));
  EXPECT_EQ("1: command is missing", with(&velmo_task::command, ""));
  EXPECT_EQ("1: command contains a line feed", with(&velmo_task::command, "a\nb"));
  EXPECT_EQ("1: information contains a line feed", with(&velmo_task::information, "a\n"));
  EXPECT_EQ("1: by message, type is \"sh\" or \"java\", not \"py\"", with(&velmo_task::type, "py"));
  EXPECT_EQ("1: job contains \"/\": \"a/b\"", with(&velmo_task::job, "a/b"));
  EXPECT_EQ("1: sub_job contains a control character: \"\\x01\"",
            with(&velmo_task::sub_job, "\x01"));
  for (const auto& [field, name] : std::vector<std::pair<const char * velmo_task::*, std::string>>{
           {&velmo_task::priority_class, "priority_class"},
           {&velmo_task::command, "command"},
           {&velmo_task::adjustment, "adjustment"},
           {&velmo_task::job, "job"},
           {&velmo_task::sub_job, "sub_job"},
           {&velmo_task::information, "information"}}) {
    EXPECT_EQ("1: " + name + " is not UTF-8, which the service expects", with(field, "\xe9t\xe9"));
  }
  EXPECT_EQ("OK n", send());
}

TEST_F(ArgumentsTest, OtherArgumentsOfASendAreChecked) {
  connectTo({answering({naming("n")})});
  EXPECT_EQ("1: timeout_ms is out of range: -2", send(-2));
  velmo_error error{};
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_send(nullptr, &task, 0, nullptr, &error));
  EXPECT_STREQ("connection is missing", error.message);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_send(connection, nullptr, 0, nullptr, &error));
  EXPECT_STREQ("task is missing", error.message);
  EXPECT_EQ("OK n", send());
}

}  // namespace
