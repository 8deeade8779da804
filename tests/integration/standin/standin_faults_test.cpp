// velmo-standin with --fault: what a client receives, and what is queued.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <velmo/CreateTaskFile.h>
#include <velmo/IMSemaphore.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "StandinPortTest.h"
#include "StandinProcess.h"
#include "SystemVObjects.h"
#include "WebSocketClient.h"
#include "WireMessages.h"

namespace fs = std::filesystem;

namespace velmo::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

std::vector<std::string> failing(const std::string& kind, std::vector<std::string> others = {}) {
  others.insert(others.begin(), {"--no-run", "--fault", kind});
  return onAnyPort(others);
}

std::string request() {
  return completeRequest().SerializeAsString();
}

// A stand-in with a fault, and one request that it has received.
class FaultyStandin {
 public:
  explicit FaultyStandin(const std::string& kind) : m_kind(kind), m_process(failing(kind)) {
    m_client.shakeHands();
    m_client.sendFrame(kFinal | kBinary, request());
  }

  WebSocketClient& client() {
    return m_client;
  }
  StandinProcess& process() {
    return m_process;
  }

  // The name of the only task, once it is queued and reported.
  std::string queuedTask() {
    EXPECT_TRUE(waitUntil([this] { return !m_process.errors().empty(); }));
    const std::vector<std::string> names = namesIn(m_process.home() / "var/taskqueue");
    EXPECT_EQ(1U, names.size());
    EXPECT_EQ("velmo-standin: --fault " + m_kind + ": " + names.at(0) + " is queued\n",
              m_process.errors());
    return names.at(0);
  }

 private:
  std::string m_kind;
  StandinProcess m_process;
  WebSocketClient m_client{m_process.port()};
};

// --- requests whose task is queued ---

TEST(StandinFaultTest, SilentQueuesTheTaskAndSendsNothingUntilItEnds) {
  FaultyStandin standin("silent");
  EXPECT_THAT(standin.queuedTask(), StartsWith("0520."));
  standin.client().sendFrame(kFinal | kPing, "");
  EXPECT_EQ(0, standin.process().end());
  EXPECT_EQ("", standin.client().readToTheEnd());
}

TEST(StandinFaultTest, DripSendsOneByteEvery50Milliseconds) {
  FaultyStandin standin("drip");
  const std::string reply = frame(kFinal | kBinary, responseNaming(standin.queuedTask()));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(reply.substr(0, 8), standin.client().read(8));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);  // at least the last six pauses
}

TEST(StandinFaultTest, ResetAfterRequestQueuesTheTaskAndSendsNothing) {
  FaultyStandin standin("reset-after-request");
  EXPECT_TRUE(standin.client().endsWithReset());
  standin.queuedTask();
}

TEST(StandinFaultTest, ResetAfterReplySendsTheWholeReply) {
  FaultyStandin standin("reset-after-reply");
  EXPECT_EQ(standin.queuedTask(), taskNameFrom(standin.client().receiveFrame()->payload));
  EXPECT_TRUE(standin.client().endsWithReset());
}

TEST(StandinFaultTest, WrongReplyIsTheRequest) {
  FaultyStandin standin("wrong-reply");
  const std::string expected = frame(kFinal | kBinary, request());
  EXPECT_EQ(expected, standin.client().read(expected.size()));
  standin.queuedTask();
}

TEST(StandinFaultTest, TooLargeReplyNamesTheTaskAndHasMoreThanOneMebibyte) {
  FaultyStandin standin("too-large");
  const std::string payload = standin.client().receiveFrame()->payload;
  EXPECT_GT(payload.size(), 1048576U);
  EXPECT_THAT(taskNameFrom(payload), StartsWith(standin.queuedTask() + "xxx"));
}

TEST(StandinFaultTest, PingFirstSendsAPingThenTheReplyAndWaitsForNoPong) {
  FaultyStandin standin("ping-first");
  const std::string name = standin.queuedTask();
  const std::string expected =
      frame(kFinal | kPing, "velmo-standin") + frame(kFinal | kBinary, responseNaming(name));
  EXPECT_EQ(expected, standin.client().read(expected.size()));
  standin.client().sendFrame(kFinal | kBinary, request());
  EXPECT_EQ(kFinal | kPing, standin.client().receiveFrame()->flags);
  EXPECT_NE(name, taskNameFrom(standin.client().receiveFrame()->payload));
}

TEST(StandinFaultTest, MaskedReplyIsUnderAMask) {
  FaultyStandin standin("masked");
  const WebSocketFrame reply = standin.client().readFrame();
  EXPECT_TRUE(reply.isMasked);
  EXPECT_EQ(kFinal | kBinary, reply.flags);
  EXPECT_EQ(standin.queuedTask(), taskNameFrom(reply.payload));
}

// --- requests whose task is not queued ---

TEST(StandinFaultTest, CloseHasTheCodeAndTheFaultAsItsReasonAndQueuesNothing) {
  for (const std::uint16_t code : std::vector<std::uint16_t>{1000, 1008, 1011, 4999}) {
    const std::string kind = "close-" + std::to_string(code);
    const std::string label = "--fault " + kind;
    FaultyStandin standin(kind);
    EXPECT_EQ(frame(kFinal | kClose, closePayload(code, label)), standin.client().readToTheEnd());
    EXPECT_EQ("velmo-standin: refused a message: " + label + "\n", standin.process().errors());
    EXPECT_THAT(namesIn(standin.process().home() / "var/taskqueue"), IsEmpty());
  }
}

TEST(StandinFaultTest, Http503AnswersTheHandshake) {
  StandinProcess standin(failing("http-503"));
  EXPECT_EQ("HTTP/1.1 503 Service Unavailable", WebSocketClient(standin.port()).shakeHands());
  EXPECT_EQ("velmo-standin: refused GET /velmo: --fault http-503 (503)\n", standin.errors());
}

// --- which requests ---

TEST(StandinFaultTest, EveryRequestFailsAndRefusedOnesAreRefusedAsEver) {
  StandinProcess standin(failing("wrong-reply"));
  const auto client = clientOf(standin);
  EXPECT_EQ(request(), client->ask(request()));
  EXPECT_EQ(request(), client->ask(request()));
  client->sendFrame(kFinal | kBinary, "");
  EXPECT_EQ(closePayload(1003, "a BaseMessage without an addTaskRequest"),
            client->receiveFrame()->payload);
}

TEST(StandinFaultTest, CountedFaultStrikesOnlyTheFirstTimes) {
  const StandinProcess wrong(failing("wrong-reply", {"--faults", "2"}));
  EXPECT_EQ(request(), clientOf(wrong)->ask(request()));
  EXPECT_EQ(request(), clientOf(wrong)->ask(request()));
  EXPECT_THAT(ask(wrong, request()), HasSubstr("-3.R0007."));

  const StandinProcess unavailable(failing("http-503", {"--faults", "1"}));
  EXPECT_THAT(WebSocketClient(unavailable.port()).shakeHands(), HasSubstr(" 503 "));
  EXPECT_THAT(ask(unavailable, request()), HasSubstr("-1.R0007."));
}

TEST(StandinFaultTest, TaskOfAFaultyRequestIsRun) {
  StandinProcess standin(onAnyPort({"--fault", "reset-after-request"}));
  const auto client = clientOf(standin);
  client->sendFrame(kFinal | kBinary, requestFor("exit 3"));
  EXPECT_TRUE(client->endsWithReset());
  EXPECT_EQ(0, standin.end());
  EXPECT_THAT(standin.errors(), MatchesRegex("[^\n]* is queued\n[^\n]*: exit 3\n"));
}

// --- faults of the installation ---

TEST(StandinFaultTest, NotRunningHasNoCounterAndRunsNothing) {
  const TemporaryDirectory directory;
  StandinProcess(inHome(directory.path(), {"--", "true"})).wait();
  const TestTask task{50, 1};
  queueFile(directory.path(), task.fileName(), "true\n");
  StandinProcess standin(inHome(directory.path(), {"--fault", "not-running"}));
  EXPECT_FALSE(segmentExists(standin.key("SHARED_VELMO_TASKID")));
  EXPECT_FALSE(semaphoreExists(standin.key("SEMAPHORE_VELMO_TASKID")));
  EXPECT_EQ(0, standin.end());
  EXPECT_EQ("", standin.errors());
  EXPECT_THAT(namesIn(directory.path() / "var/taskqueue"), ElementsAre(task.fileName()));
}

TEST(StandinFaultTest, CounterThatAProgramCreatesWhileNotRunningIsRemovedAtTheEnd) {
  StandinProcess standin({"--fault", "not-running"});
  const int segment = standin.key("SHARED_VELMO_TASKID");
  const int semaphore = standin.key("SEMAPHORE_VELMO_TASKID");
  ASSERT_GE(shmget(segment, 4, IPC_CREAT | 0600), 0);
  ASSERT_GE(semget(semaphore, 1, IPC_CREAT | 0600), 0);
  EXPECT_EQ(0, standin.end());
  EXPECT_FALSE(segmentExists(segment));
  EXPECT_FALSE(semaphoreExists(semaphore));
}

TEST(StandinFaultTest, CommandThatFailsUnderAFaultIsNotToldOfThePort) {
  StandinProcess standin({"--fault", "not-running", "--", "/bin/sh", "-c", "exit 7"});
  EXPECT_EQ(7, standin.wait());
  EXPECT_EQ("", standin.errors());
}

TEST(StandinFaultTest, StaleLockNamesAProcessThatHasEndedAndIsRemovedAtTheEnd) {
  const TemporaryDirectory directory;
  StandinProcess standin(inHome(directory.path(), {"--fault", "stale-lock"}));
  const fs::path lock = fs::path(standin.environment().at("LOCK_VAR")) / "semaphore_velmo_jobid";
  const std::string text = textOf(lock);
  EXPECT_THAT(text, MatchesRegex("[0-9]+\n"));
  EXPECT_FALSE(fs::exists("/proc/" + text.substr(0, text.size() - 1)));
  EXPECT_EQ(0, standin.end());
  EXPECT_FALSE(fs::exists(lock));
}

TEST(StandinFaultTest, StaleLockKeepsNewJobsOutButNoTaskOfAGivenJob) {
  StandinProcess standin({"--fault", "stale-lock"});
  standin.applyEnvironment();
  EXPECT_EQ(0, createTaskFile("Normal", "true", nullptr, nullptr, "J5", nullptr, nullptr, 0));
  EXPECT_FALSE(brix::imutils::IMSemaphore("velmo_jobid", false).lockResource());
  EXPECT_EQ(0, standin.end());
  EXPECT_THAT(standin.errors(),
              HasSubstr("job J5, sub-job 0, task 1, relative 0, type sh: exit 0"));
}

}  // namespace
}  // namespace velmo::test
