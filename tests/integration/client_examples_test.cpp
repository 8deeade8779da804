// If something is missing, each example of libvelmo-client says what, and exits with the status of
// the call that failed.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ExamplesTest.h"
#include "SystemVKeys.h"
#include "WireMessages.h"

namespace {

using velmo::test::ClientOutcome;
using velmo::test::ExamplesTest;
using velmo::test::namesIn;
using velmo::test::naming;
using velmo::test::PeerConnection;
using velmo::test::PeerScript;
using velmo::test::UnusedKey;

// --- by file, in C++ and in C ---

class FileExamplesTest : public ExamplesTest {
 protected:
  FileExamplesTest() {
    for (const char* name : {"VAR", "TMP", "VELMO_HOME", "CONF", "DATA", "LOCK_VAR"}) {
      variables[name] = directory.makeDirectory(name);
    }
    directory.makeDirectory("DATA/velmo");
    directory.makeDirectory("VAR/taskqueue");
    directory.writeFile("CONF/priorities.cfg", "Normal = 500\n");
    variables["SHARED_VELMO_TASKID"] = key.text();
    variables["SEMAPHORE_VELMO_TASKID"] = key.text();
  }

  const UnusedKey key;  // so no service is running
  Variables variables;
};

TEST_F(FileExamplesTest, MissingVariableIsNamed) {
  const ClientOutcome outcome = run(SUBMIT_PROGRAM, {});
  EXPECT_EQ("not queued: DATA is not set\n", outcome.errors);
  EXPECT_EQ("exit 2", outcome.end);
}

TEST_F(FileExamplesTest, ServiceThatDoesNotRunIsNamed) {
  const ClientOutcome outcome = run(SUBMIT_PROGRAM, variables);
  EXPECT_EQ("not queued: the service is not running: the semaphore of its task counter, key " +
                key.text() + ", is missing\n",
            outcome.errors);
  EXPECT_EQ("exit 3", outcome.end);
  EXPECT_TRUE(namesIn(directory.path("TMP")).empty());
}

TEST_F(FileExamplesTest, ExampleInCShowsEveryFinding) {
  const ClientOutcome outcome = run(SUBMIT_FROM_C_PROGRAM, variables);
  const std::string reason = "the service is not running: ";
  EXPECT_EQ(0U, outcome.errors.find("not queued: " + reason)) << outcome.errors;
  EXPECT_NE(std::string::npos, outcome.errors.find("\n- " + reason)) << outcome.errors;
  EXPECT_EQ("exit 3", outcome.end);
  EXPECT_TRUE(namesIn(directory.path("TMP")).empty());
}

TEST_F(FileExamplesTest, ExampleInCNamesTheMissingVariables) {
  const ClientOutcome outcome = run(SUBMIT_FROM_C_PROGRAM, {});
  for (const char* name : {"VAR", "TMP", "DATA", "LOCK_VAR", "SHARED_VELMO_TASKID"}) {
    const std::string line = std::string("\n- ") + name + " is not set";
    EXPECT_NE(std::string::npos, outcome.errors.find(line)) << outcome.errors;
  }
  EXPECT_EQ("exit 2", outcome.end);
}

// --- by message ---

class MessageExamplesTest : public ExamplesTest {
 protected:
  std::string outcomeAt(const std::string& port, const std::vector<PeerScript>& scripts) {
    return outcomeWith(SUBMIT_PROGRAM, systemAt(port), scripts, {"--message"});
  }
};

TEST_F(MessageExamplesTest, MissingFileIsNamedWithTheSystemsReason) {
  const ClientOutcome outcome =
      run(SUBMIT_PROGRAM, {{"VELMO_MODULES_XML", modulesFile}}, {"--message"});
  EXPECT_EQ("not queued: cannot read \"" + modulesFile + "\": No such file or directory\n",
            outcome.errors);
  EXPECT_EQ("exit 2", outcome.end);
}

TEST_F(MessageExamplesTest, RefusedConnectionIsReportedWithItsAddress) {
  EXPECT_EQ("not queued: cannot connect to 127.0.0.1:1: Connection refused\nexit 8",
            outcomeAt("1", {}));
}

TEST_F(MessageExamplesTest, ServiceThatIsGoneAfterARequestLeavesADoubt) {
  const PeerScript answerOne = [](PeerConnection& peer) {
    peer.upgrade();
    peer.readMessage();
    peer.send(naming("first"));
    peer.readMessage();
  };
  EXPECT_EQ(
      "queued first\n"
      "look before you repeat: the task may be queued: 127.0.0.1:PORT has ended the connection\n"
      "exit 11",
      outcomeAt("PORT", {answerOne}));
}

}  // namespace
