#ifndef VELMO_TOOLS_SYSTEMERROR_H
#define VELMO_TOOLS_SYSTEMERROR_H

#include <string>
#include <system_error>

namespace velmo::tools {

/// The error of the system call that has just failed (errno), as "WHAT: TEXT".
std::system_error systemError(const std::string& what);

}  // namespace velmo::tools

#endif
