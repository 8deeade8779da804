#include "TaskQueue.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "Report.h"

namespace standin {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1000000000;

// A task file is complete when it is moved here, or when its writer closes it.
FileDescriptor watch(const std::filesystem::path& directory) {
  FileDescriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!watch.isOpen() ||
      inotify_add_watch(watch.get(), directory.c_str(), IN_MOVED_TO | IN_CLOSE_WRITE) < 0) {
    throw systemError("cannot watch " + directory.string());
  }
  return watch;
}

}  // namespace

bool FileIdentity::operator==(const FileIdentity& other) const {
  return isRegular == other.isRegular && inode == other.inode &&
         modifiedNanoseconds == other.modifiedNanoseconds;
}

TaskQueue::TaskQueue(std::filesystem::path directory)
    : m_directory(std::move(directory)), m_watch(watch(m_directory)) {}

int TaskQueue::watchDescriptor() const {
  return m_watch.get();
}

void TaskQueue::clearWatch() {
  std::array<char, 4096> events{};
  while (::read(m_watch.get(), events.data(), events.size()) > 0) {
  }
}

std::vector<std::string> TaskQueue::names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(m_directory)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<FileIdentity> TaskQueue::identify(const std::string& name) const {
  struct stat status {};
  if (lstat((m_directory / name).c_str(), &status) != 0) {
    return std::nullopt;
  }
  if (!S_ISREG(status.st_mode)) {
    return FileIdentity{false, status.st_ino, 0};  // a directory's time moves with its entries
  }
  return FileIdentity{true, status.st_ino,
                      status.st_mtim.tv_sec * kNanosecondsPerSecond + status.st_mtim.tv_nsec};
}

std::string TaskQueue::read(const std::string& name) const {
  // Neither follows nor waits: what lies here may have changed into a link or a pipe by now.
  const FileDescriptor file(
      open((m_directory / name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen()) {
    throw systemError("cannot read");
  }
  std::string text;
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t count = ::read(file.get(), buffer.data(), buffer.size());
    if (count < 0) {
      throw systemError("cannot read");
    }
    if (count == 0) {
      return text;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

void TaskQueue::remove(const std::string& name) {
  if (unlink((m_directory / name).c_str()) != 0 && errno != ENOENT) {
    throw systemError("cannot remove");
  }
}

}  // namespace standin
