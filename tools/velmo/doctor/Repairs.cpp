#include "Repairs.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "CounterRemedies.h"
#include "DirectoryRemedies.h"
#include "PriorityRemedies.h"
#include "ServiceRemedies.h"

namespace velmo::cli {

namespace {

using client::Fault;
using client::Problem;
using client::Settings;

// --- the table ---

struct Row {
  Problem problem;
  std::optional<Check> check;  // nothing: that of the variable, or of the file
  const char* consequence;     // null: the loss of the variable
  Remedy (*remedy)(const Fault&, const Site&);
  bool endsLooking = false;
};

constexpr const char* kNoMessage = "no task can be submitted by message";
constexpr const char* kUnknownClasses =
    "tasks whose priority class may be in it cannot be submitted";
constexpr const char* kLossOfVariable = nullptr;
constexpr std::optional<Check> kOfSubject = std::nullopt;

constexpr std::array<Row, 52> kRows{{
    {Problem::VariableNotSet, Check::Variables, kLossOfVariable, setVariable, true},
    {Problem::VariableNotAbsolute, Check::Variables, kLossOfVariable, makeAbsolute, true},
    {Problem::VariableNotAKey, Check::Variables, kLossOfVariable, setVariable, true},
    {Problem::DirectoryMissing, kOfSubject, kLossOfVariable, createDirectory, true},
    {Problem::NotADirectory, kOfSubject, kLossOfVariable, replaceByDirectory, true},
    {Problem::DirectoryNotUsable, kOfSubject, kLossOfVariable, permitDirectory, true},
    {Problem::DirectoryOpenToAll, kOfSubject, kLossOfVariable, closeDirectory},
    {Problem::DifferentFileSystems, Check::OneFileSystem,
     "no task can be submitted, because a file cannot be moved from TMP into the queue", ownTmp},
    {Problem::TmpIsQueue, Check::OneFileSystem,
     "the service may run a task that is only partly written", ownTmp, true},
    {Problem::PriorityFilesNotNamed, Check::Priorities, kNoTask, nameFiles},
    {Problem::PriorityFileUnreadable, kOfSubject, kUnknownClasses, permitFile, true},
    {Problem::FileNotRegular, kOfSubject, "no task can be submitted that needs the file",
     moveFileAway, true},
    {Problem::PriorityLinesSkipped, kOfSubject,
     "the priority classes that these lines should define are not known", commentSkippedLines},
    {Problem::PrioritiesWithoutNumber, kOfSubject, "tasks of these classes cannot be submitted",
     commentLinesWithoutNumber},
    {Problem::NoPriorities, Check::Priorities, kNoTask, addClass},
    {Problem::ServerFileUnreadable, Check::ServerIdentity, kNoJob, permitFile, true},
    {Problem::ServerIdentityUnusable, Check::ServerIdentity, kNoJob, correctIdentity},
    {Problem::JobCounterUnreadable, Check::JobCounter, kNoJob, readJobCounter},
    {Problem::JobCounterNotANumber, Check::JobCounter, kNoJob, writeJobCounter},
    {Problem::LockTimedOut, Check::JobLock,
     "no task of a new job can be submitted as long as the file is there", breakLock, true},
    {Problem::JobCounterCopyLeft, Check::JobCounterCopy,
     "older programs that may not write to the copy cannot take a job number", deleteCopy},
    {Problem::SegmentMissing, Check::TaskCounter, kNoTask, startService, true},
    {Problem::SegmentFailed, Check::TaskCounter, kNoTask, useOtherUser, true},
    {Problem::SegmentTooSmall, Check::TaskCounter, kNoTask, useOtherKey},
    {Problem::SemaphoreMissing, Check::Semaphore, kNoTask, startService, true},
    {Problem::SemaphoreFailed, Check::Semaphore, kNoTask, useOtherUser, true},
    {Problem::SemaphoreSetTooLarge, Check::Semaphore, kNoTask, useOtherKey, true},
    {Problem::SemaphoreNeverReady, Check::Semaphore, kNoTask, restartService},
    {Problem::SemaphoreTimedOut, Check::Semaphore,
     "no task can be submitted until the semaphore is released", waitForSemaphore},
    {Problem::SemaphoreAboveOne, Check::Semaphore, "two tasks may get the same number",
     restartService},
    {Problem::RemovedAtLogout, Check::LogoutRemoval,
     "no task can be submitted after this user has logged out", keepAtLogout},
    {Problem::TemporaryFilesLeft, Check::Leftovers,
     "these tasks are not in the queue, so the service never runs them", deleteLeftovers},
    {Problem::QueueHasOtherFiles, Check::QueueFiles,
     "the service may not understand these files, and tasks may wait behind them", moveOthers},
    {Problem::UmaskHidesTasks, Check::Umask,
     "tasks stay in the queue, because a service that runs as another user cannot read them",
     setUmask},
    {Problem::ModulesUnreadable, Check::Modules, kNoMessage, nameModules, true},
    {Problem::ModulesMalformed, Check::Modules, kNoMessage, correctModules, true},
    {Problem::ModulesWithoutService, Check::Modules, kNoMessage, correctModules, true},
    {Problem::ModulesPortUnusable, Check::Modules, kNoMessage, correctModules, true},
    {Problem::ModulesHostUnusable, Check::Modules, kNoMessage, correctModules, true},
    {Problem::ModulesNotAFile, Check::Modules, kNoMessage, nameModules, true},
    {Problem::ModulesTooLarge, Check::Modules, kNoMessage, correctModules, true},
    {Problem::HostNotFound, Check::Service, kNoMessage, correctHost},
    {Problem::NotConnected, Check::Service, kNoMessage, lookForListener},
    {Problem::ConnectTimedOut, Check::Service, kNoMessage, lookForListener},
    {Problem::HandshakeTimedOut, Check::Service, kNoMessage, lookForOther},
    {Problem::HandshakeRefused, Check::Service, kNoMessage, lookForOther},
    {Problem::HandshakeWrong, Check::Service, kNoMessage, lookForOther},
    {Problem::ConnectionFailed, Check::Service, kNoMessage, lookForListener},
    {Problem::SocketFailed, Check::Service, kNoMessage, tryAgain},
    {Problem::NoRandomBytes, Check::Service, kNoMessage, tryAgain},
    {Problem::Stopped, Check::Service, "it is not known whether the service answers", tryAgain},
    {Problem::OutOfMemory, Check::Service, "it is not known whether the service answers", tryAgain},
}};

const Row* rowOf(Problem problem) {
  const auto* const found = std::find_if(
      kRows.begin(), kRows.end(), [problem](const Row& row) { return row.problem == problem; });
  return found != kRows.end() ? found : nullptr;
}

Check checkOfFile(const std::string& path, const Settings& settings) {
  if (path == settings.conf.value + "/serverid.cfg") {
    return Check::ServerIdentity;
  }
  return path == settings.velmoHome.value + "/priorities.cfg" ? Check::HomePriorities
                                                              : Check::ConfPriorities;
}

// If the process number was reused, the library reports the new process as the maker.
Fault withoutContradiction(Fault fault, const Site& site) {
  const std::string running = ", which is running";
  const std::size_t at = fault.detail.rfind(running);
  if (fault.problem == Problem::LockTimedOut && at != std::string::npos &&
      site.judgeLock(fault.subject).isStale) {
    fault.detail.erase(at, running.size());
  }
  return fault;
}

std::string consequenceOf(const Fault& fault, const Row& row) {
  if (fault.problem == Problem::JobCounterUnreadable && fault.systemError == ENOENT) {
    return "new jobs get numbers that other jobs have";
  }
  const Place* const place = placeOf(fault.subject);
  if (row.consequence != nullptr || place == nullptr) {
    return row.consequence != nullptr ? row.consequence : "";
  }
  return fault.problem == Problem::DirectoryOpenToAll ? place->risk : place->loss;
}

std::string subjectOf(const Fault& fault, Check check, const Site& site) {
  return check == Check::Variables ? fault.subject : lookedAt(check, site.installation);
}

}  // namespace

bool isKnown(Problem problem) {
  return rowOf(problem) != nullptr;
}

bool endsLooking(Problem problem) {
  const Row* const row = rowOf(problem);
  return row != nullptr && row->endsLooking;
}

Check checkOf(const Fault& fault, const Settings& settings) {
  const Row* const row = rowOf(fault.problem);
  if (row == nullptr) {
    return Check::Service;
  }
  if (row->check) {
    return *row->check;
  }
  const Place* const place = placeOf(fault.subject);
  return place != nullptr ? place->check : checkOfFile(fault.subject, settings);
}

Finding findingOf(const Fault& fault, const Site& site) {
  velmo_error error{};
  client::describe(withoutContradiction(fault, site), &error);
  const Check check = checkOf(fault, site.installation.settings);
  Finding finding{check, subjectOf(fault, check, site), Finding::Kind::Fault};
  finding.status = static_cast<Status>(error.status);
  finding.fault = error.message;
  if (const Row* const row = rowOf(fault.problem)) {
    finding.consequence = consequenceOf(fault, *row);
    finding.remedy = row->remedy(fault, site);
  }
  return finding;
}

}  // namespace velmo::cli
