#include "FileDescriptor.h"

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

bool writeWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written < 0) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace velmo::tools
