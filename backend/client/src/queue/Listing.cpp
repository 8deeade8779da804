#include "Listing.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

namespace velmo::client {

namespace {

constexpr std::size_t kLongestName = VELMO_NAME_SIZE - 1;

struct DirectoryCloser {
  void operator()(DIR* directory) const {
    closedir(directory);
  }
};

using Directory = std::unique_ptr<DIR, DirectoryCloser>;

// Null at the end, with errno 0, and after a failure.
const dirent* nextEntry(const Directory& directory) {
  errno = 0;
  return readdir(directory.get());
}

// Returns the errno of the failure, or 0.
template <typename Take>
int eachName(const std::string& directory, Take take) {
  const Directory open(opendir(directory.c_str()));
  if (open == nullptr) {
    return errno;
  }
  while (const dirent* entry = nextEntry(open)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") {
      take(std::move(name));
    }
  }
  return errno;
}

Fault notListed(const std::string& directory, int error) {
  if (error == ENOENT || error == ENOTDIR) {
    return {Problem::DirectoryMissing, "VAR", directory, error};
  }
  return {Problem::QueueNotListed, directory, {}, error};
}

}  // namespace

DirectoryNames namesIn(const std::string& directory) {
  DirectoryNames result;
  result.error =
      eachName(directory, [&](std::string name) { result.names.push_back(std::move(name)); });
  return result;
}

std::optional<brix::velmo::TaskFileName> parseName(std::string_view name) {
  if (name.size() > kLongestName || name.find('/') != std::string_view::npos) {
    return std::nullopt;
  }
  return brix::velmo::parseTaskFileName(name);
}

Outcome eachTask(const std::string& queueDirectory, const std::function<void(std::string)>& take) {
  const int error = eachName(queueDirectory, [&](std::string name) {
    if (parseName(name)) {
      take(std::move(name));
    }
  });
  return error != 0 ? Outcome(notListed(queueDirectory, error)) : std::nullopt;
}

Result<velmo_listing> listTasks(const std::string& queueDirectory) {
  velmo_listing listing;
  if (Outcome failure = eachTask(
          queueDirectory, [&](std::string name) { listing.names.push_back(std::move(name)); })) {
    return *std::move(failure);
  }
  std::sort(listing.names.begin(), listing.names.end());
  return listing;
}

Outcome cancelTask(const std::string& queueDirectory, const std::string& name) {
  if (!parseName(name)) {
    return Fault{Problem::NotATaskName, name};
  }
  const std::string path = queueDirectory + "/" + name;
  if (unlink(path.c_str()) == 0) {
    return std::nullopt;
  }
  const int error = errno;
  return error == ENOENT ? Fault{Problem::TaskNotInQueue, name}
                         : Fault{Problem::TaskNotRemoved, path, {}, error};
}

}  // namespace velmo::client
