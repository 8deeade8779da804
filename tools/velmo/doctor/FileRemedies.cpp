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

constexpr std::size_t kMostNames = 50;  // in a command
constexpr std::size_t kMostBytes = 16384;
constexpr const char* kTaskPattern = "[-0-9]*.[0-9]*.*.S*.T*-*.R*.*";
constexpr std::time_t kMinute = 60;

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

bool isDirectory(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

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

std::string ownedBy(uid_t user) {
  return fmt::format("it belongs to the user with the number {}", user);
}

Remedy withCommand(std::string command) {
  return command.empty() ? Remedy{{}, "its path ends with a line feed: rename it"}
                         : Remedy{std::move(command)};
}

// The paths of the names, each behind a blank.
std::string pathsIn(const std::string& directory, const std::vector<std::string>& names) {
  std::string words;
  for (const std::string& name : names) {
    const std::string word = pasteWord(directory + "/" + name);
    words += word.empty() ? "" : " " + word;
  }
  return words;
}

// Keeps as many names as a terminal takes in one line.
std::size_t shorten(std::vector<std::string>& names) {
  std::sort(names.begin(), names.end());
  std::size_t bytes = 0;
  std::size_t count = 0;
  while (count < names.size() && count < kMostNames && bytes + names[count].size() < kMostBytes) {
    bytes += names[count++].size();
  }
  count = std::min(names.size(), std::max<std::size_t>(count, 1));
  const std::size_t rest = names.size() - count;
  names.resize(count);
  return rest;
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

// Whether the pattern selects these names in the directory, and no other.
bool isSelected(const std::string& directory, const std::vector<std::string>& names) {
  std::vector<std::string> selected = client::namesIn(directory).names;
  selected.erase(std::remove_if(selected.begin(), selected.end(),
                                [&](const std::string& name) {
                                  return fnmatch(kTaskPattern, name.c_str(), 0) != 0 ||
                                         !isOldFile(directory + "/" + name);
                                }),
                 selected.end());
  std::sort(selected.begin(), selected.end());
  std::vector<std::string> wanted = names;
  std::sort(wanted.begin(), wanted.end());
  return selected == wanted;
}

}  // namespace

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

Remedy forbid(const std::string& path, const std::string& mode) {
  Remedy remedy = withCommand(forPath("chmod " + mode + " ", path));
  const std::optional<struct stat> status = statusOf(path);
  if (status && geteuid() != 0 && status->st_uid != geteuid()) {
    remedy.advice = ownedBy(status->st_uid) + ": run the command as this user, or as root";
  }
  return remedy;
}

Remedy makeDirectory(const std::string& path) {
  return withCommand(forPath("mkdir -p ", path));
}

Remedy deleteTaskFiles(const std::string& directory, std::vector<std::string> names) {
  if (names.size() > kMostNames && isSelected(directory, names)) {
    return withCommand(forPath("find ", directory,
                               " -maxdepth 1 -type f -mmin +1 -name '" + std::string(kTaskPattern) +
                                   "' -exec rm -f {} +"));
  }
  names.erase(
      std::remove_if(names.begin(), names.end(),
                     [&](const std::string& name) { return isDirectory(directory + "/" + name); }),
      names.end());
  const std::size_t rest = shorten(names);
  const std::string paths = pathsIn(directory, names);
  return paths.empty() ? Remedy{{}, "move them elsewhere: they are not files"}
                       : Remedy{"rm -f" + paths, remaining(rest)};
}

Remedy moveOutOfQueue(const std::string& queue, std::vector<std::string> names) {
  const std::size_t rest = shorten(names);
  const std::string paths = pathsIn(queue, names);
  const std::string place = pasteWord(freshName(queue, ".other"));
  if (paths.empty() || place.empty()) {
    return {{}, "move them to a directory beside the queue"};
  }
  std::string advice = "a program may need them: look at them before you delete them";
  if (rest > 0) {
    advice += "; " + remaining(rest);
  }
  return {"mkdir " + place + " && mv" + paths + " " + place, advice};
}

}  // namespace velmo::cli
