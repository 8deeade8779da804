#ifndef VELMO_TEST_NAMEDPIPE_H
#define VELMO_TEST_NAMEDPIPE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace velmo::test {

/// A named pipe whose writing end stays open until closeWriter() or the end of the object.
class NamedPipe {
 public:
  explicit NamedPipe(const std::string& path) : m_path(path) {
    EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
    m_descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_GE(m_descriptor, 0);
  }
  ~NamedPipe() {
    closeWriter();
  }
  NamedPipe(const NamedPipe&) = delete;
  NamedPipe& operator=(const NamedPipe&) = delete;

  const std::string& path() const {
    return m_path;
  }

  void write(const std::string& text) const {
    EXPECT_EQ(static_cast<ssize_t>(text.size()), ::write(m_descriptor, text.data(), text.size()));
  }

  /// After that, readers find the end of the file.
  void closeWriter() {
    if (m_descriptor >= 0) {
      close(m_descriptor);
      m_descriptor = -1;
    }
  }

  /// Waits until everything written has been read.
  void waitUntilRead() const {
    int left = 0;
    do {
      sched_yield();
      ASSERT_EQ(0, ioctl(m_descriptor, FIONREAD, &left));
    } while (left != 0);
  }

 private:
  std::string m_path;
  int m_descriptor = -1;
};

}  // namespace velmo::test

#endif
