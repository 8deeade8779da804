#include "QueueDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <utility>

#include "FileDescriptor.h"
#include "SystemError.h"

namespace velmo::tools {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1000000000;

std::string readToEnd(const FileDescriptor& file) {
  std::string text;
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t count = read(file.get(), buffer.data(), buffer.size());
    if (count < 0) {
      throw systemError("cannot read");
    }
    if (count == 0) {
      return text;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
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
  // The file may have been replaced by a link or a pipe since identify().
  const FileDescriptor file(
      open((m_directory / name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen()) {
    throw systemError("cannot read");
  }
  return readToEnd(file);
}

void QueueDirectory::remove(const std::string& name) {
  if (unlink((m_directory / name).c_str()) != 0 && errno != ENOENT) {
    throw systemError("cannot remove");
  }
}

}  // namespace velmo::tools
