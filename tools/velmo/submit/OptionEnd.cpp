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

// Whether the value of the option is the next argument.
bool wantsNext(const std::string& option, const TakesValue& takesValue) {
  if (isLong(option)) {
    return option.find('=') == std::string::npos && takesValue(option);
  }
  for (std::size_t i = 1; i < option.size(); ++i) {
    if (takesValue(std::string("-") + option[i])) {
      return i + 1 == option.size();  // otherwise the rest is the value
    }
  }
  return false;
}

// "--job=" as "--job" and an empty value: the parser would take the next argument as the value.
void add(const std::string& option, std::vector<std::string>& options) {
  if (isOption(option) && isLong(option) && option.find('=') == option.size() - 1) {
    options.push_back(option.substr(0, option.size() - 1));
    options.emplace_back();
  } else {
    options.push_back(option);
  }
}

SplitArguments split(const std::vector<std::string>& arguments, const TakesValue& takesValue,
                     bool isAtWord) {
  SplitArguments result;
  std::size_t i = 0;
  for (; i < arguments.size() && arguments[i] != kMark; ++i) {
    const std::string& argument = arguments[i];
    if (!isOption(argument) && isAtWord) {
      break;
    }
    add(argument, result.options);
    if (isOption(argument) && wantsNext(argument, takesValue) && i + 1 < arguments.size()) {
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
