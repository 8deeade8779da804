#include "SystemError.h"

#include <cerrno>

namespace velmo::tools {

std::system_error systemError(const std::string& what) {
  return {errno, std::generic_category(), what};
}

}  // namespace velmo::tools
