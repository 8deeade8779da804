#include "StaleLock.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "PrivateFile.h"
#include "SystemError.h"

namespace velmo::standin {

namespace {

pid_t endedProcess() {
  const pid_t process = fork();
  if (process == 0) {
    _exit(0);
  }
  if (process < 0 || waitpid(process, nullptr, 0) < 0) {
    throw tools::systemError("cannot make a stale lock file");
  }
  return process;
}

// @return nothing if there is no such file
std::optional<ino_t> inodeOf(const std::filesystem::path& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? std::optional<ino_t>(status.st_ino) : std::nullopt;
}

}  // namespace

StaleLock::StaleLock(const std::filesystem::path& directory)
    : m_path(directory / "semaphore_velmo_jobid") {
  if (tools::createPrivateFile(m_path, std::to_string(endedProcess()) + "\n")) {
    m_inode = inodeOf(m_path);
  }
}

StaleLock::~StaleLock() {
  if (m_inode && inodeOf(m_path) == m_inode) {
    unlink(m_path.c_str());
  }
}

}  // namespace velmo::standin
