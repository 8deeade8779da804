// If something is missing, each example names it, exits with 1 and leaves no file behind.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ClientProcess.h"
#include "ScriptedPeer.h"
#include "TemporaryDirectory.h"
#include "WireMessages.h"

namespace {

using velmo::test::ClientOutcome;
using velmo::test::envelopeOf;
using velmo::test::exists;
using velmo::test::frame;
using velmo::test::kBinary;
using velmo::test::kFinal;
using velmo::test::namesIn;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::runAgainst;
using velmo::test::Tell;
using velmo::test::TemporaryDirectory;

using Variables = std::map<std::string, std::string>;

// Runs in the child, with exactly these variables as environment. Standard output goes to standard
// error.
[[noreturn]] void become(const std::string& program, const Variables& variables,
                         const std::string& directory) {
  clearenv();
  // The example leaks a client with a broken connection on purpose.
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
  for (const auto& [name, value] : variables) {
    setenv(name.c_str(), value.c_str(), 1);
  }
  dup2(STDERR_FILENO, STDOUT_FILENO);
  if (chdir(directory.c_str()) == 0) {
    execl(program.c_str(), program.c_str(), nullptr);
  }
  _exit(99);
}

class ExamplesTest : public testing::Test {
 protected:
  ClientOutcome run(const std::string& program, const Variables& variables) const {
    return runAgainst({}, [&](unsigned short /*port*/, const Tell& /*tell*/) {
      become(program, variables, directory.path().string());
    });
  }

  const TemporaryDirectory directory;
};

// --- submit_by_message ---

class SubmitByMessageTest : public ExamplesTest {
 protected:
  // Runs the example with this modules.xml against peers that follow these scripts; returns its
  // output and its end. PORT in the file becomes the port of the peer. In the result, DIR stands
  // for the directory and PORT for the port.
  std::string outcomeWith(const std::string& modules, const std::vector<PeerScript>& scripts) {
    const ClientOutcome outcome = runAgainst(scripts, [&](unsigned short number, const Tell& tell) {
      tell(std::to_string(number));
      directory.writeFile("modules.xml", replaced(modules, "PORT", std::to_string(number)));
      become(SUBMIT_BY_MESSAGE_PROGRAM, {{"VELMO_MODULES_XML", path}}, directory.path().string());
    });
    EXPECT_EQ("", outcome.peer);
    const std::string port = outcome.report.substr(0, outcome.report.find(';'));
    const std::string text = replaced(outcome.errors, directory.path().string(), "DIR");
    return replaced(text, ":" + port, ":PORT") + outcome.end;
  }

  static std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
      text.replace(at, what.size(), by);
    }
    return text;
  }

  static std::string systemAt(const std::string& port) {
    return "<system><machine hostname='127.0.0.1'><host websocket-port='" + port +
           "'><module name='velmo'/></host></machine></system>";
  }

  const std::string path = directory.path("modules.xml");
};

TEST_F(SubmitByMessageTest, MissingFileIsNamedWithTheSystemsReason) {
  const ClientOutcome outcome = run(SUBMIT_BY_MESSAGE_PROGRAM, {{"VELMO_MODULES_XML", path}});
  EXPECT_EQ("cannot read " + path + ": No such file or directory\n", outcome.errors);
  EXPECT_EQ("exit 1", outcome.end);
}

TEST_F(SubmitByMessageTest, FileThatIsNotWellFormedIsNamed) {
  EXPECT_EQ(
      "cannot use DIR/modules.xml (SAXParseException); "
      "try: xmllint --noout DIR/modules.xml\nexit 1",
      outcomeWith("<system><machine>", {}));
}

TEST_F(SubmitByMessageTest, FileWithoutTheServiceIsNamed) {
  EXPECT_EQ(
      "cannot submit: Velmo not configured in modules.xml (DIR/modules.xml names no host)\nexit 1",
      outcomeWith("<system/>", {}));
}

TEST_F(SubmitByMessageTest, RefusedConnectionIsReportedWithFileHostAndPort) {
  EXPECT_EQ("cannot submit: Connection refused (DIR/modules.xml names 127.0.0.1:1)\nexit 1",
            outcomeWith(systemAt("1"), {}));
}

TEST_F(SubmitByMessageTest, EndpointIsTheLastHostThatRunsTheService) {
  const std::string modules =
      "<system><machine hostname='192.0.2.1'><host websocket-port='2'><module name='velmo'/></host>"
      "</machine><machine hostname='127.0.0.1'><host websocket-port='1'><module name='velmo'/>"
      "</host><host websocket-port='3'><module name='fennick'/></host></machine></system>";
  EXPECT_EQ("cannot submit: Connection refused (DIR/modules.xml names 127.0.0.1:1)\nexit 1",
            outcomeWith(modules, {}));
}

TEST_F(SubmitByMessageTest, PeerWithoutWebSocketIsReportedWithItsAnswer) {
  const PeerScript refuse = [](PeerConnection& peer) {
    peer.readHead();
    peer.send("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
  };
  EXPECT_EQ(
      "cannot submit: WebSocket Exception: Cannot upgrade to WebSocket connection: Not Found "
      "(DIR/modules.xml names 127.0.0.1:PORT)\nexit 1",
      outcomeWith(systemAt("PORT"), {refuse}));
}

TEST_F(SubmitByMessageTest, ConnectionThatIsResetIsReportedAndSurvived) {
  const PeerScript resetAfterRequest = [](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.reset();
  };
  EXPECT_EQ(
      "cannot submit: Connection reset by peer (DIR/modules.xml names 127.0.0.1:PORT)\nexit 1",
      outcomeWith(systemAt("PORT"), {resetAfterRequest}));
}

TEST_F(SubmitByMessageTest, ServiceThatIsGoneBeforeTheRequestIsReportedAndSurvived) {
  const PeerScript closeAtOnce = [](PeerConnection& peer) {
    peer.upgrade();
    peer.close();
  };
  // The call finds the connection closed or reset, depending on timing.
  const std::string outcome = outcomeWith(systemAt("PORT"), {closeAtOnce});
  const std::string rest = " (DIR/modules.xml names 127.0.0.1:PORT)\nexit 1";
  EXPECT_TRUE(outcome == "cannot submit: Wrong type of message is returned!" + rest ||
              outcome == "cannot submit: Connection reset by peer" + rest ||
              outcome == "cannot submit: I/O error: Broken pipe" + rest)
      << outcome;
}

TEST_F(SubmitByMessageTest, ReplyOfAnotherTypeIsReported) {
  const PeerScript echo = [](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(frame(kFinal | kBinary, envelopeOf({})));
    peer.drain();
  };
  EXPECT_EQ(
      "cannot submit: Wrong type of message is returned! "
      "(DIR/modules.xml names 127.0.0.1:PORT)\nexit 1",
      outcomeWith(systemAt("PORT"), {echo}));
}

// --- submit_by_file ---

TEST_F(ExamplesTest, SubmitByFileNamesTheVariablesOfThePriorities) {
  directory.makeDirectory("velmo");
  const ClientOutcome outcome =
      run(SUBMIT_BY_FILE_PROGRAM, {{"DATA", directory.path()}, {"LOCK_VAR", directory.path()}});
  EXPECT_EQ("job J0\ncannot submit: VELMO_HOME or CONF is not set\n", outcome.errors);
  EXPECT_EQ("exit 1", outcome.end);
}

// --- job_registry ---

class JobRegistryExampleTest : public ExamplesTest {
 protected:
  JobRegistryExampleTest() {
    for (const char* name : {"VAR", "TMP", "VELMO_HOME", "CONF", "DATA", "LOCK_VAR"}) {
      variables[name] = directory.makeDirectory(name);
    }
    directory.makeDirectory("DATA/velmo");
    variables["SHARED_VELMO_TASKID"] = "1";
    variables["SEMAPHORE_VELMO_TASKID"] = "1";
  }

  Variables variables;
};

TEST_F(JobRegistryExampleTest, EachUnsetVariableIsNamedAndNoJobFileIsLeft) {
  for (const auto& [name, value] : variables) {
    Variables without = variables;
    without.erase(name);
    const ClientOutcome outcome = run(JOB_REGISTRY_PROGRAM, without);
    EXPECT_EQ("not set: " + name + "\n", outcome.errors);
    EXPECT_EQ("exit 1", outcome.end);
  }
  EXPECT_EQ((std::vector<std::string>{"CONF", "DATA", "LOCK_VAR", "TMP", "VAR", "VELMO_HOME"}),
            namesIn(directory.path()));
  EXPECT_TRUE(namesIn(directory.path("VAR")).empty());
}

TEST_F(JobRegistryExampleTest, EachMissingDirectoryIsNamedAndNoJobFileIsLeft) {
  const std::string missing = directory.path("missing");
  for (const char* name : {"VAR", "LOCK_VAR", "DATA"}) {
    Variables changed = variables;
    changed[name] = missing;
    const ClientOutcome outcome = run(JOB_REGISTRY_PROGRAM, changed);
    const std::string used = name == std::string("DATA") ? missing + "/velmo" : missing;
    EXPECT_EQ("not a directory: " + used + "\n", outcome.errors);
    EXPECT_EQ("exit 1", outcome.end);
  }
  EXPECT_FALSE(exists(missing));
  EXPECT_TRUE(namesIn(directory.path("VAR")).empty());
}

TEST_F(JobRegistryExampleTest, WithoutAnIdentifierNoJobFileIsLeft) {
  directory.makeDirectory("DATA/velmo/jobid_tmp");  // no identifier can be issued
  const ClientOutcome outcome = run(JOB_REGISTRY_PROGRAM, variables);
  EXPECT_EQ("no job identifier (see the system log)\n", outcome.errors);
  EXPECT_EQ("exit 1", outcome.end);
  EXPECT_TRUE(namesIn(directory.path("VAR")).empty());
}

}  // namespace
