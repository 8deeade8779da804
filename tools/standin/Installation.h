#ifndef VELMO_STANDIN_INSTALLATION_H
#define VELMO_STANDIN_INSTALLATION_H

#include <filesystem>
#include <string_view>

#include "Environment.h"
#include "FileDescriptor.h"

namespace standin {

/// Makes a file with this text that belongs to the user alone, whatever the umask.
/// @return false, with nothing changed, when there is something of that name
/// @throws std::system_error  naming the file; nothing of it stays
bool makePrivateFile(const std::filesystem::path& path, std::string_view text);

/// Removes a directory and all it holds when it goes out of scope; an empty path: nothing. What
/// cannot be removed is reported.
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
/// What is made here is private to the user, whatever the umask. What exists is kept as it is. One
/// installation at a time serves a directory.
class Installation {
 public:
  /// Makes what is missing in `home`, or in a fresh directory under TMPDIR (unset: /tmp) when
  /// `home` is empty. Only a fresh directory is removed at the end, and only without `keep`.
  /// @throws std::exception  naming what could not be made; a fresh directory is removed then
  Installation(const std::filesystem::path& home, bool keep);

  /// The installation's directory, absolute.
  const std::filesystem::path& directory() const;

  /// Whether the directory stays when the object goes.
  bool isKept() const;

  std::filesystem::path queueDirectory() const;
  std::filesystem::path logDirectory() const;

  /// Where the file that names a service stands, when there is one. It is not made here.
  std::filesystem::path modulesFile() const;

  /// The variables that lead a program to this installation, those of the task counter excepted.
  Variables variables() const;

 private:
  std::filesystem::path m_directory;
  bool m_isKept;
  DirectoryRemover m_remover;
  FileDescriptor m_lock;
};

}  // namespace standin

#endif
