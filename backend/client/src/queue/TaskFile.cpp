#include "TaskFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <utility>

#include "FileCalls.h"
#include "Joined.h"
#include "NewFile.h"

namespace velmo::client {

namespace {

using brix::imutils::joined;

// Readable by everybody: the service may run as another user. Writable by its owner alone, whatever
// the umask permits: the service executes what the file says.
constexpr mode_t kTaskMode = 0644;

bool isDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isMissing(const std::string& directory, int error) {
  return (error == ENOENT || error == ENOTDIR) && !isDirectory(directory);
}

// Moves a file, if the new name is free. Returns 0, EEXIST, or another errno.
int moveWithoutHelp(const std::string& from, const std::string& to) {
  struct stat status {};
  if (lstat(to.c_str(), &status) == 0) {
    return EEXIST;
  }
  if (errno != ENOENT) {
    return errno;
  }
  // Deliberate: not link() and unlink(), which could not replace a file. A service that watches the
  // queue for files that are moved there would not see the task.
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// renameat2() that replaces nothing. A C library that does not know the call does not know its
// constants.
int renameIfFree(const char* from, const char* to) {
#ifdef RENAME_NOREPLACE
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
#else
  constexpr unsigned kNoReplace = 1;
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, kNoReplace));
#endif
}

// The same in one step, where the file system can do that.
int moveIfFree(const std::string& from, const std::string& to) {
  if (renameIfFree(from.c_str(), to.c_str()) == 0) {
    return 0;
  }
  const int error = errno;
  const bool isUnsupported = error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
  return isUnsupported ? moveWithoutHelp(from, to) : error;
}

bool isTaken(int error) {
  return error == EEXIST;
}

/// A task file on its way into the queue. Each step returns 0 or the errno of its failure.
class TaskFile {
 public:
  TaskFile(const std::string& temporaryDirectory, const std::string& queueDirectory,
           const std::string& name)
      : m_temporaryDirectory(temporaryDirectory),
        m_queueDirectory(queueDirectory),
        m_queueFile(joined({queueDirectory, "/", name})),
        m_file(joined({temporaryDirectory, "/", name})) {}

  /// Prepares to make the move of the file with this name durable.
  int openQueue(const std::string& name);
  int write(const std::string& contents, bool isDurable);
  int move();

  /// Makes the move durable.
  int sync() {
    return syncFile(m_queue.get());
  }

  /// What the failure of each step means.
  Fault queueNotOpen(int error) const;
  Result<Placement> notWritten(int error) const;
  Result<Placement> notMoved(int error) const;

  /// Allocates nothing: the task is in the queue, and memory that runs out must not deny it.
  Fault notSynced(int error) {
    m_notSynced->systemError = error;
    return *std::move(m_notSynced);
  }

 private:
  const std::string& m_temporaryDirectory;
  const std::string& m_queueDirectory;
  std::string m_queueFile;
  Outcome m_notSynced;  // set by openQueue()
  Descriptor m_queue;
  NewFile m_file;
};

int TaskFile::openQueue(const std::string& name) {
  m_notSynced = inDoubt(Fault{Problem::QueueNotSynced, m_queueDirectory}, name);
  Opened opened = openDirectory(m_queueDirectory);
  m_queue = std::move(opened.descriptor);
  return opened.error;
}

int TaskFile::write(const std::string& contents, bool isDurable) {
  if (const int error = m_file.create(kTaskMode)) {
    return error;
  }
  if (const int error = m_file.write(contents, isDurable)) {
    return error;
  }
  return m_file.close();
}

int TaskFile::move() {
  const int error = moveIfFree(m_file.path(), m_queueFile);
  if (error == 0) {
    m_file.keep();
  }
  return error;
}

Fault TaskFile::queueNotOpen(int error) const {
  return isMissing(m_queueDirectory, error)
             ? Fault{Problem::DirectoryMissing, "VAR", m_queueDirectory, error}
             : Fault{Problem::QueueNotSynced, m_queueDirectory, {}, error};
}

Result<Placement> TaskFile::notWritten(int error) const {
  if (isTaken(error)) {
    return Placement{false, m_file.path()};
  }
  return isMissing(m_temporaryDirectory, error)
             ? Fault{Problem::DirectoryMissing, "TMP", m_temporaryDirectory, error}
             : Fault{Problem::TemporaryFileNotWritten, m_file.path(), {}, error};
}

Result<Placement> TaskFile::notMoved(int error) const {
  if (isTaken(error)) {
    return Placement{false, m_queueFile};
  }
  if (error == EXDEV) {
    return Fault{Problem::DifferentFileSystems, m_temporaryDirectory, m_queueDirectory, error};
  }
  return isMissing(m_queueDirectory, error)
             ? Fault{Problem::DirectoryMissing, "VAR", m_queueDirectory, error}
             : Fault{Problem::NotMovedIntoQueue, m_queueFile, {}, error};
}

}  // namespace

Result<Placement> placeTaskFile(const std::string& temporaryDirectory,
                                const std::string& queueDirectory, const std::string& name,
                                const std::string& contents, bool isDurable) {
  TaskFile file(temporaryDirectory, queueDirectory, name);
  // Before the move: after it, nothing may fail but the sync.
  if (const int error = isDurable ? file.openQueue(name) : 0) {
    return file.queueNotOpen(error);
  }
  if (const int error = file.write(contents, isDurable)) {
    return file.notWritten(error);
  }
  if (const int error = file.move()) {
    return file.notMoved(error);
  }
  if (const int error = isDurable ? file.sync() : 0) {
    return file.notSynced(error);
  }
  return Placement{true};
}

}  // namespace velmo::client
