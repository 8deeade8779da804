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
  std::string text = {};  ///< as it is in the file, without its line feed
};

/// The lines of a properties file. Nothing if it cannot be read, has more than a mebibyte or a NUL,
/// or has a line so long that its readers see several.
std::optional<std::vector<NumberedLine>> propertyLines(const std::string& path);

/// A command that changes lines.
struct LineEdits {
  std::string command;   ///< empty if it is not possible
  std::size_t rest = 0;  ///< how many of the lines do not fit into the command
};

/// A command of sed that edits each of the lines, if it still has the same text, or at least the
/// same start. Lines that do not fit into a line of a terminal are left out.
/// @param edit  printable, such as "s/^/#/"
LineEdits editLines(const std::string& path, const std::vector<NumberedLine>& lines,
                    const std::string& edit);

}  // namespace velmo::cli

#endif
