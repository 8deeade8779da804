#include "CounterRemedies.h"

#include <fmt/format.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>

#include "FileRemedies.h"
#include "JobNumbers.h"
#include "Listing.h"
#include "PriorityRemedies.h"

namespace velmo::cli {

namespace {

using client::Fault;
using client::Problem;
using client::Settings;

// Whether a path is something other than a file; for example a pipe, which blocks its writers.
bool isOtherThanFile(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

// For the command ipcs.
std::string lookAtSemaphore(const std::string& key) {
  const int id = semget(static_cast<key_t>(std::strtol(key.c_str(), nullptr, 10)), 0, 0);
  return id >= 0 ? fmt::format("ipcs -s -i {}", id) : "ipcs -s";
}

}  // namespace

// The counter holds the last number that was issued, and no other file records them.
Remedy writeJobCounter(const Fault& fault, const Site& site) {
  const Settings& settings = site.installation.settings;
  if (!client::directoryOf(settings.var).isOk() ||
      client::namesIn(settings.var.value + "/taskqueue").error != 0) {
    return onlyAdvice("first repair the queue: the tasks in it show which job numbers are taken");
  }
  const std::optional<int> largest = largestJobNumber(settings);
  const int number = largest ? *largest + 1 : 1;
  std::string command = forPath(fmt::format("printf '%s\\n' {} > ", number), fault.subject);
  if (number >= kLastJobNumber || command.empty()) {
    return onlyAdvice("write the number of the last job into it");
  }
  if (!exists(fault.subject) || isOtherThanFile(fault.subject)) {
    command += ownedAsParent(fault.subject);
  }
  if (isOtherThanFile(fault.subject)) {
    command = *moveAway(fault.subject).command + " && " + command;
  }
  return {command, largest ? fmt::format("{} is above every job number found; if jobs that have "
                                         "ended had larger ones, write a larger one",
                                         number)
                           : "no job number was found; if the service's logs have one, write a "
                             "larger one, so that none is issued twice"};
}

Remedy readJobCounter(const Fault& fault, const Site& site) {
  if (fault.systemError == EACCES || fault.systemError == EPERM) {
    return permit(fault.subject, "u+rw");
  }
  const bool isMissing = fault.systemError == ENOENT;
  return isMissing || isOtherThanFile(fault.subject) ? writeJobCounter(fault, site)
                                                     : permitFile(fault, site);
}

Remedy deleteCopy(const Fault& fault, const Site&) {
  return isDirectoryItself(fault.subject) ? moveAway(fault.subject)
                                          : Remedy{forPath("rm -f ", fault.subject)};
}

Remedy breakLock(const Fault& fault, const Site& site) {
  const LockVerdict verdict = site.judgeLock(fault.subject);
  return verdict.isStale ? Remedy{"velmo doctor --break-lock", verdict.reason}
                         : onlyAdvice("wait until the file is gone: " + verdict.reason +
                                          "; delete the file if no running program is taking a job "
                                          "number",
                                      forPath("ls -l ", fault.subject));
}

Remedy startService(const Fault&, const Site&) {
  return onlyAdvice("start the service");
}

Remedy restartService(const Fault&, const Site&) {
  return onlyAdvice("restart the service");
}

Remedy waitForSemaphore(const Fault& fault, const Site&) {
  // describeLastTaker() writes this text.
  const bool hasEnded = fault.detail.find("has ended") != std::string::npos;
  return onlyAdvice(hasEnded ? "restart the service: only it sets the semaphore to 1 again"
                             : "wait, or end the process that took it: the system then releases "
                               "the semaphore; if it stays locked, restart the service",
                    lookAtSemaphore(fault.subject));
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

}  // namespace velmo::cli
