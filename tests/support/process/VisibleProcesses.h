#ifndef VELMO_TEST_VISIBLEPROCESSES_H
#define VELMO_TEST_VISIBLEPROCESSES_H

#include <sys/stat.h>
#include <sys/vfs.h>

#include <filesystem>
#include <string>

namespace velmo::test {

/// Whether this process sees every process that can use a directory: on a whole machine, or in a
/// container's own root. Elsewhere no lock can be proved stale.
inline bool seesEveryUserOf(const std::string& directory) {
  constexpr unsigned long kOverlay = 0x794C7630;
  if (std::filesystem::read_symlink("/proc/self/ns/pid") == "pid:[4026531836]") {
    return true;
  }
  struct statfs system {};
  struct stat root {};
  struct stat status {};
  return statfs("/", &system) == 0 && static_cast<unsigned long>(system.f_type) == kOverlay &&
         stat("/", &root) == 0 && stat(directory.c_str(), &status) == 0 &&
         root.st_dev == status.st_dev;
}

}  // namespace velmo::test

#endif
