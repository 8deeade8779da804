#ifndef VELMO_MODIFICATIONTIME_H
#define VELMO_MODIFICATIONTIME_H

#include <ctime>
#include <optional>
#include <string>

namespace brix::imutils {

/// The modification time of a file, of any kind, in seconds since the epoch. Symbolic links are
/// followed. Costs one `stat`.
/// @return nothing if the file does not exist or cannot be examined
std::optional<time_t> modificationTime(const std::string& path);

}  // namespace brix::imutils

#endif
