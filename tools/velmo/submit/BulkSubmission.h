#ifndef VELMO_BULKSUBMISSION_H
#define VELMO_BULKSUBMISSION_H

#include <velmo/velmo.hpp>

#include <atomic>
#include <optional>

#include "BulkSummary.h"
#include "FailedLines.h"
#include "InputLines.h"
#include "Output.h"
#include "Progress.h"
#include "TaskSender.h"

namespace velmo::cli {

/// What a bulk submission works with.
struct BulkPlaces {
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
  BulkSubmission(const BulkPlaces& places, const Task& defaults, bool isJson)
      : m_places(places), m_defaults(defaults), m_isJson(isJson) {}

  /// Runs to the end of the input, unless the stop flag, a reader of the results that is gone, or a
  /// file that cannot be read or written ends it before. Lines that were not submitted are then
  /// kept with the failed lines, to the end of the input.
  BulkResult run();

 private:
  void runLines();
  bool runLine(const InputLine& line);
  LineOutcome attempt(const InputLine& line);
  LineOutcome outcomeOf(const InputLine& line);
  void noteLoss(const LineOutcome& outcome);
  bool keep(const InputLine& line, const LineOutcome& outcome);
  bool report(const InputLine& line, const LineOutcome& outcome);
  void stopAt(const InputLine* line);
  void keepRest(const InputLine* line);
  void fail(Status status, const std::string& text);

  BulkPlaces m_places;
  const Task& m_defaults;
  bool m_isJson;
  BulkResult m_result;
  std::optional<LineOutcome> m_loss;  // what every later line comes to
};

}  // namespace velmo::cli

#endif
