#include "DirectoryWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "SystemError.h"

namespace velmo::tools {

namespace {

constexpr std::uint32_t kArrival = IN_CREATE | IN_MOVED_TO;
constexpr std::uint32_t kDeparture = IN_DELETE | IN_MOVED_FROM;
constexpr std::uint32_t kEnd = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;

// A file is complete when it is moved into the directory, or when its writer closes it.
std::uint32_t eventsOf(Watched watched) {
  return watched == Watched::Arrivals ? IN_MOVED_TO | IN_CLOSE_WRITE
                                      : kArrival | kDeparture | IN_DELETE_SELF | IN_MOVE_SELF;
}

FileDescriptor startWatch(const std::filesystem::path& directory, Watched watched) {
  FileDescriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!watch.isOpen() || inotify_add_watch(watch.get(), directory.c_str(), eventsOf(watched)) < 0) {
    throw systemError("cannot watch " + directory.string());
  }
  return watch;
}

void add(DirectoryChanges& changes, std::uint32_t events, const char* name) {
  if ((events & (kArrival | kDeparture)) != 0) {
    changes.names.push_back({(events & kArrival) != 0, name});
  }
  changes.isIncomplete = changes.isIncomplete || (events & IN_Q_OVERFLOW) != 0;
  changes.isOver = changes.isOver || (events & kEnd) != 0;
}

// The kernel writes whole events, each with its name and padding behind it.
void addAll(DirectoryChanges& changes, std::string_view bytes) {
  while (bytes.size() >= sizeof(inotify_event)) {
    inotify_event event{};
    std::memcpy(&event, bytes.data(), sizeof event);
    add(changes, event.mask, event.len > 0 ? bytes.data() + sizeof event : "");
    bytes.remove_prefix(sizeof event + event.len);
  }
}

}  // namespace

DirectoryWatch::DirectoryWatch(const std::filesystem::path& directory, Watched watched)
    : m_descriptor(startWatch(directory, watched)) {}

int DirectoryWatch::descriptor() const {
  return m_descriptor.get();
}

void DirectoryWatch::clear() {
  take();
}

DirectoryChanges DirectoryWatch::take() {
  DirectoryChanges changes;
  std::array<char, 4096> events{};
  ssize_t count = 0;
  while ((count = read(m_descriptor.get(), events.data(), events.size())) > 0) {
    addAll(changes, {events.data(), static_cast<std::size_t>(count)});
  }
  return changes;
}

}  // namespace velmo::tools
