#ifndef VELMO_TOOLS_PRIVATEFILE_H
#define VELMO_TOOLS_PRIVATEFILE_H

#include <filesystem>
#include <string_view>

namespace velmo::tools {

/// Creates a file with this text that only the user can read and write, whatever the umask.
/// @return false, with nothing changed, if there is something of that name
/// @throws std::system_error  naming the file, which is removed if it cannot be written whole
bool createPrivateFile(const std::filesystem::path& path, std::string_view text);

}  // namespace velmo::tools

#endif
