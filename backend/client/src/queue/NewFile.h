#ifndef VELMO_NEWFILE_H
#define VELMO_NEWFILE_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include "Descriptor.h"

namespace velmo::client {

/// A file that is written aside and then moved into place. It is removed with the object, unless
/// keep() was called.
///
/// Each step returns 0 or the errno of its failure.
class NewFile {
 public:
  explicit NewFile(std::string path);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  const std::string& path() const {
    return m_path;
  }

  /// Creates the file, with the mode less the umask. EEXIST if the path is taken, also by a
  /// symbolic link: none is followed.
  int create(mode_t mode);

  /// Writes the contents.
  /// @param isDurable  also waits until they are on the disk
  int write(std::string_view contents, bool isDurable);

  /// Closes the file. Some file systems report a failed write only here.
  int close();

  /// Leaves the file where it is: it has been moved.
  void keep();

 private:
  bool isOurs() const;

  std::string m_path;
  Descriptor m_descriptor;
  bool m_isToBeRemoved = false;
};

}  // namespace velmo::client

#endif
