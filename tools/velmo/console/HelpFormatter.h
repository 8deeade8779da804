#ifndef VELMO_HELPFORMATTER_H
#define VELMO_HELPFORMATTER_H

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace velmo::cli {

/// What --help prints of a command: its usage, description, options and commands in 80 columns, and
/// its footer unchanged.
class HelpFormatter : public CLI::FormatterBase {
 public:
  /// @param usage  lines such as "velmo submit -p CLASS [OPTION...] [--] COMMAND..."
  explicit HelpFormatter(std::vector<std::string> usage) : m_usage(std::move(usage)) {}

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;

 private:
  std::vector<std::string> m_usage;
};

}  // namespace velmo::cli

#endif
