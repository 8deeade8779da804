#include "Fault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "ReplacedAllocation.h"

namespace {

using velmo::client::describe;
using velmo::client::describeFinding;
using velmo::client::Fault;
using velmo::client::inDoubt;
using velmo::client::Outcome;
using velmo::client::Problem;
using velmo::client::Result;
using velmo::client::statusOf;

// An in-doubt failure that could not be moved without memory would become another failure.
static_assert(std::is_nothrow_move_constructible_v<Fault>);
static_assert(std::is_nothrow_move_constructible_v<Outcome>);
static_assert(std::is_nothrow_move_constructible_v<Result<std::string>>);

velmo_error described(const Fault& fault) {
  velmo_error error;
  std::memset(&error, 0x55, sizeof error);
  describe(fault, &error);
  return error;
}

std::string lineOf(const Fault& fault) {
  return described(fault).message;
}

std::string findingOf(const Fault& fault) {
  velmo_error error;
  std::memset(&error, 0x55, sizeof error);
  describeFinding(fault, error);
  return error.message;
}

bool isPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// The problem after another; nothing after the last. The compiler sees to it that each has a row.
std::optional<Problem> after(Problem problem) {
  const auto next = static_cast<Problem>(static_cast<int>(problem) + 1);
  return lineOf(Fault{next}).empty() ? std::nullopt : std::optional(next);
}

template <typename Check>
void forEachProblem(Check check) {
  int count = 0;
  for (std::optional<Problem> problem = Problem::ArgumentMissing; problem;
       problem = after(*problem)) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, "problem " + std::to_string(count++));
    check(*problem);
  }
  EXPECT_GT(count, static_cast<int>(Problem::ReplyNameUnusable));
}

TEST(FaultTest, EveryProblemHasOneShortLineOfPrintableText) {
  forEachProblem([](Problem problem) {
    const std::string line = lineOf(Fault{problem, "SUBJECT", "DETAIL"});
    EXPECT_TRUE(isPrintable(line)) << line;
    EXPECT_LT(line.size(), 250U) << line;
    EXPECT_EQ(std::string::npos, line.find_first_of("{}\\")) << line;
    EXPECT_EQ(std::string::npos, line.find("  ")) << line;
    EXPECT_NE(' ', line.front()) << line;
    EXPECT_EQ(std::string::npos, std::string(". \n").find(line.back())) << line;
  });
}

TEST(FaultTest, EveryProblemHasTheStatusOfAFailure) {
  forEachProblem([](Problem problem) {
    const velmo_status status = statusOf(Fault{problem});
    EXPECT_GT(status, VELMO_OK);
    EXPECT_LE(status, VELMO_UNEXPECTED_REPLY);
    EXPECT_NE(VELMO_IN_DOUBT, status);
  });
}

TEST(FaultTest, EveryProblemWithADetailHasASubject) {
  forEachProblem([](Problem problem) {
    const std::string line = lineOf(Fault{problem, "SUBJECT", "DETAIL"});
    const bool hasSubject = line.find("SUBJECT") != std::string::npos;
    const bool hasDetail = line.find("DETAIL") != std::string::npos;
    EXPECT_TRUE(hasSubject || !hasDetail) << line;
  });
}

TEST(FaultTest, NoSubjectCutsTheReasonOfAnyProblem) {
  const std::string longest(2000, 'x');
  forEachProblem([&](Problem problem) {
    const Fault fault =
        inDoubt(Fault{problem, longest, longest, EXDEV}, "1_2_0_20261122023920_J1_0_sh");
    const std::string line = lineOf(fault);
    EXPECT_THAT(
        line, testing::StartsWith("the task may be queued as \"1_2_0_20261122023920_J1_0_sh\": "));
    EXPECT_THAT(line, testing::EndsWith(": Invalid cross-device link"));
    EXPECT_LE(line.size(), 991U);
  });
}

TEST(FaultTest, LineNamesSubjectDetailAndReason) {
  EXPECT_EQ("command is missing", lineOf(Fault{Problem::ArgumentMissing, "command"}));
  EXPECT_EQ("job contains \"/\": \"a/b\"", lineOf(Fault{Problem::ArgumentHasSlash, "job", "a/b"}));
  EXPECT_EQ(
      "the job counter is locked: \"/l/semaphore_velmo_jobid\" has just been removed",
      lineOf(Fault{Problem::LockTimedOut, "/l/semaphore_velmo_jobid", "has just been removed"}));
  EXPECT_EQ("cannot write the task file \"/tmp/1\": No space left on device",
            lineOf(Fault{Problem::TemporaryFileNotWritten, "/tmp/1", {}, ENOSPC}));
  EXPECT_EQ("out of memory", lineOf(Fault{Problem::OutOfMemory}));
}

TEST(FaultTest, StatusIsThatOfTheProblem) {
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, statusOf(Fault{Problem::ArgumentMissing}));
  EXPECT_EQ(VELMO_NOT_CONFIGURED, statusOf(Fault{Problem::VariableNotSet}));
  EXPECT_EQ(VELMO_NOT_RUNNING, statusOf(Fault{Problem::SemaphoreMissing}));
  EXPECT_EQ(VELMO_TIMED_OUT, statusOf(Fault{Problem::LockTimedOut}));
  EXPECT_EQ(VELMO_STOPPED, statusOf(Fault{Problem::Stopped}));
  EXPECT_EQ(VELMO_SYSTEM_ERROR, statusOf(Fault{Problem::LockNotCreated}));
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, statusOf(Fault{Problem::OutOfMemory}));
  EXPECT_EQ(VELMO_UNREACHABLE, statusOf(Fault{Problem::NotConnected}));
  EXPECT_EQ(VELMO_CONNECTION_LOST, statusOf(Fault{Problem::ConnectionEnded}));
  EXPECT_EQ(VELMO_REFUSED, statusOf(Fault{Problem::RequestRefused}));
  EXPECT_EQ(VELMO_NOT_FOUND, statusOf(Fault{Problem::TaskNotInQueue}));
  EXPECT_EQ(VELMO_UNEXPECTED_REPLY, statusOf(Fault{Problem::FrameWrong}));
}

TEST(FaultTest, FailureInDoubtHasAStatusOfItsOwnAndTheProblemAsCause) {
  const Fault fault = inDoubt(Fault{Problem::ReplyTimedOut, "host:1"}, "");
  EXPECT_EQ(VELMO_IN_DOUBT, statusOf(fault));
  const velmo_error error = described(fault);
  EXPECT_EQ(VELMO_IN_DOUBT, error.status);
  EXPECT_EQ(VELMO_TIMED_OUT, error.cause);
}

TEST(FaultTest, LineInDoubtBeginsWithTheNameOfTheTaskIfItIsKnown) {
  const Fault fault{Problem::QueueNotSynced, "/var/taskqueue", {}, EIO};
  EXPECT_EQ(
      "the task may be queued as \"1_2\": cannot sync the queue \"/var/taskqueue\": "
      "Input/output error",
      lineOf(inDoubt(fault, "1_2")));
  EXPECT_EQ("the task may be queued: cannot sync the queue \"/var/taskqueue\": Input/output error",
            lineOf(inDoubt(fault, "")));
}

TEST(FaultTest, NameInDoubtIsNotReadFromAFailureThatIsNotInDoubt) {
  Fault fault{Problem::OutOfMemory};
  fault.doubt = "1_2";
  EXPECT_EQ(VELMO_OUT_OF_MEMORY, statusOf(fault));
  EXPECT_EQ("out of memory", lineOf(fault));
}

TEST(FaultTest, FindingEndsWithItsRemedy) {
  const Fault fault{Problem::DirectoryMissing, "VAR", "/var", ENOENT};
  EXPECT_EQ("the directory of VAR is missing: \"/var\": No such file or directory", lineOf(fault));
  EXPECT_EQ(lineOf(fault) + "; create it, or correct the variable", findingOf(fault));
}

TEST(FaultTest, FindingOfAMistakeOfTheCallerAsksForAnotherCall) {
  EXPECT_EQ("command is missing; correct the call",
            findingOf(Fault{Problem::ArgumentMissing, "command"}));
}

TEST(FaultTest, FindingHasTheNumbersOfTheFailure) {
  velmo_error error{};
  describeFinding(Fault{Problem::DirectoryMissing, "VAR", "/var", ENOENT}, error);
  EXPECT_EQ(VELMO_NOT_CONFIGURED, error.status);
  EXPECT_EQ(VELMO_NOT_CONFIGURED, error.cause);
  EXPECT_EQ(ENOENT, error.system_error);
}

TEST(FaultTest, NoSubjectCutsTheRemedyOfAnyProblem) {
  const std::string longest(2000, 'x');
  forEachProblem([&](Problem problem) {
    const Fault fault{problem, "SUBJECT", "DETAIL", EXDEV};
    const std::string finding = findingOf(fault);
    const std::string remedy = finding.substr(lineOf(fault).size());
    EXPECT_EQ(lineOf(fault) + remedy, finding);
    EXPECT_TRUE(isPrintable(remedy)) << remedy;
    EXPECT_LT(remedy.size(), 200U) << remedy;
    EXPECT_EQ(std::string::npos, remedy.find_first_of("{}\\")) << remedy;
    EXPECT_THAT(findingOf(Fault{problem, longest, longest, EXDEV}),
                testing::EndsWith(": Invalid cross-device link" + remedy));
  });
}

TEST(FaultTest, ErrorIsWrittenWhole) {
  Fault fault{Problem::RequestRefused, "host:1", "no", EPROTO, 1008};
  const velmo_error error = described(fault);
  EXPECT_EQ(VELMO_REFUSED, error.status);
  EXPECT_EQ(VELMO_REFUSED, error.cause);
  EXPECT_EQ(EPROTO, error.system_error);
  EXPECT_EQ(1008, error.peer_code);
  EXPECT_THAT(error.reserved, testing::Each(0));
  const std::string line = "host:1 refused the request: no: Protocol error";
  EXPECT_EQ(line + std::string(sizeof error.message - line.size(), '\0'),
            std::string(error.message, sizeof error.message));
}

TEST(FaultTest, LongestLineEndsWithNul) {
  const velmo_error error = described(Fault{Problem::ModulesUnreadable, std::string(5000, 'x')});
  EXPECT_EQ('\0', error.message[991]);
  EXPECT_EQ(991U, std::strlen(error.message));
}

TEST(FaultTest, NullGetsNoText) {
  describe(Fault{Problem::OutOfMemory}, nullptr);
}

TEST(FaultTest, DescriptionNeedsNoMemory) {
  const Fault fault =
      inDoubt(Fault{Problem::QueueNotSynced, std::string(5000, '\n'), {}, 4242}, "1_2");
  velmo_error error{};
  velmo::test::g_untilFailure = 0;
  velmo::test::g_failsForGood = true;
  describe(fault, &error);
  velmo::test::g_failsForGood = false;
  velmo::test::g_untilFailure = -1;
  EXPECT_EQ(VELMO_IN_DOUBT, error.status);
  EXPECT_THAT(error.message, testing::EndsWith(": Unknown error 4242"));
}

TEST(FaultTest, MovedFailureNeedsNoMemory) {
  const std::string path(100, 'x');
  Result<int> result = Fault{Problem::QueueNotSynced, path, path, EIO};
  std::string task(100, 'y');
  const long before = velmo::test::g_made;
  const Fault fault = inDoubt(std::move(result.fault()), std::move(task));
  const Outcome outcome = inDoubt(Fault{fault.problem}, {});
  EXPECT_EQ(before, velmo::test::g_made);
  EXPECT_EQ(path, fault.subject);
  EXPECT_EQ(100U, fault.doubt.size());
  EXPECT_TRUE(outcome->isInDoubt);
}

TEST(ResultTest, HasAValueOrAFailure) {
  Result<std::string> good = std::string("value");
  ASSERT_TRUE(good.isOk());
  good.value() += "s";
  EXPECT_EQ("values", std::as_const(good).value());

  Result<std::string> bad = Fault{Problem::ArgumentMissing, "a"};
  ASSERT_FALSE(bad.isOk());
  bad.fault().subject = "b";
  EXPECT_EQ("b is missing", lineOf(std::as_const(bad).fault()));
}

TEST(ResultTest, ValueMayBeMoveOnly) {
  Result<std::unique_ptr<int>> result = std::make_unique<int>(7);
  const std::unique_ptr<int> value = std::move(result.value());
  EXPECT_EQ(7, *value);
}

}  // namespace
