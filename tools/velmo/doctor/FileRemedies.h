#ifndef VELMO_FILEREMEDIES_H
#define VELMO_FILEREMEDIES_H

#include <string>
#include <vector>

#include "Remedy.h"

namespace velmo::cli {

/// A name beside a path that nothing has: the path and the suffix, with a number if necessary.
std::string freshName(const std::string& path, const std::string& suffix);

/// Whether anything has the path, such as a symbolic link that leads nowhere.
bool exists(const std::string& path);

/// Whether a path names a directory, and not a symbolic link to one.
bool isDirectoryItself(const std::string& path);

/// Commands for a shell: the words before and behind each path.
std::string forPath(const std::string& before, const std::string& path,
                    const std::string& behind = {});

/// Moves a file out of the way, to a fresh name beside it.
Remedy moveAway(const std::string& path);

/// Gives a user permission: to a directory above the path that this user may not enter, or else to
/// the path itself. Only the owner of a file and root may do that.
/// @param mode  for chmod, such as "u+r"
Remedy permit(const std::string& path, const std::string& mode);

/// Takes a permission away.
/// @param mode  for chmod, such as "o-w"
Remedy forbid(const std::string& path, const std::string& mode);

/// Creates a directory with its parents.
Remedy makeDirectory(const std::string& path);

/// Deletes files in a directory. If not all names fit into a line of a terminal, the command has a
/// pattern that matches exactly these, or else only the first names.
/// @param names  of task files, older than a minute; not empty
Remedy deleteTaskFiles(const std::string& directory, std::vector<std::string> names);

/// Moves files of the queue to a new directory beside it. If not all names fit into a line of a
/// terminal, the command has a pattern that matches exactly these, or else only the first names.
/// @param names  not empty
Remedy moveOutOfQueue(const std::string& queue, std::vector<std::string> names);

}  // namespace velmo::cli

#endif
