#ifndef VELMO_NUMBEROPTION_H
#define VELMO_NUMBEROPTION_H

#include <CLI/CLI.hpp>
#include <string>

#include "ParseNumber.h"

namespace velmo::cli {

/// Adds an option whose value is a number, by the rules of parseNumber(): those of the parser
/// differ between its versions, which skip white space or take "1_000".
/// @param target  set to the number if the option is given; lives as long as `app`
/// @throws CLI::ConversionError  later, from the parser: the value is not a number, or does not fit
template <typename Number, typename Target>
CLI::Option* addNumberOption(CLI::App& app, const std::string& name, Target& target,
                             const std::string& description) {
  const auto take = [name, &target](const std::string& text) {
    Number number{};
    if (!parseNumber(text, number)) {
      throw CLI::ConversionError(text, name);
    }
    target = number;
  };
  return app.add_option_function<std::string>(name, take, description);
}

}  // namespace velmo::cli

#endif
