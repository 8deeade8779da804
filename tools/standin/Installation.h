#ifndef VELMO_STANDIN_INSTALLATION_H
#define VELMO_STANDIN_INSTALLATION_H

#include <filesystem>

#include "FileDescriptor.h"
#include "Variables.h"

namespace velmo::standin {

/// Removes a directory and its contents when it goes out of scope; an empty path: nothing. A
/// failure is reported.
class DirectoryRemover {
 public:
  explicit DirectoryRemover(std::filesystem::path directory);
  DirectoryRemover(const DirectoryRemover&) = delete;
  DirectoryRemover& operator=(const DirectoryRemover&) = delete;
  ~DirectoryRemover();

 private:
  std::filesystem::path m_directory;
};

/// The directories and configuration files of one installation:
///
///   conf/priorities.cfg, conf/serverid.cfg   CONF
///   home/priorities.cfg                      VELMO_HOME
///   var/taskqueue/, var/log/                 VAR
///   tmp/                                     TMP, on the file system of the queue
///   data/velmo/                              DATA
///   lock/                                    LOCK_VAR
///
/// Only the user can read and write what is created, whatever the umask. Existing files and
/// directories are left as they are. A directory is used by one installation at a time.
class Installation {
 public:
  /// Creates what is missing in `home`, or in a fresh directory under TMPDIR (unset: /tmp) if
  /// `home` is empty. A fresh directory is removed with the object, unless `keep` is set.
  /// @throws std::exception  naming what could not be created; a fresh directory is then removed
  Installation(const std::filesystem::path& home, bool keep);

  /// The installation's directory, absolute.
  const std::filesystem::path& directory() const;

  /// Whether the directory stays after this object.
  bool isKept() const;

  std::filesystem::path queueDirectory() const;
  std::filesystem::path logDirectory() const;

  /// Path of the file that names a service. It is not created here.
  std::filesystem::path modulesFile() const;

  /// The variables with which a program finds this installation, without those of the task counter.
  tools::Variables variables() const;

 private:
  std::filesystem::path m_directory;
  bool m_isKept;
  DirectoryRemover m_remover;
  tools::FileDescriptor m_lock;
};

}  // namespace velmo::standin

#endif
