#include "BulkSubmission.h"

#include <new>
#include <string>

#include "Failure.h"
#include "TaskLine.h"

namespace velmo::cli {

BulkResult BulkSubmission::run() {
  try {
    runLines();
  } catch (const Failure& failure) {  // of the input
    fail(failure.status(), failure.what());
  }
  m_places.progress.clear();
  if (m_places.failedLines != nullptr) {
    m_result.failedPath = m_places.failedLines->failedPath();
    m_result.inDoubtPath = m_places.failedLines->inDoubtPath();
  }
  return m_result;
}

void BulkSubmission::runLines() {
  while (const std::optional<InputLine> line = m_places.input.next()) {
    const bool isEmpty = line->bytes == "\n";
    if (!isEmpty && !runLine(*line)) {
      return;
    }
  }
  if (!m_places.input.isAtEnd()) {
    stopAt(nullptr);
  }
}

// Returns whether the run goes on.
bool BulkSubmission::runLine(const InputLine& line) {
  if (m_places.stop != 0) {
    stopAt(&line);
    return false;
  }
  const LineOutcome outcome = attempt(line);
  if (outcome.status == Status::stopped) {
    stopAt(&line);
    return false;
  }
  m_result.counts.add(outcome);
  // Kept first: who reads the result can rely on the file.
  const bool isKept = keep(line, outcome);
  const bool isReported = report(line, outcome);
  if (isKept && isReported) {
    m_places.progress.show(m_result.counts, std::chrono::steady_clock::now());
    return true;
  }
  m_result.firstNotSubmitted = line.number + 1;
  if (isKept) {
    keepRest(nullptr);
  }
  return false;
}

LineOutcome BulkSubmission::attempt(const InputLine& line) {
  if (m_loss) {
    return *m_loss;
  }
  LineOutcome outcome = outcomeOf(line);
  if (outcome.status != Status::ok && m_places.sender.isLost()) {
    noteLoss(outcome);
  }
  return outcome;
}

LineOutcome BulkSubmission::outcomeOf(const InputLine& line) {
  if (line.isTooLong) {
    return {Status::invalidArgument, "", "line too long"};
  }
  try {
    return {Status::ok, m_places.sender.send(taskOf(line.text, m_defaults))};
  } catch (const InDoubt& doubt) {
    return {Status::inDoubt, doubt.taskName(), doubt.what()};
  } catch (const Error& error) {
    return {error.status(), "", error.what()};
  } catch (const Failure& failure) {
    return {failure.status(), "", failure.what()};
  } catch (const std::bad_alloc&) {  // certainly not queued
    return {Status::outOfMemory, "", "out of memory"};
  }
}

// Later lines are not even tried, so none of them is in doubt.
void BulkSubmission::noteLoss(const LineOutcome& outcome) {
  m_loss = outcome.status == Status::inDoubt
               ? LineOutcome{Status::timedOut, "", "not sent: the service does not reply in time"}
               : outcome;
}

bool BulkSubmission::keep(const InputLine& line, const LineOutcome& outcome) {
  if (m_places.failedLines == nullptr || outcome.status == Status::ok) {
    return true;
  }
  try {
    if (outcome.status == Status::inDoubt) {
      m_places.failedLines->keepInDoubt(line, m_places.input);
    } else {
      m_places.failedLines->keepFailed(line, m_places.input);
    }
    return true;
  } catch (const Failure& failure) {
    fail(failure.status(),
         std::string(failure.what()) + "; line " + std::to_string(line.number) + " is not in it");
    return false;
  }
}

bool BulkSubmission::report(const InputLine& line, const LineOutcome& outcome) {
  try {
    m_places.results.write(m_isJson ? jsonLineOf(line.number, outcome)
                                    : textLine(line.number, outcome));
    return true;
  } catch (const OutputClosed&) {
    m_result.isOutputClosed = true;
  } catch (const Failure& failure) {
    const std::string queued =
        outcome.status == Status::ok
            ? "; line " + std::to_string(line.number) + " is queued as " + outcome.name
            : "";
    fail(failure.status(), failure.what() + queued);
  }
  return false;
}

void BulkSubmission::stopAt(const InputLine* line) {
  m_result.firstNotSubmitted = line != nullptr ? line->number : m_places.input.nextNumber();
  keepRest(line);
}

// Keeps a line that was read, and everything behind it.
void BulkSubmission::keepRest(const InputLine* line) {
  if (m_places.failedLines == nullptr) {
    return;
  }
  try {
    m_places.progress.clear();
    if (m_places.stop != 0) {
      m_places.messages.writeLine(
          "velmo: stopping; lines that were not submitted are kept (a second signal ends this)");
    }
    if (line != nullptr) {
      m_places.failedLines->keepFailed(*line, m_places.input);
    }
    m_places.failedLines->keepRest(m_places.input);
    m_result.isRestKept = true;
  } catch (const OutputClosed&) {
    m_result.isOutputClosed = true;
  } catch (const Failure& failure) {
    fail(failure.status(),
         std::string(failure.what()) + "; lines that were not submitted are lost");
  }
}

// The first failure counts.
void BulkSubmission::fail(Status status, const std::string& text) {
  if (m_result.failure == Status::ok) {
    m_result.failure = status;
    m_result.failureText = text;
  }
}

}  // namespace velmo::cli
