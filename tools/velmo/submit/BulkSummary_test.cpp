#include "BulkSummary.h"

#include <gtest/gtest.h>

namespace velmo::cli {
namespace {

BulkResult resultOf(std::uint64_t queued, std::uint64_t failed, std::uint64_t inDoubt) {
  BulkResult result;
  result.counts.queued = queued;
  result.counts.failed = failed;
  result.counts.inDoubt = inDoubt;
  result.counts.firstFailure = failed > 0 ? Status::refused : Status::ok;
  return result;
}

TEST(BulkSummaryTest, CountsAndRateAreOnOneLine) {
  EXPECT_EQ("velmo: 100000 lines: 99991 queued, 9 failed, 0 in doubt, 12.3 s, 8129 tasks/s\n",
            summaryOf(resultOf(99991, 9, 0), 12.3));
}

TEST(BulkSummaryTest, OneLineIsSingular) {
  EXPECT_EQ("velmo: 1 line: 1 queued, 0 failed, 0 in doubt, 2.0 s, 0 tasks/s\n",
            summaryOf(resultOf(1, 0, 0), 2));
}

TEST(BulkSummaryTest, RunWithoutTimeHasARate) {
  EXPECT_EQ("velmo: 0 lines: 0 queued, 0 failed, 0 in doubt, 0.0 s, 0 tasks/s\n",
            summaryOf(resultOf(0, 0, 0), 0));
}

TEST(BulkSummaryTest, StoppedRunNamesTheFirstLineThatWasNotSubmitted) {
  BulkResult result = resultOf(2, 0, 0);
  result.firstNotSubmitted = 3;
  EXPECT_EQ(
      "velmo: 2 lines: 2 queued, 0 failed, 0 in doubt, 1.0 s, 2 tasks/s\n"
      "velmo: stopped at line 3; the lines from 3 on are not queued\n",
      summaryOf(result, 1));
}

TEST(BulkSummaryTest, RestThatIsEmptyIsNotSaidToBeKept) {
  BulkResult result = resultOf(1, 0, 0);
  result.firstNotSubmitted = 2;
  result.isRestKept = true;
  EXPECT_EQ(
      "velmo: 1 line: 1 queued, 0 failed, 0 in doubt, 1.0 s, 1 tasks/s\n"
      "velmo: stopped at line 2; the lines from 2 on are not queued\n",
      summaryOf(result, 1));
}

TEST(BulkSummaryTest, FilesAreNamed) {
  BulkResult result = resultOf(0, 1, 1);
  result.firstNotSubmitted = 3;
  result.isRestKept = true;
  result.failedPath = "f\x1b";
  result.inDoubtPath = "d";
  EXPECT_EQ(
      "velmo: 2 lines: 0 queued, 1 failed, 1 in doubt, 1.0 s, 0 tasks/s\n"
      "velmo: stopped at line 3; the lines from 3 on are not queued, and are with the failed "
      "lines\n"
      "velmo: failed lines: \"f?\"\n"
      "velmo: lines in doubt: \"d\"\n"
      "velmo: look in the queue before you submit lines in doubt again\n",
      summaryOf(result, 1));
}

TEST(BulkSummaryTest, FailureOfTheRunComesFirst) {
  BulkResult result = resultOf(0, 0, 0);
  result.failure = Status::systemError;
  result.failureTexts = {"disk full", "again"};
  EXPECT_EQ(
      "velmo: disk full\n"
      "velmo: again\n"
      "velmo: 0 lines: 0 queued, 0 failed, 0 in doubt, 1.0 s, 0 tasks/s\n",
      summaryOf(result, 1));
}

TEST(BulkSummaryTest, StatusIsZeroIfEverythingIsQueued) {
  EXPECT_EQ(Status::ok, statusOf(resultOf(2, 0, 0)));
}

TEST(BulkSummaryTest, StatusIsThatOfTheFirstLineThatFailed) {
  BulkResult result;
  result.counts.add({Status::ok, "n"});
  result.counts.add({Status::refused});
  result.counts.add({Status::timedOut});
  EXPECT_EQ(Status::refused, statusOf(result));
}

TEST(BulkSummaryTest, StatusOfARunThatStoppedIsStopped) {
  BulkResult result = resultOf(1, 1, 0);
  result.firstNotSubmitted = 3;
  EXPECT_EQ(Status::stopped, statusOf(result));
  result.failure = Status::systemError;
  EXPECT_EQ(Status::systemError, statusOf(result));
}

TEST(BulkSummaryTest, StatusInDoubtWins) {
  BulkResult result = resultOf(1, 1, 1);
  result.firstNotSubmitted = 3;
  result.failure = Status::systemError;
  EXPECT_EQ(Status::inDoubt, statusOf(result));
}

TEST(BulkSummaryTest, QueuedLineWithoutAResultIsInDoubtForTheReaderOfTheResults) {
  BulkResult result = resultOf(1, 0, 0);
  result.failure = Status::systemError;
  result.isResultLost = true;
  EXPECT_EQ(Status::inDoubt, statusOf(result));
}

}  // namespace
}  // namespace velmo::cli
