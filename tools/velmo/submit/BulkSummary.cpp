#include "BulkSummary.h"

#include <fmt/format.h>

#include <algorithm>

#include "OneLine.h"

namespace velmo::cli {

namespace {

constexpr double kShortest = 0.001;  // of a run, for its rate

std::string countsOf(const BulkCounts& counts, double seconds) {
  return fmt::format("velmo: {} {}: {} queued, {} failed, {} in doubt, {:.1f} s, {:.0f} tasks/s\n",
                     counts.lines(), counts.lines() == 1 ? "line" : "lines", counts.queued,
                     counts.failed, counts.inDoubt, seconds,
                     static_cast<double>(counts.queued) / std::max(seconds, kShortest));
}

std::string stopOf(const BulkResult& result) {
  if (!result.firstNotSubmitted) {
    return "";
  }
  const bool isKept = result.isRestKept && !result.failedPath.empty();
  return fmt::format("velmo: stopped at line {0}; the lines from {0} on are not queued{1}\n",
                     *result.firstNotSubmitted, isKept ? ", and are with the failed lines" : "");
}

std::string filesOf(const BulkResult& result) {
  std::string lines;
  if (!result.failedPath.empty()) {
    lines += "velmo: failed lines: \"" + tools::oneLine(result.failedPath) + "\"\n";
  }
  if (!result.inDoubtPath.empty()) {
    lines += "velmo: lines in doubt: \"" + tools::oneLine(result.inDoubtPath) + "\"\n";
  }
  if (result.counts.inDoubt > 0) {
    lines += "velmo: look in the queue before you submit lines in doubt again\n";
  }
  return lines;
}

}  // namespace

void BulkCounts::add(const LineOutcome& outcome) {
  if (outcome.status == Status::ok) {
    ++queued;
  } else if (outcome.status == Status::inDoubt) {
    ++inDoubt;
  } else {
    firstFailure = failed == 0 ? outcome.status : firstFailure;
    ++failed;
  }
}

Status statusOf(const BulkResult& result) {
  if (result.counts.inDoubt > 0 || result.isResultLost) {
    return Status::inDoubt;
  }
  if (result.failure != Status::ok) {
    return result.failure;
  }
  return result.firstNotSubmitted ? Status::stopped : result.counts.firstFailure;
}

std::string summaryOf(const BulkResult& result, double seconds) {
  std::string failures;
  for (const std::string& text : result.failureTexts) {
    failures += "velmo: " + text + "\n";
  }
  return failures + countsOf(result.counts, seconds) + stopOf(result) + filesOf(result);
}

}  // namespace velmo::cli
