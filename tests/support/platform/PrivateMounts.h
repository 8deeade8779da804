#ifndef VELMO_TEST_PRIVATEMOUNTS_H
#define VELMO_TEST_PRIVATEMOUNTS_H

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <string>
#include <vector>

namespace velmo::test {

/// File systems that only this process sees, unmounted when the object is destroyed.
class PrivateMounts {
 public:
  PrivateMounts()
      : m_isPermitted(unshare(CLONE_NEWNS) == 0 &&
                      mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) {}

  PrivateMounts(const PrivateMounts&) = delete;
  PrivateMounts& operator=(const PrivateMounts&) = delete;

  ~PrivateMounts() {
    for (; !m_mounted.empty(); m_mounted.pop_back()) {
      EXPECT_EQ(0, umount2(m_mounted.back().c_str(), MNT_DETACH));
    }
  }

  /// Whether this process may mount, as root outside of a changed root directory. Otherwise a test
  /// fakes the answer of the platform.
  bool isPermitted() const {
    return m_isPermitted;
  }

  /// Mounts an empty file system with room for so many bytes, in whole pages.
  void mountSmall(const std::string& directory, int size) {
    const std::string options = "size=" + std::to_string(size);
    ASSERT_EQ(0, mount("tmpfs", directory.c_str(), "tmpfs", 0, options.c_str()));
    m_mounted.push_back(directory);
  }

  /// Mounts a directory on itself: the same file system on another mount.
  void mountOnItself(const std::string& directory) {
    ASSERT_EQ(0, mount(directory.c_str(), directory.c_str(), nullptr, MS_BIND, nullptr));
    m_mounted.push_back(directory);
  }

 private:
  bool m_isPermitted;
  std::vector<std::string> m_mounted;
};

}  // namespace velmo::test

#endif
