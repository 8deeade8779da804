#include "LeftoverCheck.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <vector>

#include "Listing.h"

namespace velmo::client {

namespace {

constexpr time_t kYoungest = 60;  // a younger file may belong to a program that is still at it

bool isOld(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && time(nullptr) - status.st_mtime > kYoungest;
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

void checkTemporaryFiles(const std::string& temporaryDirectory, const Report& report) {
  const auto isLeft = [&](const std::string& name) {
    return parseName(name) && isOld(temporaryDirectory + "/" + name);
  };
  reportNames(Problem::TemporaryFilesLeft, temporaryDirectory,
              namesWith(temporaryDirectory, isLeft), report);
}

void checkQueueFiles(const std::string& queueDirectory, const Report& report) {
  const auto isOther = [](const std::string& name) { return !parseName(name).has_value(); };
  reportNames(Problem::QueueHasOtherFiles, queueDirectory, namesWith(queueDirectory, isOther),
              report);
}

}  // namespace velmo::client
