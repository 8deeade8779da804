#ifndef VELMO_COMMANDOPTIONS_H
#define VELMO_COMMANDOPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "OptionEnd.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace velmo::cli {

/// An option, a flag or an operand that a command has declared. A copy refers to the same one.
class DeclaredOption {
 public:
  explicit DeclaredOption(CLI::Option& option) : m_option(&option) {}

  /// Sets what --help calls the value, such as "FILE".
  DeclaredOption valueName(const std::string& name) const;

  /// The command line must have it.
  DeclaredOption required() const;

  /// The command line must have the other one too.
  DeclaredOption needs(const DeclaredOption& other) const;

  /// The command line must not have both.
  DeclaredOption excludes(const DeclaredOption& other) const;

  /// The number of values behind it.
  DeclaredOption takes(int least, int most) const;

 private:
  CLI::Option* m_option;
};

/// The options of a command. It keeps the parser out of the headers of the commands, because the
/// parser's header takes seconds to compile.
///
/// A name is as on the command line: "--json", "-p,--class", or "KEY" for an operand. The parser
/// sets the target if the command line has the option; the target lives as long as the parser.
class CommandOptions {
 public:
  /// @param app  the parser of the command, which outlives this
  explicit CommandOptions(CLI::App& app) : m_app(&app) {}

  /// Adds a command within this one.
  /// @param usage  lines such as "velmo submit -p CLASS [OPTION...] [--] COMMAND..."
  CommandOptions addCommand(const std::string& name, const std::string& description,
                            std::vector<std::string> usage);

  DeclaredOption addFlag(const std::string& name, bool& target, const std::string& description);
  DeclaredOption addText(const std::string& name, std::string& target,
                         const std::string& description = "");
  DeclaredOption addText(const std::string& name, std::optional<std::string>& target,
                         const std::string& description);
  DeclaredOption addTexts(const std::string& name, std::vector<std::string>& target,
                          const std::string& description = "");

  /// Numbers are read by the rules of parseNumber(): those of the parser differ between its
  /// versions, which skip white space or take "1_000".
  DeclaredOption addNumber(const std::string& name, int& target, const std::string& description);
  DeclaredOption addNumber(const std::string& name, double& target, const std::string& description);
  DeclaredOption addNumber(const std::string& name, std::optional<std::int64_t>& target,
                           const std::string& description);

  /// What --help prints at the end, unchanged.
  void setFooter(const std::string& text);

  /// The word on the command line.
  const std::string& name() const;

  /// Whether the command line names the command.
  bool isChosen() const;

  /// The name of an option of this command that the command line has.
  std::optional<std::string> firstGiven() const;

  /// The answer for the options of this command, whose parser must outlive it. An unknown option
  /// takes none.
  TakesValue takesValue() const;

 private:
  CLI::App* m_app;
};

}  // namespace velmo::cli

#endif
