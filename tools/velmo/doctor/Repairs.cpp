#include "Repairs.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <string_view>

#include "DirectoryCheck.h"
#include "FileRemedies.h"
#include "Guess.h"
#include "JobNumbers.h"
#include "LeftoverCheck.h"
#include "Listing.h"
#include "PasteWord.h"
#include "PropertyLines.h"
#include "ShellWord.h"

namespace velmo::cli {

namespace {

using client::Fault;
using client::Problem;
using client::Settings;

// --- helpers ---

const Settings& settingsOf(const Site& site) {
  return site.installation.settings;
}

Remedy onlyAdvice(std::string advice, std::string look = {}) {
  return {{}, std::move(advice), std::move(look)};
}

Remedy exported(const std::string& variable, const std::string& value) {
  const std::string word = pasteWord(value);
  const std::string advice =
      "this changes the shell that you paste it into: change the environment of the programs, too";
  return word.empty() ? onlyAdvice("set " + variable)
                      : Remedy{"export " + variable + "=" + word, advice};
}

std::string fileSystemIsReadOnly() {
  return "the file system cannot be written to: mount it for writing";
}

bool isLink(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

// A directory TMP beside the queue.
Remedy ownTmp(const Fault&, const Site& site) {
  const std::string& var = settingsOf(site).var.value;
  const std::string queue = var + "/taskqueue";
  const std::string place = var + "/tmp";
  const bool isNear = client::areOnOneMount(isDirectory(place) ? place : var, queue);
  Remedy remedy = exported("TMP", place);
  if (var.empty() || !isNear || !remedy.command) {
    return onlyAdvice(
        "set TMP to a directory on the file system of the queue, but not to the queue");
  }
  remedy.command = forPath("mkdir -p ", place, " && " + *remedy.command);
  return remedy;
}

// --- variables and directories ---

Remedy setVariable(const Fault& fault, const Site& site) {
  const Place& place = *placeOf(fault.subject);
  if (place.name == nullptr) {
    return onlyAdvice("set " + fault.subject + " to the key that the service uses",
                      place.check == Check::Semaphore ? "ipcs -s" : "ipcs -m");
  }
  const std::optional<std::string> guess = guessOf(place, settingsOf(site));
  if (!guess && place.check == Check::Tmp && client::directoryOf(settingsOf(site).var).isOk()) {
    return ownTmp(fault, site);
  }
  return guess ? exported(fault.subject, *guess)
               : onlyAdvice("set " + fault.subject + " to the directory that the service uses");
}

Remedy makeAbsolute(const Fault& fault, const Site& site) {
  const std::string path = absolutePath(fault.detail);
  const std::optional<std::string> guess = guessOf(*placeOf(fault.subject), settingsOf(site));
  return exported(fault.subject, !isDirectory(path) && guess ? *guess : path);
}

Remedy createDirectory(const Fault& fault, const Site&) {
  if (fault.systemError == ENOTDIR || isLink(fault.detail)) {
    return onlyAdvice("a part of the path is not a directory: correct " + fault.subject);
  }
  return makeDirectory(fault.detail);
}

// A file inside of the installation can be moved. What a wrong variable names must stay.
Remedy replaceByDirectory(const Fault& fault, const Site& site) {
  const Place& place = *placeOf(fault.subject);
  if (*place.subdirectory == '\0') {
    const std::optional<std::string> guess = guessOf(place, settingsOf(site));
    return guess && *guess != fault.detail ? exported(fault.subject, *guess)
                                           : onlyAdvice("set " + fault.subject + " to a directory");
  }
  Remedy remedy = moveAway(fault.detail);
  const std::string creation = forPath(" && mkdir ", fault.detail);
  if (remedy.command) {
    *remedy.command += creation;
  }
  return remedy;
}

Remedy permitDirectory(const Fault& fault, const Site&) {
  return fault.systemError == EACCES ? permit(fault.detail, "u+rwx")
                                     : onlyAdvice(fileSystemIsReadOnly());
}

bool isSticky(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && (status.st_mode & S_ISVTX) != 0;
}

// A directory like /tmp must stay open to all.
Remedy closeDirectory(const Fault& fault, const Site& site) {
  if (!isSticky(fault.detail)) {
    return forbid(fault.detail, "o-w");
  }
  return fault.subject == "TMP" ? ownTmp(fault, site)
                                : onlyAdvice("set " + fault.subject +
                                             " to a directory that is not meant for all users");
}

// --- configuration ---

Remedy nameFiles(const Fault&, const Site& site) {
  for (const char* variable : {"VELMO_HOME", "CONF"}) {
    const std::optional<std::string> guess = guessOf(*placeOf(variable), settingsOf(site));
    if (guess && access((*guess + "/priorities.cfg").c_str(), F_OK) == 0) {
      return exported(variable, *guess);
    }
  }
  return onlyAdvice(
      "set VELMO_HOME and CONF to the directories of the files \"priorities.cfg\" that the service "
      "uses");
}

Remedy permitFile(const Fault& fault, const Site&) {
  return fault.systemError == EACCES || fault.systemError == EPERM
             ? permit(fault.subject, "644")
             : onlyAdvice("the file cannot be read: restore it from a copy",
                          forPath("ls -ld ", fault.subject));
}

Remedy moveFileAway(const Fault& fault, const Site&) {
  return moveAway(fault.subject);
}

std::string furtherLines(const std::vector<std::size_t>& numbers) {
  return numbers.size() > kMostLines ? "; further lines remain: run velmo doctor again" : "";
}

Remedy commentSkippedLines(const Fault& fault, const Site&) {
  std::vector<std::size_t> numbers;
  const auto lines = propertyLines(fault.subject);
  for (const NumberedLine& line : lines.value_or(std::vector<NumberedLine>())) {
    if (line.name.empty()) {
      numbers.push_back(line.number);
    }
  }
  const std::string command = commentOut(fault.subject, numbers);
  return command.empty()
             ? onlyAdvice("shorten lines of more than 65534 bytes, and write NAME=NUMBER")
             : Remedy{command, "or write NAME=NUMBER into these lines" + furtherLines(numbers)};
}

// Of the names whose value in this file counts, those without a number.
std::set<std::string> namesWithoutNumber(const client::PriorityTable& table,
                                         const std::string& path) {
  std::set<std::string> names;
  for (const client::PriorityEntry& entry : table.entries()) {
    if (!entry.number && table.files()[entry.file].path == path) {
      names.insert(entry.name);
    }
  }
  return names;
}

// All values of such a name: without the last, which counts, one in front of it would count.
Remedy commentLinesWithoutNumber(const Fault& fault, const Site& site) {
  const std::set<std::string> names =
      namesWithoutNumber(site.installation.priorities, fault.subject);
  std::vector<std::size_t> numbers;
  const auto lines = propertyLines(fault.subject);
  for (const NumberedLine& line : lines.value_or(std::vector<NumberedLine>())) {
    if (names.count(line.name) > 0) {
      numbers.push_back(line.number);
    }
  }
  const std::string command = commentOut(fault.subject, numbers);
  const std::string advice = "write a number behind \"=\" in the lines of these names";
  return command.empty() ? onlyAdvice(advice)
                         : Remedy{command, "or " + advice + furtherLines(numbers)};
}

Remedy addClass(const Fault&, const Site& site) {
  for (const client::PropertiesFile& file : site.installation.priorities.files()) {
    const std::string directory = file.path.substr(0, file.path.rfind('/'));
    const std::string command = forPath("printf '\\nNormal=500\\n' >> ", file.path);
    if (isDirectory(directory) && !command.empty()) {
      return {command, "choose the names and numbers of your classes; the smallest runs first"};
    }
  }
  return onlyAdvice("write lines such as \"Normal=500\" into one of the files");
}

std::string usableIdentity(const std::string& identity) {
  constexpr std::size_t kLongest = 32;
  std::string usable;
  for (const char character : identity) {
    const bool isUsable = (character >= '0' && character <= '9') ||
                          (character >= 'A' && character <= 'Z') ||
                          (character >= 'a' && character <= 'z') || character == '-';
    usable += isUsable ? std::string(1, character) : "";
  }
  usable = usable.substr(0, kLongest);
  return usable.empty() ? "velmo" : usable;
}

Remedy correctIdentity(const Fault& fault, const Site&) {
  std::string script;
  const auto lines = propertyLines(fault.subject);
  for (const NumberedLine& line : lines.value_or(std::vector<NumberedLine>())) {
    if (line.name == "SELF_SERVER_ID") {
      script += fmt::format("{}{}s/.*/SELF_SERVER_ID={}/", script.empty() ? "" : ";", line.number,
                            usableIdentity(fault.detail));
    }
  }
  const std::string command = forPath("sed -i --follow-symlinks '" + script + "' ", fault.subject);
  const std::string advice = "each machine of a service needs another identity";
  return script.empty() || command.empty()
             ? onlyAdvice("write a short SELF_SERVER_ID of letters, digits and hyphens")
             : Remedy{command, advice};
}

// --- counters ---

// The counter holds the last number that was issued, and nothing else tells which numbers were.
Remedy writeJobCounter(const Fault& fault, const Site& site) {
  const Settings& settings = settingsOf(site);
  if (!client::directoryOf(settings.var).isOk() ||
      client::namesIn(settings.var.value + "/taskqueue").error != 0) {
    return onlyAdvice("first repair the queue: the tasks in it show which job numbers are taken");
  }
  constexpr int kLastNumber = 999999;
  const std::optional<int> largest = largestJobNumber(settings);
  const int number = largest ? *largest + 1 : 1;
  const std::string command = forPath(fmt::format("printf '%s\\n' {} > ", number), fault.subject);
  if (number >= kLastNumber || command.empty()) {
    return onlyAdvice("write the number of the last job into it");
  }
  return {command, largest ? fmt::format("{} is above every job number in sight; if jobs that have "
                                         "ended had larger ones, write a larger one",
                                         number)
                           : "no job number is in sight; if the service's logs have one, write a "
                             "larger one, so that none is issued twice"};
}

Remedy readJobCounter(const Fault& fault, const Site& site) {
  if (fault.systemError != EISDIR) {
    return permitFile(fault, site);
  }
  Remedy remedy = moveAway(fault.subject);
  const Remedy counter = writeJobCounter(fault, site);
  if (remedy.command && counter.command) {
    *remedy.command += " && " + *counter.command;
  }
  return {remedy.command, counter.advice};
}

Remedy deleteCopy(const Fault& fault, const Site&) {
  return isDirectory(fault.subject) ? moveAway(fault.subject)
                                    : Remedy{forPath("rm -f ", fault.subject)};
}

Remedy breakLock(const Fault& fault, const Site& site) {
  const LockVerdict verdict = site.judgeLock(fault.subject);
  return verdict.isStale ? Remedy{"velmo doctor --break-lock", verdict.reason}
                         : onlyAdvice("wait until the file is gone: " + verdict.reason,
                                      forPath("ls -l ", fault.subject));
}

Remedy startService(const Fault&, const Site&) {
  return onlyAdvice("start the service");
}

Remedy restartService(const Fault&, const Site&) {
  return onlyAdvice("restart the service");
}

Remedy waitForSemaphore(const Fault& fault, const Site&) {
  // The word of describeLastTaker().
  const bool hasEnded = fault.detail.find("has ended") != std::string::npos;
  return onlyAdvice(hasEnded ? "restart the service: only it sets the semaphore to 1 again"
                             : "wait, or end the process that took it: the system then releases "
                               "the semaphore; if it stays so, restart the service",
                    "ipcs -s -p -t");
}

Remedy useOtherKey(const Fault& fault, const Site&) {
  const bool isSemaphore = fault.problem == Problem::SemaphoreSetTooLarge;
  return onlyAdvice(std::string("set ") +
                        (isSemaphore ? "SEMAPHORE_VELMO_TASKID" : "SHARED_VELMO_TASKID") +
                        " to the key that the service uses",
                    isSemaphore ? "ipcs -s" : "ipcs -m");
}

Remedy useOtherUser(const Fault& fault, const Site&) {
  return onlyAdvice("run the program as the user who owns it, or let the service permit this user",
                    fault.problem == Problem::SemaphoreFailed ? "ipcs -s" : "ipcs -m");
}

Remedy keepAtLogout(const Fault&, const Site&) {
  return {
      "mkdir -p /etc/systemd/logind.conf.d && printf '[Login]\\nRemoveIPC=no\\n' > "
      "/etc/systemd/logind.conf.d/velmo.conf",
      "run it as root, and then: systemctl restart systemd-logind"};
}

// --- leftovers ---

// The names that the finding counts, which are those that the check of the library takes.
Remedy deleteLeftovers(const Fault& fault, const Site&) {
  return deleteTaskFiles(fault.subject, client::leftoversIn(fault.subject));
}

Remedy moveOthers(const Fault& fault, const Site&) {
  return moveOutOfQueue(fault.subject, client::otherFilesIn(fault.subject));
}

Remedy setUmask(const Fault&, const Site&) {
  return {"umask 022",
          "this changes the shell that you paste it into: change the umask of the programs, too"};
}

// --- the service elsewhere ---

Remedy nameModules(const Fault& fault, const Site& site) {
  if (fault.systemError == EACCES) {
    return permit(absolutePath(fault.subject), "644");
  }
  const std::string file = settingsOf(site).conf.value + "/modules.xml";
  if (file.front() == '/' && file != fault.subject && access(file.c_str(), R_OK) == 0) {
    return exported("VELMO_MODULES_XML", file);
  }
  return onlyAdvice(
      "name the file \"modules.xml\" of the service with VELMO_MODULES_XML or --modules");
}

Remedy correctModules(const Fault&, const Site&) {
  return onlyAdvice("correct the file, or name another one with VELMO_MODULES_XML or --modules");
}

// "host:8080", "[::1]:8080"
std::string portIn(const std::string& address) {
  return address.substr(address.rfind(':') + 1);
}

Remedy lookForListener(const Fault& fault, const Site&) {
  return onlyAdvice("start the service; look on its machine whether it listens",
                    "ss -ltn 'sport = :" + portIn(fault.subject) + "'");
}

Remedy lookForOther(const Fault& fault, const Site&) {
  return onlyAdvice("correct the port in \"modules.xml\": another program listens there",
                    "ss -ltnp 'sport = :" + portIn(fault.subject) + "'");
}

Remedy correctHost(const Fault& fault, const Site&) {
  return onlyAdvice("correct the host in \"modules.xml\", or the name service",
                    forPath("getent hosts ", fault.subject));
}

Remedy tryAgain(const Fault&, const Site&) {
  return onlyAdvice("run velmo doctor again");
}

// --- the table ---

struct Row {
  Problem problem;
  std::optional<Check> check;  // nothing: that of the variable, or of the file
  const char* consequence;     // null: the loss of the variable
  Remedy (*remedy)(const Fault&, const Site&);
  bool endsLooking = false;
};

constexpr const char* kNoTask = "no task can be submitted";
constexpr const char* kNoJob = "no task of a new job can be submitted";
constexpr const char* kNoMessage = "no task can be submitted by message";
constexpr const char* kUnknownClasses =
    "no task can be submitted whose priority class may be in it";
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
  return found != kRows.end() ? &*found : nullptr;
}

Check checkOfFile(const std::string& path, const Settings& settings) {
  if (path == settings.conf.value + "/serverid.cfg") {
    return Check::ServerIdentity;
  }
  return path == settings.velmoHome.value + "/priorities.cfg" ? Check::HomePriorities
                                                              : Check::ConfPriorities;
}

std::string consequenceOf(const Fault& fault, const Row& row) {
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
  client::describe(fault, &error);
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
