#include "FileRemedies.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "Listing.h"
#include "PasteWord.h"

namespace velmo::cli {

namespace {

constexpr const char* kTaskPattern = "[-0-9]*.[0-9]*.*.S*.T*-*.R*.*";
constexpr std::time_t kMinute = 60;

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? std::optional<struct stat>(status) : std::nullopt;
}

// The first directory on the way to a path that this user may not enter; empty if there is none.
std::string lockedParent(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    std::string parent = path.substr(0, slash);
    if (faccessat(AT_FDCWD, parent.c_str(), X_OK, AT_EACCESS) != 0 && errno == EACCES) {
      return parent;
    }
  }
  return {};
}

// The nearest directory above a path that exists.
std::string existingParent(const std::string& path) {
  std::string parent = path;
  do {
    const std::size_t slash = parent.rfind('/');
    parent = slash == 0 || slash == std::string::npos ? "/" : parent.substr(0, slash);
  } while (parent != "/" && !statusOf(parent));
  return parent;
}

std::string ownedBy(uid_t user) {
  return fmt::format("it belongs to the user with the number {}", user);
}

Remedy withCommand(std::string command) {
  return command.empty() ? Remedy{{}, "its path ends with a line feed: rename it"}
                         : Remedy{std::move(command)};
}

// Some paths for a command.
struct PathWords {
  std::string words = {};  // each behind a blank
  std::size_t rest = 0;    // how many more there are
};

// The paths of as many names as fit into a command, but of at least one.
PathWords pathsIn(const std::string& directory, std::vector<std::string> names,
                  std::size_t bytesOfCommand) {
  std::sort(names.begin(), names.end());
  PathWords paths;
  for (const std::string& name : names) {
    const std::string word = pasteWord(directory + "/" + name);
    const std::size_t bytes = bytesOfCommand + paths.words.size() + 1 + word.size();
    if (word.empty() || (!paths.words.empty() && bytes > kLongestCommand)) {
      ++paths.rest;
    } else {
      paths.words += " " + word;
    }
  }
  return paths;
}

std::string remaining(std::size_t rest) {
  return rest > 0 ? fmt::format("{} more remain: run velmo doctor again", rest) : std::string();
}

// As find selects them: a regular file, last changed more than a minute ago.
bool isOldFile(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         time(nullptr) - status.st_mtime > kMinute;
}

bool isLikeTask(const std::string& name) {
  return fnmatch(kTaskPattern, name.c_str(), 0) == 0;
}

// Whether a condition selects these names in the directory, and no other.
template <typename Condition>
bool isSelected(const std::string& directory, std::vector<std::string> names, Condition condition) {
  std::vector<std::string> selected = client::namesIn(directory).names;
  selected.erase(std::remove_if(selected.begin(), selected.end(),
                                [&](const std::string& name) { return !condition(name); }),
                 selected.end());
  std::sort(selected.begin(), selected.end());
  std::sort(names.begin(), names.end());
  return selected == names;
}

// Finds what is in a directory, or in the one to which a link leads. In the C locale a pattern
// matches bytes that are not characters.
std::string findIn(const std::string& directory, const std::string& rest) {
  return forPath("LC_ALL=C find ", directory + "/", rest);
}

}  // namespace

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

bool isDirectoryItself(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string freshName(const std::string& path, const std::string& suffix) {
  std::string name = path + suffix;
  for (int number = 2; exists(name); ++number) {
    name = path + suffix + std::to_string(number);
  }
  return name;
}

std::string forPath(const std::string& before, const std::string& path, const std::string& behind) {
  const std::string word = pasteWord(path);
  return word.empty() ? "" : before + word + behind;
}

Remedy moveAway(const std::string& path) {
  const std::string to = pasteWord(freshName(path, ".old"));
  return withCommand(to.empty() ? "" : forPath("mv ", path, " " + to));
}

Remedy permit(const std::string& path, const std::string& mode) {
  const std::string locked = lockedParent(path);
  const std::string& target = locked.empty() ? path : locked;
  const std::optional<struct stat> status = statusOf(target);
  const std::string command =
      forPath(locked.empty() ? "chmod " + mode + " " : "chmod u+x ", target);
  if (!status || status->st_uid == geteuid()) {
    return withCommand(command);
  }
  return {{},
          "\"" + target + "\" is the obstacle: " + ownedBy(status->st_uid) +
              ", so run the program as this user, or ask this user or root to permit more",
          forPath("ls -ld ", target)};
}

Remedy closeToOthers(const std::string& path) {
  const std::string need = "the programs and the service need to be its owner, or in its group";
  const std::optional<struct stat> status = statusOf(path);
  if (status && geteuid() != 0 && status->st_uid != geteuid()) {
    return onlyAdvice(ownedBy(status->st_uid) + ", who or root can close it: chmod o-w; " + need,
                      forPath("ls -ld ", path));
  }
  Remedy remedy = withCommand(forPath("chmod o-w ", path));
  remedy.advice = remedy.command ? need : remedy.advice;
  return remedy;
}

Remedy makeDirectory(const std::string& path) {
  const std::string parent = existingParent(path);
  if (faccessat(AT_FDCWD, parent.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    return onlyAdvice("create \"" + path + "\" as a user who may write to \"" + parent + "\"",
                      forPath("ls -ld ", parent));
  }
  return withCommand(forPath("mkdir -p ", path, ownedAsParent(path)));
}

std::string ownedAsParent(const std::string& path) {
  const std::string parent = existingParent(path);
  const std::optional<struct stat> status = statusOf(parent);
  if (geteuid() != 0 || !status || status->st_uid == 0) {
    return {};
  }
  return forPath(" && chown --reference=", parent) + forPath(" ", path);
}

Remedy deleteTaskFiles(const std::string& directory, std::vector<std::string> names) {
  const std::string command = "rm -f";
  const auto isOldTask = [&](const std::string& name) {
    return isLikeTask(name) && isOldFile(directory + "/" + name);
  };
  const std::string advice = "they hold commands that never ran: read them before you delete them";
  if (pathsIn(directory, names, command.size()).rest > 0 &&
      isSelected(directory, names, isOldTask)) {
    return {findIn(directory, " -maxdepth 1 -type f -mmin +1 -name '" + std::string(kTaskPattern) +
                                  "' -exec rm -f {} +"),
            advice};
  }
  names.erase(std::remove_if(names.begin(), names.end(),
                             [&](const std::string& name) {
                               return isDirectoryItself(directory + "/" + name);
                             }),
              names.end());
  const PathWords paths = pathsIn(directory, names, command.size());
  return paths.words.empty()
             ? Remedy{{}, "move them elsewhere: they are not files"}
             : Remedy{command + paths.words,
                      paths.rest > 0 ? advice + "; " + remaining(paths.rest) : advice};
}

Remedy moveOutOfQueue(const std::string& queue, const std::vector<std::string>& names) {
  const std::string place = pasteWord(freshName(queue, ".other"));
  const std::string creation = "mkdir " + place + " && ";
  const std::string move = "mv";
  const PathWords paths = pathsIn(queue, names, creation.size() + move.size() + 1 + place.size());
  if (paths.words.empty() || place.empty()) {
    return {{}, "move them to a directory beside the queue"};
  }
  const std::string advice = "a program may need them: look at them before you delete them";
  const auto isOther = [](const std::string& name) { return !isLikeTask(name); };
  if (paths.rest > 0 && isSelected(queue, names, isOther)) {
    const std::string found =
        findIn(queue, " -mindepth 1 -maxdepth 1 ! -name '" + std::string(kTaskPattern) +
                          "' -exec mv -t " + place + " {} +");
    return {creation + found, advice};
  }
  return {creation + move + paths.words + " " + place,
          paths.rest > 0 ? advice + "; " + remaining(paths.rest) : advice};
}

}  // namespace velmo::cli
