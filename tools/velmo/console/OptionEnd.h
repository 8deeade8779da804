#ifndef VELMO_OPTIONEND_H
#define VELMO_OPTIONEND_H

#include <functional>
#include <string>
#include <vector>

namespace velmo::cli {

/// An option among the arguments.
struct GivenOption {
  std::string name;         ///< such as "-p" or "--class"
  bool isAssigned = false;  ///< whether its argument is "--name=value"
};

/// Arguments, split where the options end.
struct SplitArguments {
  std::vector<std::string> options;  ///< with their values
  std::vector<GivenOption> given;    ///< the options without their values
  std::vector<std::string> words;    ///< what follows
  bool isMarked = false;             ///< whether "--" ended the options
};

/// Whether an option such as "-p" or "--class" takes a value.
using TakesValue = std::function<bool(const std::string& option)>;

/// Splits arguments before the first word that is neither an option nor the value of one, or at
/// "--", which is dropped. The parser for options cannot do that: it would look for options behind
/// the first word too, and take the next word as the value in "--job=".
/// @param arguments  without the names of program and command
SplitArguments splitAtFirstWord(const std::vector<std::string>& arguments,
                                const TakesValue& takesValue);

/// Splits arguments at the first "--" alone. Without one, everything is an option.
SplitArguments splitAtMark(const std::vector<std::string>& arguments, const TakesValue& takesValue);

}  // namespace velmo::cli

#endif
