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

Fault notListed(const std::string& directory, int error) {
  if (error == ENOENT || error == ENOTDIR) {
    return {Problem::DirectoryMissing, "VAR", directory, error};
  }
  return {Problem::QueueNotListed, directory, {}, error};
}

}  // namespace

DirectoryNames namesIn(const std::string& directory) {
  const Directory open(opendir(directory.c_str()));
  if (open == nullptr) {
    return {{}, errno};
  }
  DirectoryNames result;
  while (const dirent* entry = nextEntry(open)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") {
      result.names.push_back(std::move(name));
    }
  }
  result.error = errno;
  return result;
}

std::optional<brix::velmo::TaskFileName> parseName(std::string_view name) {
  if (name.size() > kLongestName || name.find('/') != std::string_view::npos) {
    return std::nullopt;
  }
  return brix::velmo::parseTaskFileName(name);
}

Result<velmo_listing> listTasks(const std::string& queueDirectory) {
  DirectoryNames all = namesIn(queueDirectory);
  if (all.error != 0) {
    return notListed(queueDirectory, all.error);
  }
  velmo_listing listing;
  for (std::string& name : all.names) {
    if (parseName(name)) {
      listing.names.push_back(std::move(name));
    }
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
