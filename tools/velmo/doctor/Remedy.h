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

/// A remedy without a command.
Remedy onlyAdvice(std::string advice, std::string look = {});

/// Sets a variable.
Remedy exported(const std::string& variable, const std::string& value);

/// The longest line that can be pasted into a terminal, in bytes.
constexpr std::size_t kLongestCommand = 4000;

}  // namespace velmo::cli

#endif
