#include "BulkSubmission.h"

#include <new>

#include "Failure.h"
#include "OneLine.h"
#include "TaskLine.h"

namespace velmo::cli {

namespace {

constexpr const char* kOutOfMemory = "out of memory";

// A single one may be caused by the task itself, for example by its size. Each costs a timeout, or
// a look by hand.
constexpr int kMostUnanswered = 2;

std::string lineText(std::uint64_t number) {
  return "; line " + std::to_string(number);
}

// The reason in a message that begins with "the task may be queued".
std::string_view reasonOf(std::string_view message) {
  const std::size_t colon = message.find(": ");
  const bool isPrefixed = message.rfind("the task may be queued", 0) == 0;
  return isPrefixed && colon != std::string_view::npos ? message.substr(colon + 2) : message;
}

// The message may be missing if memory has run out; the status may not.
LineOutcome outcomeOf(const InDoubt& doubt) {
  LineOutcome outcome{Status::inDoubt, "", "", doubt.cause()};
  try {
    outcome.name = doubt.taskName();
    outcome.message = doubt.what();
  } catch (const std::bad_alloc&) {
    outcome.message = kOutOfMemory;
  }
  return outcome;
}

}  // namespace

BulkResult BulkSubmission::run() {
  if (m_context.failedLines != nullptr) {
    m_context.input.whenStopIsIgnored([this] { announceStop(); });
  }
  try {
    runLines();
  } catch (const Failure& failure) {  // of the input
    fail(failure.status(), failure.what());
    stopAt(nullptr);
  } catch (const std::bad_alloc&) {
    fail(Status::outOfMemory, kOutOfMemory);
    stopAt(nullptr);
  }
  m_context.input.whenStopIsIgnored({});
  m_context.progress.clear();
  if (m_context.failedLines != nullptr) {
    m_result.failedPath = m_context.failedLines->failedPath();
    m_result.inDoubtPath = m_context.failedLines->inDoubtPath();
  }
  return m_result;
}

void BulkSubmission::runLines() {
  while (const std::optional<InputLine> line = m_context.input.next()) {
    const bool isEmpty = line->bytes == "\n";
    if (!isEmpty && !runLine(*line)) {
      return;
    }
  }
  if (!m_context.input.isAtEnd()) {
    stopAt(nullptr);
  }
}

// Returns whether the run goes on.
bool BulkSubmission::runLine(const InputLine& line) {
  // Waiting before the task is submitted leaves no task without a result.
  if (m_context.stop != 0 || !m_context.results.waitUntilWritable(m_context.stop)) {
    stopAt(&line);
    return false;
  }
  const LineOutcome outcome = attempt(line);
  if (outcome.status == Status::stopped) {
    stopAt(&line);
    return false;
  }
  m_result.counts.add(outcome);
  // Kept first: a program that reads the result can rely on the file.
  const bool isKept = keep(line, outcome);
  const bool isReported = report(line, outcome);
  if (!isKept || !isReported) {
    stopAt(nullptr);
    return false;
  }
  m_context.progress.show(m_result.counts, std::chrono::steady_clock::now());
  return true;
}

LineOutcome BulkSubmission::attempt(const InputLine& line) {
  LineOutcome outcome = outcomeOf(line);
  if (m_loss) {
    return outcome;
  }
  if (outcome.status == Status::inDoubt || outcome.status == Status::timedOut) {
    ++m_unanswered;
  } else if (outcome.status == Status::ok || outcome.status == Status::refused) {
    m_unanswered = 0;
  }
  const bool isLost = outcome.status != Status::ok && m_context.sender.isLost();
  if (isLost || m_unanswered >= kMostUnanswered) {
    noteLoss(outcome);
  }
  return outcome;
}

LineOutcome BulkSubmission::outcomeOf(const InputLine& line) {
  try {
    if (m_loss) {
      return *m_loss;
    }
    if (line.isTooLong) {
      return {Status::invalidArgument, "", "line too long"};
    }
    return {Status::ok, m_context.sender.send(taskOf(line.text, m_defaults))};
  } catch (const InDoubt& doubt) {
    return cli::outcomeOf(doubt);
  } catch (const Error& error) {
    return {error.status(), "", error.what()};
  } catch (const Failure& failure) {
    return {failure.status(), "", failure.what()};
  } catch (const std::bad_alloc&) {  // certainly not queued
    return {Status::outOfMemory, "", kOutOfMemory};
  }
}

// Later lines are not even tried, so none of them is in doubt.
void BulkSubmission::noteLoss(const LineOutcome& outcome) {
  const bool isInDoubt = outcome.status == Status::inDoubt;
  m_loss = LineOutcome{isInDoubt ? outcome.cause : outcome.status, "", "not sent"};
  try {
    m_loss->message =
        isInDoubt ? "not sent: the last task is in doubt: " + std::string(reasonOf(outcome.message))
                  : outcome.message;
  } catch (const std::bad_alloc&) {  // the short message remains
  }
}

bool BulkSubmission::keep(const InputLine& line, const LineOutcome& outcome) {
  if (m_context.failedLines == nullptr || outcome.status == Status::ok) {
    return true;
  }
  try {
    if (outcome.status == Status::inDoubt) {
      m_context.failedLines->keepInDoubt(line, m_context.input);
    } else {
      m_context.failedLines->keepFailed(line, m_context.input);
    }
    return true;
  } catch (const Failure& failure) {
    fail(failure.status(), failure.what() + lineText(line.number) + " is in no file");
  } catch (const std::bad_alloc&) {
    fail(Status::outOfMemory, kOutOfMemory + lineText(line.number) + " is in no file");
  }
  return false;
}

bool BulkSubmission::report(const InputLine& line, const LineOutcome& outcome) {
  try {
    if (m_context.results.waitUntilWritable(m_context.stop)) {
      m_context.results.write(m_isJson ? jsonLineOf(line.number, outcome)
                                       : textLine(line.number, outcome));
      return true;
    }
    noteLostResult(line, outcome, Status::ok, "stopped while standard output could not be written");
  } catch (const OutputClosed&) {
    m_result.isOutputClosed = true;
    noteLostResult(line, outcome, Status::ok, "the reader of standard output is gone");
  } catch (const Failure& failure) {
    noteLostResult(line, outcome, failure.status(), failure.what());
  } catch (const std::bad_alloc&) {
    noteLostResult(line, outcome, Status::outOfMemory, kOutOfMemory);
  }
  return false;
}

// Names the task, because its result line was lost.
void BulkSubmission::noteLostResult(const InputLine& line, const LineOutcome& outcome,
                                    Status status, const std::string& why) {
  if (outcome.status == Status::ok) {
    m_result.isResultLost = true;
    fail(status, why + lineText(line.number) + " is queued as " + tools::oneLine(outcome.name));
  } else if (outcome.status == Status::inDoubt) {
    fail(status, why + lineText(line.number) + " is in doubt: " + tools::oneLine(outcome.message));
  } else if (status != Status::ok) {
    fail(status, why);
  }
}

// Ends the run before a line that was read, or before the next one.
void BulkSubmission::stopAt(const InputLine* line) {
  try {
    if (line == nullptr && m_context.input.findsEnd()) {
      return;
    }
  } catch (const Failure&) {  // keepRest() reports it
  } catch (const std::bad_alloc&) {
  }
  m_result.firstNotSubmitted = line != nullptr ? line->number : m_context.input.nextNumber();
  if (m_context.failedLines != nullptr && !m_context.failedLines->isBroken()) {
    keepRest(line);
  }
}

// Keeps a line that was read, and everything behind it.
void BulkSubmission::keepRest(const InputLine* line) {
  FailedLines& files = *m_context.failedLines;
  const std::uint64_t keptBefore = files.failed();
  const auto noteLost = [&](Status status, const std::string& why) {
    const std::uint64_t first = *m_result.firstNotSubmitted + (files.failed() - keptBefore);
    fail(status, why + "; the lines from " + std::to_string(first) + " on are in no file");
  };
  try {
    announceStop();
    if (line != nullptr) {
      files.keepFailed(*line, m_context.input);
    }
    const bool hasRest = files.keepRest(m_context.input);
    m_result.isRestKept = true;
    if (line == nullptr && !hasRest) {
      m_result.firstNotSubmitted.reset();
    }
  } catch (const Failure& failure) {
    noteLost(failure.status(), failure.what());
  } catch (const std::bad_alloc&) {
    noteLost(Status::outOfMemory, kOutOfMemory);
  }
}

// A message that cannot be written changes nothing.
void BulkSubmission::announceStop() {
  if (m_isStopAnnounced) {
    return;
  }
  m_isStopAnnounced = true;
  m_context.progress.clear();
  try {
    m_context.messages.writeLine(
        "velmo: stopping; the rest of the input is kept with the failed lines (a signal ends "
        "this)");
  } catch (const OutputClosed&) {
  } catch (const Failure&) {
  } catch (const std::bad_alloc&) {
  }
}

// The first status counts. A text that begins with the last one replaces it.
void BulkSubmission::fail(Status status, const std::string& text) {
  m_result.failure = m_result.failure == Status::ok ? status : m_result.failure;
  std::vector<std::string>& texts = m_result.failureTexts;
  if (!texts.empty() && text.rfind(texts.back() + ";", 0) == 0) {
    texts.pop_back();
  }
  texts.push_back(text);
}

}  // namespace velmo::cli
