#include "OptionEnd.h"

#include <cstddef>

namespace velmo::cli {

namespace {

constexpr const char* kMark = "--";

bool isOption(const std::string& argument) {
  return argument.size() > 1 && argument[0] == '-';
}

bool isLong(const std::string& option) {
  return option[1] == '-';
}

// Records the options in an argument.
// @return whether the value of the last one is the next argument
bool record(const std::string& argument, const TakesValue& takesValue,
            std::vector<GivenOption>& given) {
  if (isLong(argument)) {
    const std::string name = argument.substr(0, argument.find('='));
    const bool isAssigned = name.size() < argument.size();
    given.push_back({name, isAssigned});
    return !isAssigned && takesValue(name);
  }
  for (std::size_t i = 1; i < argument.size(); ++i) {
    const std::string name = std::string("-") + argument[i];
    given.push_back({name});
    if (takesValue(name)) {
      return i + 1 == argument.size();  // otherwise the rest is the value
    }
  }
  return false;
}

// "--job=" as "--job" and an empty value: the parser would take the next argument as the value.
void addOption(const std::string& argument, const TakesValue& takesValue,
               std::vector<std::string>& options) {
  const std::string name = argument.substr(0, argument.size() - 1);
  if (isLong(argument) && argument.find('=') == name.size() && takesValue(name)) {
    options.push_back(name);
    options.emplace_back();
  } else {
    options.push_back(argument);
  }
}

SplitArguments split(const std::vector<std::string>& arguments, const TakesValue& takesValue,
                     bool isAtWord) {
  SplitArguments result;
  std::size_t i = 0;
  for (; i < arguments.size() && arguments[i] != kMark; ++i) {
    const std::string& argument = arguments[i];
    if (!isOption(argument)) {
      if (isAtWord) {
        break;
      }
      result.options.push_back(argument);
      continue;
    }
    addOption(argument, takesValue, result.options);
    if (record(argument, takesValue, result.given) && i + 1 < arguments.size()) {
      result.options.push_back(arguments[++i]);
    }
  }
  result.isMarked = i < arguments.size() && arguments[i] == kMark;
  i += result.isMarked ? 1 : 0;
  for (; i < arguments.size(); ++i) {
    result.words.push_back(arguments[i]);
  }
  return result;
}

}  // namespace

SplitArguments splitAtFirstWord(const std::vector<std::string>& arguments,
                                const TakesValue& takesValue) {
  return split(arguments, takesValue, true);
}

SplitArguments splitAtMark(const std::vector<std::string>& arguments,
                           const TakesValue& takesValue) {
  return split(arguments, takesValue, false);
}

}  // namespace velmo::cli
