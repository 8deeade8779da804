#ifndef VELMO_TEST_VISIBLEPROCESSES_H
#define VELMO_TEST_VISIBLEPROCESSES_H

#include <filesystem>

namespace velmo::test {

/// Whether this process sees every process of the machine. In a container it does not, and no lock
/// can be proved stale.
inline bool seesEveryProcess() {
  return std::filesystem::read_symlink("/proc/self/ns/pid") == "pid:[4026531836]";
}

}  // namespace velmo::test

#endif
