#ifndef VELMO_PARSERMISTAKE_H
#define VELMO_PARSERMISTAKE_H

#include <CLI/CLI.hpp>
#include <string>

namespace velmo::cli {

/// What is wrong with a command line that the parser refused, in the words of this tool. It is one
/// line without control characters.
/// @param app      all commands, as the parser left them
/// @param mistake  the exception of the parser
std::string textOf(const CLI::App& app, const CLI::ParseError& mistake);

}  // namespace velmo::cli

#endif
