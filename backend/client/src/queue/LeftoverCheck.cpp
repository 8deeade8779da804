#include "LeftoverCheck.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <vector>

#include "Listing.h"

namespace velmo::client {

namespace {

constexpr time_t kYoungest = 60;  // a program may still be writing a younger file

bool isOld(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && time(nullptr) - status.st_mtime > kYoungest;
}

// Whether two paths lead to one directory.
bool isSame(const std::string& left, const std::string& right) {
  struct stat one {};
  struct stat other {};
  return stat(left.c_str(), &one) == 0 && stat(right.c_str(), &other) == 0 &&
         one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Reports the names, if there are any, in one finding.
void reportNames(Problem problem, const std::string& directory,
                 const std::vector<std::string>& names, const Report& report) {
  if (!names.empty()) {
    const std::string& first = *std::min_element(names.begin(), names.end());
    report({problem, directory,
            names.size() == 1 ? first : std::to_string(names.size()) + ", the first is " + first});
  }
}

template <typename Condition>
std::vector<std::string> namesWith(const std::string& directory, Condition condition) {
  std::vector<std::string> names = namesIn(directory).names;
  names.erase(std::remove_if(names.begin(), names.end(),
                             [&](const std::string& name) { return !condition(name); }),
              names.end());
  return names;
}

}  // namespace

std::vector<std::string> leftoversIn(const std::string& directory) {
  return namesWith(directory, [&directory](const std::string& name) {
    return parseName(name) && isOld(directory + "/" + name);
  });
}

std::vector<std::string> otherFilesIn(const std::string& queue) {
  return namesWith(queue, [](const std::string& name) { return !parseName(name); });
}

void checkLeftovers(const Settings& settings, const Report& report) {
  const std::string queue = settings.var.value + "/taskqueue";
  const std::string& temporary = settings.tmp.value;
  if (directoryOf(settings.tmp).isOk() && !isSame(temporary, queue)) {
    reportNames(Problem::TemporaryFilesLeft, temporary, leftoversIn(temporary), report);
  }
  if (directoryOf(settings.var).isOk()) {
    reportNames(Problem::QueueHasOtherFiles, queue, otherFilesIn(queue), report);
  }
}

}  // namespace velmo::client
