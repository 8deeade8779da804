#include "ModificationTime.h"

#include <sys/stat.h>

namespace brix::imutils {

std::optional<time_t> modificationTime(const std::string& path) {
  struct stat status;
  status.st_mtime = 0;  // the rest need not be cleared: stat fills it
  if (stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  return status.st_mtime;
}

}  // namespace brix::imutils
