#ifndef VELMO_STANDIN_FILEDESCRIPTOR_H
#define VELMO_STANDIN_FILEDESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace standin {

/// A file descriptor that is closed when it goes out of scope. Negative: none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}

  FileDescriptor(FileDescriptor&& other) noexcept
      : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

  FileDescriptor& operator=(FileDescriptor&&) = delete;

  ~FileDescriptor() {
    if (m_descriptor >= 0) {
      ::close(m_descriptor);
    }
  }

  bool isOpen() const {
    return m_descriptor >= 0;
  }

  /// The descriptor, which stays this object's.
  int get() const {
    return m_descriptor;
  }

 private:
  int m_descriptor;
};

}  // namespace standin

#endif
