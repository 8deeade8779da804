// If something is missing, each example of libvelmo names it, exits with 1 and leaves no file
// behind.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ExamplesTest.h"
#include "WireMessages.h"

namespace {

using velmo::test::ClientOutcome;
using velmo::test::envelopeOf;
using velmo::test::ExamplesTest;
using velmo::test::exists;
using velmo::test::frame;
using velmo::test::kBinary;
using velmo::test::kFinal;
using velmo::test::namesIn;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;

// --- submit_by_message ---

class SubmitByMessageTest : public ExamplesTest {
 protected:
  std::string outcomeWith(const std::string& modules, const std::vector<PeerScript>& scripts) {
    return ExamplesTest::outcomeWith(SUBMIT_BY_MESSAGE_PROGRAM, modules, scripts);
  }
};

TEST_F(SubmitByMessageTest, MissingFileIsNamedWithTheSystemsReason) {
  const ClientOutcome outcome =
      run(SUBMIT_BY_MESSAGE_PROGRAM, {{"VELMO_MODULES_XML", modulesFile}});
  EXPECT_EQ("cannot read " + modulesFile + ": No such file or directory\n", outcome.errors);
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
