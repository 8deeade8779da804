#include "DirectoryRemedies.h"

#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string>

#include "DirectoryCheck.h"
#include "FileRemedies.h"
#include "Guess.h"
#include "LeftoverCheck.h"

namespace velmo::cli {

namespace {

using client::Fault;
using client::Problem;
using client::Settings;

// The first symbolic link on the way to a path that leads nowhere; empty if none does.
std::string brokenLinkIn(const std::string& path) {
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    std::string part = path.substr(0, end);
    struct stat status {};
    const bool isLink = lstat(part.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    if (isLink && stat(part.c_str(), &status) != 0) {
      return part;
    }
    if (end == std::string::npos) {
      return {};
    }
  }
}

bool isSticky(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && (status.st_mode & S_ISVTX) != 0;
}

// Whether a directory, or one that is still to be created, can be TMP.
bool isFitForTmp(const std::string& path, Settings settings) {
  if (!exists(path)) {
    return client::areOnOneMount(settings.var.value, settings.var.value + "/taskqueue");
  }
  settings.tmp.value = path;
  bool isFit = true;
  client::checkDirectories(settings, [&isFit](const Fault& fault) {
    isFit = isFit && fault.subject != "TMP" && fault.problem != Problem::DifferentFileSystems &&
            fault.problem != Problem::TmpIsQueue;
  });
  return isFit;
}

// A directory for TMP beside the queue; empty if none fits.
std::string placeOfTmp(const Settings& settings) {
  constexpr int kMostNames = 9;
  const std::string first = settings.var.value + "/tmp";
  for (int number = 1; number <= kMostNames; ++number) {
    std::string path = number == 1 ? first : first + std::to_string(number);
    if (isFitForTmp(path, settings)) {
      return path;
    }
  }
  return {};
}

}  // namespace

Remedy ownTmp(const Fault&, const Site& site) {
  const Settings& settings = site.installation.settings;
  const std::string place =
      client::directoryOf(settings.var).isOk() ? placeOfTmp(settings) : std::string();
  Remedy remedy = exported("TMP", place);
  if (place.empty() || !remedy.command) {
    return onlyAdvice(
        "set TMP to a directory on the file system of the queue, but not to the queue");
  }
  Remedy creation = makeDirectory(place);
  if (!creation.command) {
    return creation;
  }
  remedy.command = *creation.command + " && " + *remedy.command;
  return remedy;
}

// --- variables ---

Remedy setVariable(const Fault& fault, const Site& site) {
  const Settings& settings = site.installation.settings;
  const Place& place = *placeOf(fault.subject);
  if (place.name == nullptr) {
    return onlyAdvice("set " + fault.subject + " to the key that the service uses",
                      place.check == Check::Semaphore ? "ipcs -s" : "ipcs -m");
  }
  const std::optional<std::string> guess = guessOf(place, settings);
  if (!guess && place.check == Check::Tmp && client::directoryOf(settings.var).isOk()) {
    return ownTmp(fault, site);
  }
  return guess ? exported(fault.subject, *guess)
               : onlyAdvice("set " + fault.subject + " to the directory that the service uses");
}

Remedy makeAbsolute(const Fault& fault, const Site& site) {
  const std::string path = absolutePath(fault.detail);
  const std::optional<std::string> guess =
      guessOf(*placeOf(fault.subject), site.installation.settings);
  return exported(fault.subject, !leadsToDirectory(path) && guess ? *guess : path);
}

Remedy setUmask(const Fault&, const Site&) {
  return {"umask 022",
          "this changes the shell that you paste it into: change the umask of the programs, too"};
}

// --- directories ---

// A directory in the place of a misspelt name would hide the mistake: the service would use another
// one. Only what is in the directory of the variable, or beside those of others, is created.
Remedy createDirectory(const Fault& fault, const Site& site) {
  const Settings& settings = site.installation.settings;
  const Place& place = *placeOf(fault.subject);
  if (fault.systemError == ENOTDIR) {
    return onlyAdvice("a part of the path is not a directory: correct " + fault.subject);
  }
  const std::string link = brokenLinkIn(fault.detail);
  if (!link.empty()) {
    return onlyAdvice("\"" + link + "\" is a link that leads nowhere: correct the link, or " +
                      fault.subject);
  }
  const std::string& named = settingOf(place, settings).value;
  if (*place.subdirectory != '\0' && leadsToDirectory(named)) {
    return makeDirectory(fault.detail);
  }
  if (const std::optional<std::string> guess = guessOf(place, settings)) {
    return exported(fault.subject, *guess);
  }
  return isBesideOthers(place, settings) ? makeDirectory(fault.detail)
                                         : onlyAdvice("create it, or correct " + fault.subject);
}

// A file inside the installation may be moved. If the variable itself is wrong, what it names must
// stay.
Remedy replaceByDirectory(const Fault& fault, const Site& site) {
  const Place& place = *placeOf(fault.subject);
  if (*place.subdirectory == '\0') {
    const std::optional<std::string> guess = guessOf(place, site.installation.settings);
    return guess && *guess != fault.detail ? exported(fault.subject, *guess)
                                           : onlyAdvice("set " + fault.subject + " to a directory");
  }
  Remedy remedy = moveAway(fault.detail);
  const std::string creation = forPath(" && mkdir ", fault.detail, ownedAsParent(fault.detail));
  if (remedy.command) {
    *remedy.command += creation;
  }
  return remedy;
}

Remedy permitDirectory(const Fault& fault, const Site&) {
  if (fault.systemError == EACCES) {
    return permit(fault.detail, "u+rwx");
  }
  return onlyAdvice(fault.systemError == EROFS
                        ? "the file system cannot be written to: mount it for writing"
                        : "correct " + fault.subject);
}

// A directory like /tmp must stay open to all.
Remedy closeDirectory(const Fault& fault, const Site& site) {
  if (!isSticky(fault.detail)) {
    return closeToOthers(fault.detail);
  }
  return fault.subject == "TMP" ? ownTmp(fault, site)
                                : onlyAdvice("set " + fault.subject +
                                             " to a directory that is not meant for all users");
}

// --- files ---

// The same names that the library's check counts.
Remedy deleteLeftovers(const Fault& fault, const Site&) {
  return deleteTaskFiles(fault.subject, client::leftoversIn(fault.subject));
}

Remedy moveOthers(const Fault& fault, const Site&) {
  return moveOutOfQueue(fault.subject, client::otherFilesIn(fault.subject));
}

}  // namespace velmo::cli
