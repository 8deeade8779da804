#include "QueueDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <limits>
#include <utility>

#include "FileDescriptor.h"
#include "SystemError.h"

namespace velmo::tools {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1000000000;

std::string readUpTo(const FileDescriptor& file, std::size_t limit) {
  std::string text;
  std::array<char, 4096> buffer{};
  while (text.size() < limit) {
    const std::size_t most = std::min(limit - text.size(), buffer.size());
    const ssize_t count = read(file.get(), buffer.data(), most);
    if (count < 0) {
      throw systemError("cannot read");
    }
    if (count == 0) {
      break;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

bool FileIdentity::operator==(const FileIdentity& other) const {
  return isRegular == other.isRegular && inode == other.inode &&
         modifiedNanoseconds == other.modifiedNanoseconds;
}

QueueDirectory::QueueDirectory(std::filesystem::path directory)
    : m_directory(std::move(directory)) {}

std::vector<std::string> QueueDirectory::names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(m_directory)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<FileIdentity> QueueDirectory::identify(const std::string& name) const {
  struct stat status {};
  if (lstat((m_directory / name).c_str(), &status) != 0) {
    return std::nullopt;
  }
  if (!S_ISREG(status.st_mode)) {
    return FileIdentity{false, status.st_ino, 0};  // a directory's time changes with its entries
  }
  return FileIdentity{true, status.st_ino,
                      status.st_mtim.tv_sec * kNanosecondsPerSecond + status.st_mtim.tv_nsec};
}

std::string QueueDirectory::read(const std::string& name) const {
  return readStart(name, std::numeric_limits<std::size_t>::max());
}

std::string QueueDirectory::readStart(const std::string& name, std::size_t limit) const {
  // The file may have been replaced by a link or a pipe since identify().
  const FileDescriptor file(
      open((m_directory / name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen()) {
    throw systemError("cannot read");
  }
  return readUpTo(file, limit);
}

void QueueDirectory::remove(const std::string& name) {
  if (unlink((m_directory / name).c_str()) != 0 && errno != ENOENT) {
    throw systemError("cannot remove");
  }
}

}  // namespace velmo::tools
