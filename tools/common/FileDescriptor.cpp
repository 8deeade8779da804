#include "FileDescriptor.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

namespace velmo::tools {

FileDescriptor::FileDescriptor(int descriptor) : m_descriptor(descriptor) {}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

FileDescriptor::~FileDescriptor() {
  if (m_descriptor >= 0) {
    close(m_descriptor);
  }
}

bool FileDescriptor::isOpen() const {
  return m_descriptor >= 0;
}

int FileDescriptor::get() const {
  return m_descriptor;
}

namespace {

// Whether a write that failed may succeed the next time. Waits until the descriptor takes more.
bool mayWriteAgain(int descriptor) {
  if (errno == EAGAIN) {  // a process that shares it has made it non-blocking
    pollfd entry{descriptor, POLLOUT, 0};
    return poll(&entry, 1, -1) >= 0 || errno == EINTR;
  }
  return errno == EINTR;
}

}  // namespace

bool writeWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (!mayWriteAgain(descriptor)) {
      return false;
    }
  }
  return true;
}

}  // namespace velmo::tools
