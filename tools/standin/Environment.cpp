#include "Environment.h"

#include <algorithm>
#include <string_view>

namespace standin {

namespace {

constexpr std::string_view kPlainCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:=@_";

// Between single quotes a shell takes every character as it is, except the single quote.
std::string quoted(std::string_view value) {
  std::string text = "'";
  for (const char character : value) {
    if (character == '\'') {
      text += "'\\''";
    } else {
      text += character;
    }
  }
  return text + "'";
}

bool holds(const Variables& variables, std::string_view entry) {
  const std::string_view name = entry.substr(0, entry.find('='));
  return std::any_of(variables.begin(), variables.end(),
                     [name](const auto& variable) { return variable.first == name; });
}

}  // namespace

std::string shellWord(std::string_view text) {
  const bool isPlain =
      !text.empty() && text.find_first_not_of(kPlainCharacters) == std::string_view::npos;
  return isPlain ? std::string(text) : quoted(text);
}

std::string exportLines(const Variables& variables) {
  std::string lines;
  for (const auto& [name, value] : variables) {
    lines += "export " + name + "=" + quoted(value) + "\n";
  }
  return lines;
}

std::vector<std::string> environmentWith(const Variables& variables,
                                         const char* const* environment) {
  std::vector<std::string> result;
  for (; *environment != nullptr; ++environment) {
    if (!holds(variables, *environment)) {
      result.emplace_back(*environment);
    }
  }
  for (const auto& [name, value] : variables) {
    result.push_back(std::string(name).append("=").append(value));
  }
  return result;
}

}  // namespace standin
