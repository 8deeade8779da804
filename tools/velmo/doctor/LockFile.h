#ifndef VELMO_LOCKFILE_H
#define VELMO_LOCKFILE_H

#include <sys/stat.h>

#include <functional>
#include <string>

#include "Descriptor.h"
#include "LockProof.h"
#include "Processes.h"

namespace velmo::cli {

/// The lock file of a job counter, as it was when the object was made. Keeps it open, so that no
/// other file gets its number.
class LockFile {
 public:
  /// @throws Failure  the file is there, but cannot be read
  explicit LockFile(std::string path);

  /// Whether the file was there.
  bool isThere() const {
    return m_isThere;
  }

  /// The file for people: "the lock file" and its quoted path, in one line.
  std::string name() const;

  /// Whether it is certainly stale.
  LockVerdict verdict(const Processes& processes) const;

  /// Deletes the file, if it is still the same.
  /// @throws Failure  it is another one by now, or cannot be deleted
  void remove() const;

  /// The step of remove() after which no other program can take the file: renames what is at the
  /// path, and puts it back if it is another file.
  /// @throws Failure  it is another file, or cannot be renamed or deleted
  void takeAway() const;

 private:
  bool isSame(const std::string& path) const;
  bool isLocal() const;

  std::string m_path;
  client::Descriptor m_descriptor;
  struct stat m_status {};
  std::string m_contents;
  bool m_isThere = false;
};

}  // namespace velmo::cli

#endif
