#include "Submission.h"

#include "JobNumber.h"
#include "Joined.h"
#include "NewTaskName.h"
#include "TaskCounter.h"
#include "TaskFile.h"
#include "TaskFileName.h"

namespace velmo::client {

namespace {

using brix::velmo::TaskFileName;

constexpr int kAttempts = 3;

template <typename T>
Outcome take(Result<T> result, T& target) {
  if (!result.isOk()) {
    return std::move(result.fault());
  }
  target = std::move(result.value());
  return std::nullopt;
}

Outcome checkKey(int key, const Setting& setting) {
  return key != 0 ? std::nullopt : Outcome(keyOf(setting).fault());
}

// Checks the directories of a task's file, and the keys.
Outcome checkPlace(const velmo_installation& installation) {
  const Settings& settings = installation.settings;
  if (Outcome outcome = checkDirectory(settings.tmp)) {
    return outcome;
  }
  if (Outcome outcome = checkDirectory(settings.var)) {
    return outcome;
  }
  if (Outcome outcome = checkKey(installation.segmentKey, settings.sharedTaskId)) {
    return outcome;
  }
  return checkKey(installation.semaphoreKey, settings.semaphoreTaskId);
}

Outcome checkJobPlace(const Settings& settings) {
  if (Outcome outcome = checkDirectory(settings.data)) {
    return outcome;
  }
  return checkDirectory(settings.lockVar);
}

// The name of the task, but for the numbers that are not taken yet.
Outcome draftName(const velmo_installation& installation, const GivenTask& task,
                  TaskFileName& name) {
  int priority = 0;
  if (Outcome outcome =
          take(installation.priorities.priorityOf(task.priorityClass, task.adjustment), priority)) {
    return outcome;
  }
  name = nameOf(task, priority, brix::velmo::currentTimestamp());
  return checkNewName(name, installation.identity);
}

Outcome takeNumber(const velmo_installation& installation, const Wait& wait, TaskFileName& name) {
  return take(drawTaskId(installation.segmentKey, installation.semaphoreKey, wait), name.taskId);
}

// Tries the numbers that the task counter issues, until one makes a name that is free.
Outcome placeUnderFreeName(const velmo_installation& installation, TaskFileName& parts,
                           const std::string& contents, bool isDurable, const Wait& wait,
                           std::string& name) {
  Placement placement;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (attempt > 0) {
      if (Outcome outcome = takeNumber(installation, wait, parts)) {
        return outcome;
      }
    }
    name = brix::velmo::formatTaskFileName(parts);
    if (Outcome outcome =
            take(placeTaskFile(installation.settings.tmp.value, installation.queueDirectory, name,
                               contents, isDurable),
                 placement)) {
      return outcome;
    }
    if (placement.isPlaced) {
      return std::nullopt;
    }
  }
  return Fault{Problem::NameAlwaysTaken, placement.takenPath};
}

}  // namespace

std::string contentsOf(const GivenTask& task) {
  const std::string_view end = task.information.empty() ? "" : "\n";
  return brix::imutils::joined({task.command, "\n", task.information, end});
}

Result<std::string> drawJob(const velmo_installation& installation, bool isDurable,
                            const Wait& wait) {
  const Settings& settings = installation.settings;
  if (Outcome outcome = checkJobPlace(settings)) {
    return std::move(*outcome);
  }
  // Asked before the counter is: an identity that is unusable costs no number.
  if (Result<std::string> longest = installation.identity.longestJobId(); !longest.isOk()) {
    return std::move(longest.fault());
  }
  const Result<int> number =
      drawJobNumber(settings.data.value, settings.lockVar.value, isDurable, wait);
  if (!number.isOk()) {
    return number.fault();
  }
  return installation.identity.jobIdOf(number.value());
}

// The number of the task is taken first: a service that is not running costs no job number.
Outcome submitTask(const velmo_installation& installation, const GivenTask& task, bool isDurable,
                   const Wait& wait, std::string& name) {
  if (Outcome outcome = checkPlace(installation)) {
    return outcome;
  }
  TaskFileName parts;
  if (Outcome outcome = draftName(installation, task, parts)) {
    return outcome;
  }
  const std::string contents = contentsOf(task);

  if (Outcome outcome = takeNumber(installation, wait, parts)) {
    return outcome;
  }
  if (task.job.empty()) {
    if (Outcome outcome = take(drawJob(installation, isDurable, wait), parts.jobId)) {
      return outcome;
    }
  }
  return placeUnderFreeName(installation, parts, contents, isDurable, wait, name);
}

}  // namespace velmo::client
