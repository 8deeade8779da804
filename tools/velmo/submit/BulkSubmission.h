#ifndef VELMO_BULKSUBMISSION_H
#define VELMO_BULKSUBMISSION_H

#include <velmo/velmo.hpp>

#include <atomic>
#include <optional>
#include <string>

#include "BulkSummary.h"
#include "FailedLines.h"
#include "InputLines.h"
#include "Output.h"
#include "Progress.h"
#include "TaskSender.h"

namespace velmo::cli {

/// What a bulk submission works with.
struct BulkContext {
  InputLines& input;
  TaskSender& sender;
  Output& results;
  Output& messages;
  Progress& progress;
  FailedLines* failedLines;  ///< null: lines that failed are not kept
  const std::atomic<int>& stop;
};

/// Submits a task for each line of the input, and reports each at once.
class BulkSubmission {
 public:
  /// @param defaults  the fields that a line does not have
  /// @param isJson    whether results are JSON objects
  BulkSubmission(const BulkContext& context, const Task& defaults, bool isJson)
      : m_context(context), m_defaults(defaults), m_isJson(isJson) {}

  /// Runs to the end of the input. The following end it earlier: the stop flag, a result that
  /// cannot be written, an input that cannot be read, a file that cannot be written, memory that
  /// runs out. If `failedLines` is not null, the lines that were not submitted are then read to the
  /// end of the input and kept with the failed lines, unless that file is the one that cannot be
  /// written. Never throws a Failure: the result says what failed. A message on standard error that
  /// cannot be written is ignored.
  BulkResult run();

 private:
  void runLines();
  bool runLine(const InputLine& line);
  LineOutcome attempt(const InputLine& line);
  LineOutcome outcomeOf(const InputLine& line);
  void noteLoss(const LineOutcome& outcome);
  bool keep(const InputLine& line, const LineOutcome& outcome);
  bool report(const InputLine& line, const LineOutcome& outcome);
  void noteLostResult(const InputLine& line, const LineOutcome& outcome, Status status,
                      const std::string& why);
  void stopAt(const InputLine* line);
  void keepRest(const InputLine* line);
  void announceStop();
  void fail(Status status, const std::string& text);

  BulkContext m_context;
  const Task& m_defaults;
  bool m_isJson;
  bool m_isStopAnnounced = false;
  int m_unanswered = 0;  // tasks in doubt or timed out since the last answered one
  BulkResult m_result;
  std::optional<LineOutcome> m_loss;  // the outcome of every later line
};

}  // namespace velmo::cli

#endif
