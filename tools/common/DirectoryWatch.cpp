#include "DirectoryWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>

#include "SystemError.h"

namespace velmo::tools {

namespace {

// A file is complete when it is moved into the directory, or when its writer closes it.
FileDescriptor startWatch(const std::filesystem::path& directory) {
  FileDescriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!watch.isOpen() ||
      inotify_add_watch(watch.get(), directory.c_str(), IN_MOVED_TO | IN_CLOSE_WRITE) < 0) {
    throw systemError("cannot watch " + directory.string());
  }
  return watch;
}

}  // namespace

DirectoryWatch::DirectoryWatch(const std::filesystem::path& directory)
    : m_descriptor(startWatch(directory)) {}

int DirectoryWatch::descriptor() const {
  return m_descriptor.get();
}

void DirectoryWatch::clear() {
  std::array<char, 4096> events{};
  while (read(m_descriptor.get(), events.data(), events.size()) > 0) {
  }
}

}  // namespace velmo::tools
