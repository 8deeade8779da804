#ifndef VELMO_TOOLS_DIRECTORYWATCH_H
#define VELMO_TOOLS_DIRECTORYWATCH_H

#include <filesystem>

#include "FileDescriptor.h"

namespace velmo::tools {

/// A watch for files that arrive in a directory: moved there, or written there and closed.
class DirectoryWatch {
 public:
  /// Begins to watch. Files that are already there are not seen.
  /// @throws std::system_error  naming the directory
  explicit DirectoryWatch(const std::filesystem::path& directory);

  /// A descriptor that is readable once a file has arrived since clear().
  int descriptor() const;

  /// Forgets the arrivals so far. The caller looks at the directory next.
  void clear();

 private:
  FileDescriptor m_descriptor;
};

}  // namespace velmo::tools

#endif
