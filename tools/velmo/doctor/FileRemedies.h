#ifndef VELMO_FILEREMEDIES_H
#define VELMO_FILEREMEDIES_H

#include <string>
#include <vector>

#include "Remedy.h"

namespace velmo::cli {

/// A path that does not exist yet: the path plus the suffix, and a number if needed.
std::string freshName(const std::string& path, const std::string& suffix);

/// Whether the path exists. A broken symbolic link counts.
bool exists(const std::string& path);

/// Whether a path names a directory, and not a symbolic link to one.
bool isDirectoryItself(const std::string& path);

/// A shell command: the text before the path, the quoted path, the text behind it. Empty if the
/// path cannot be quoted.
std::string forPath(const std::string& before, const std::string& path,
                    const std::string& behind = {});

/// Moves a file out of the way, to a fresh name beside it.
Remedy moveAway(const std::string& path);

/// Gives a user permission: to a directory above the path that this user may not enter, or else to
/// the path itself. Only the owner of a file and root may do that.
/// @param mode  for chmod, such as "u+r"
Remedy permit(const std::string& path, const std::string& mode);

/// Removes write permission for others. Only the owner of a directory and root may do that.
Remedy closeToOthers(const std::string& path);

/// Creates a directory with its parents, if this user may.
Remedy makeDirectory(const std::string& path);

/// What to append to a command that creates a path, so that root does not leave a file that the
/// service cannot use: gives it the owner of the directory that it is in. Empty if that is not
/// needed.
std::string ownedAsParent(const std::string& path);

/// Deletes files in a directory. If not all names fit into a line of a terminal, the command has a
/// pattern that matches exactly these, or else only the first names.
/// @param names  of task files, older than a minute; not empty
Remedy deleteTaskFiles(const std::string& directory, std::vector<std::string> names);

/// Moves files of the queue to a new directory beside it. If not all names fit into a line of a
/// terminal, the command has a pattern that matches exactly these, or else only the first names.
/// @param names  not empty
Remedy moveOutOfQueue(const std::string& queue, const std::vector<std::string>& names);

}  // namespace velmo::cli

#endif
