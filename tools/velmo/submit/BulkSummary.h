#ifndef VELMO_BULKSUMMARY_H
#define VELMO_BULKSUMMARY_H

#include <velmo/velmo.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LineOutcome.h"

namespace velmo::cli {

/// Counts of lines by outcome. Empty lines are not counted.
struct BulkCounts {
  std::uint64_t queued = 0;
  std::uint64_t failed = 0;
  std::uint64_t inDoubt = 0;
  Status firstFailure = Status::ok;  ///< of the lines that certainly failed

  void add(const LineOutcome& outcome);

  std::uint64_t lines() const {
    return queued + failed + inDoubt;
  }
};

/// How a run over many lines ended.
struct BulkResult {
  BulkCounts counts{};
  std::optional<std::uint64_t> firstNotSubmitted{};  ///< the line, if the run stopped early
  bool isOutputClosed = false;                       ///< the reader of the results is gone
  Status failure = Status::ok;                       ///< of the run, not of a line
  std::vector<std::string> failureTexts{};           ///< for people
  bool isResultLost = false;  ///< a task is queued, but its result could not be written
  bool isRestKept = false;    ///< whether lines that were not submitted are in the file
  std::string failedPath{};   ///< the file of lines that failed; empty if there are none
  std::string inDoubtPath{};  ///< the file of lines in doubt; empty if there are none
};

/// The exit status: Status::inDoubt if any line is, or is so for a program that reads the results
/// because that of a queued task could not be written; then that of a failure of the run;
/// Status::stopped if it stopped early; then that of the first line that failed.
Status statusOf(const BulkResult& result);

/// The lines for people that end a run.
std::string summaryOf(const BulkResult& result, double seconds);

}  // namespace velmo::cli

#endif
