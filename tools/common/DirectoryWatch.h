#ifndef VELMO_TOOLS_DIRECTORYWATCH_H
#define VELMO_TOOLS_DIRECTORYWATCH_H

#include <filesystem>
#include <string>
#include <vector>

#include "FileDescriptor.h"

namespace velmo::tools {

/// What a watch sees.
enum class Watched {
  Arrivals,  ///< files that are complete: moved there, or written there and closed
  Names,     ///< names that come and go, whatever has the name
};

/// A name that has come or gone.
struct NameChange {
  bool isArrival = false;
  std::string name{};
};

/// What has happened in a directory, in order.
struct DirectoryChanges {
  std::vector<NameChange> names{};
  bool isIncomplete = false;  ///< more has happened than this; look at the directory
  bool isOver = false;  ///< the directory was removed, moved or unmounted; nothing more is seen
};

/// A watch for what happens in a directory.
class DirectoryWatch {
 public:
  /// Begins to watch. Files that are already there are not seen.
  /// @throws std::system_error  naming the directory
  explicit DirectoryWatch(const std::filesystem::path& directory,
                          Watched watched = Watched::Arrivals);

  /// A descriptor that is readable once something has happened since clear() or take().
  int descriptor() const;

  /// Forgets what has happened so far. The caller looks at the directory next.
  void clear();

  /// What has happened since the last call.
  DirectoryChanges take();

 private:
  FileDescriptor m_descriptor;
};

}  // namespace velmo::tools

#endif
