// The outcome of velmo.hpp's calls under each fault of velmo-standin, as velmo-standin.1 states it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <string>
#include <vector>
#include <velmo/velmo.hpp>

#include "StandinProcess.h"

namespace velmo::test {
namespace {

using namespace std::chrono_literals;

using testing::ContainsRegex;

struct Outcome {
  Status status = Status::ok;
  Status cause = Status::ok;
  int peerCode = 0;
  std::string message{};
};

template <typename Call>
Outcome outcomeOf(Call call) {
  try {
    call();
    return {};
  } catch (const Error& error) {
    return {error.status(), error.cause(), error.peerCode(), error.what()};
  }
}

void expectOutcome(const Outcome& expected, const Outcome& outcome, const std::string& kind) {
  EXPECT_EQ(expected.status, outcome.status) << kind << ": " << outcome.message;
  EXPECT_EQ(expected.cause, outcome.cause) << kind << ": " << outcome.message;
  EXPECT_EQ(expected.peerCode, outcome.peerCode) << kind << ": " << outcome.message;
}

Task taskOf(const std::string& job) {
  Task task;
  task.priorityClass = "Normal";
  task.command = "true";
  task.job = job;
  return task;
}

Endpoint endpointOf(const StandinProcess& standin) {
  Endpoint endpoint;
  endpoint.host = "127.0.0.1";
  endpoint.port = standin.port();
  return endpoint;
}

TEST(StandinFaultClientTest, SendHasTheOutcomeOfEachFault) {
  struct Row {
    const char* kind;
    Outcome outcome;
  };
  const std::vector<Row> rows{
      {"silent", {Status::inDoubt, Status::timedOut}},
      {"drip", {Status::inDoubt, Status::timedOut}},
      {"reset-after-request", {Status::inDoubt, Status::connectionLost}},
      {"reset-after-reply", {}},
      {"wrong-reply", {Status::inDoubt, Status::unexpectedReply}},
      {"too-large", {Status::inDoubt, Status::unexpectedReply}},
      {"ping-first", {}},
      {"masked", {Status::inDoubt, Status::unexpectedReply}},
      {"close-1003", {Status::refused, Status::refused, 1003}},
      {"close-1007", {Status::refused, Status::refused, 1007}},
      {"close-1008", {Status::refused, Status::refused, 1008}},
      {"close-1009", {Status::refused, Status::refused, 1009}},
      {"close-1000", {Status::inDoubt, Status::connectionLost, 1000}},
      {"close-1011", {Status::inDoubt, Status::connectionLost, 1011}},
      {"close-4999", {Status::inDoubt, Status::connectionLost, 4999}},
      {"http-503", {Status::unreachable, Status::unreachable, 503}},
  };
  for (const Row& row : rows) {
    const StandinProcess standin({"--port", "0", "--no-run", "--fault", row.kind});
    expectOutcome(row.outcome, outcomeOf([&] {
                    Connection(endpointOf(standin), 10s).send(taskOf("J5"), 200ms);
                  }),
                  row.kind);
  }
}

// The reset follows the reply, so it may arrive a moment later.
TEST(StandinFaultClientTest, NextRequestIsNotSentAfterAResetAfterReply) {
  const StandinProcess standin({"--port", "0", "--no-run", "--fault", "reset-after-reply"});
  int pauseMilliseconds = 0;
  EXPECT_TRUE(waitUntil([&] {
    Connection connection(endpointOf(standin), 10s);
    EXPECT_NE("", connection.send(taskOf("J5"), 10s));
    poll(nullptr, 0, pauseMilliseconds++);
    const Outcome outcome = outcomeOf([&] { connection.send(taskOf("J5"), 10s); });
    return outcome.status == Status::connectionLost;
  }));
}

TEST(StandinFaultClientTest, SubmitFindsThatTheServiceIsNotRunning) {
  StandinProcess standin({"--fault", "not-running"});
  standin.applyEnvironment();
  expectOutcome({Status::notRunning, Status::notRunning},
                outcomeOf([] { Installation().submit(taskOf("J5"), 10s); }), "not-running");
}

TEST(StandinFaultClientTest, SubmitTimesOutForANewJobAtAStaleLockAndNamesItsMaker) {
  StandinProcess standin({"--fault", "stale-lock"});
  standin.applyEnvironment();
  const Installation installation;
  const Outcome outcome = outcomeOf([&] { installation.submit(taskOf(""), 50ms); });
  expectOutcome({Status::timedOut, Status::timedOut}, outcome, "stale-lock");
  EXPECT_THAT(outcome.message, ContainsRegex("made by process [0-9]+, which has ended"));
  EXPECT_NE("", installation.submit(taskOf("J5"), 10s));
}

}  // namespace
}  // namespace velmo::test
