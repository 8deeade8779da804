#include "Variables.h"

#include <algorithm>
#include <string_view>

#include "ShellWord.h"

namespace velmo::tools {

namespace {

bool setsVariableOf(const Variables& variables, std::string_view entry) {
  const std::string_view name = entry.substr(0, entry.find('='));
  return std::any_of(variables.begin(), variables.end(),
                     [name](const auto& variable) { return variable.first == name; });
}

}  // namespace

std::string exportLines(const Variables& variables) {
  std::string lines;
  for (const auto& [name, value] : variables) {
    lines += "export " + name + "=" + shellQuoted(value) + "\n";
  }
  return lines;
}

std::vector<std::string> environmentWith(const Variables& variables,
                                         const char* const* environment) {
  std::vector<std::string> result;
  for (; *environment != nullptr; ++environment) {
    if (!setsVariableOf(variables, *environment)) {
      result.emplace_back(*environment);
    }
  }
  for (const auto& [name, value] : variables) {
    result.push_back(std::string(name).append("=").append(value));
  }
  return result;
}

}  // namespace velmo::tools
