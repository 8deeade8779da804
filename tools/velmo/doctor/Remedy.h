#ifndef VELMO_REMEDY_H
#define VELMO_REMEDY_H

#include <optional>
#include <string>

namespace velmo::cli {

/// What a person can do against a fault.
struct Remedy {
  std::optional<std::string> command = {};  ///< for a POSIX shell; nothing if no command repairs it
  std::string advice = {};                  ///< in words; may be empty
  std::string look = {};  ///< a command that shows more, and changes nothing; may be empty
};

}  // namespace velmo::cli

#endif
