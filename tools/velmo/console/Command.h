#ifndef VELMO_COMMAND_H
#define VELMO_COMMAND_H

#include <velmo/velmo.hpp>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "HelpFormatter.h"
#include "Session.h"

namespace velmo::cli {

/// A command of the tool. Its constructor declares its options, which the parser fills in.
class Command {
 public:
  /// @param name         the word on the command line
  /// @param description  for --help
  /// @param usage        lines such as "velmo submit -p CLASS [OPTION...] [--] COMMAND..."
  Command(CLI::App& parent, const std::string& name, const std::string& description,
          std::vector<std::string> usage)
      : m_app(*parent.add_subcommand(name, description)) {
    m_app.formatter(std::make_shared<HelpFormatter>(std::move(usage)));
    m_app.get_help_ptr()->description("print this text");
    m_app.footer("");  // not that of the parent
  }

  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command() = default;

  /// The word on the command line.
  const std::string& name() const {
    return m_app.get_name();
  }

  /// Takes away the arguments that the parser must not see, such as the words of a command line.
  /// @param arguments  behind the name of the command
  virtual void takeWords(std::vector<std::string>& arguments) {
    static_cast<void>(arguments);
  }

  /// Whether the command line names it.
  bool isChosen() const {
    return m_app.parsed();
  }

  /// Does the work.
  /// @return the exit status
  /// @throws Error, Failure, OutputClosed
  virtual Status run(Session& session) = 0;

 protected:
  CLI::App& app() {
    return m_app;
  }

 private:
  CLI::App& m_app;
};

}  // namespace velmo::cli

#endif
