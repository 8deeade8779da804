#ifndef VELMO_PROPERTYLINES_H
#define VELMO_PROPERTYLINES_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace velmo::cli {

/// A line of a properties file that is not a comment.
struct NumberedLine {
  std::size_t number;  ///< from 1
  std::string name;    ///< empty: readers skip the line
  std::string value;
};

/// The lines of a properties file. Nothing if it cannot be read, has more than a mebibyte or a NUL,
/// or has a line so long that its readers see several.
std::optional<std::vector<NumberedLine>> propertyLines(const std::string& path);

/// How many lines a command changes at most.
constexpr std::size_t kMostLines = 200;

/// A command that puts a "#" in front of the first kMostLines of the lines with these numbers.
/// @return an empty text if there is no such command
std::string commentOut(const std::string& path, const std::vector<std::size_t>& numbers);

}  // namespace velmo::cli

#endif
