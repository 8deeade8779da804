#ifndef VELMO_GUESS_H
#define VELMO_GUESS_H

#include <optional>
#include <string>

#include "Check.h"

namespace velmo::cli {

/// The probable value of a variable, a directory. Installations often have the directories
/// "conf", "home", "var", "tmp", "data" and "lock" beside each other: where another variable names
/// one of them, the rest are looked for in the same directory.
/// @return nothing if no such directory exists, or for a key
std::optional<std::string> guessOf(const Place& place, const client::Settings& settings);

/// An absolute path for a relative one, seen from the working directory, without "." and "..".
std::string absolutePath(const std::string& path);

/// Whether the directory that a variable names, which may be missing, has the usual name and is
/// beside an existing one of another variable.
bool isBesideOthers(const Place& place, const client::Settings& settings);

/// Whether a path names a directory or a symbolic link to one.
bool leadsToDirectory(const std::string& path);

}  // namespace velmo::cli

#endif
