#ifndef VELMO_COMMAND_H
#define VELMO_COMMAND_H

#include <velmo/velmo.hpp>

#include <string>
#include <utility>
#include <vector>

#include "CommandOptions.h"
#include "Session.h"

namespace velmo::cli {

/// A command of the tool. Its constructor declares its options, which the parser fills in.
class Command {
 public:
  /// @param name         the word on the command line
  /// @param description  for --help
  /// @param usage        lines such as "velmo submit -p CLASS [OPTION...] [--] COMMAND..."
  Command(CommandOptions& parent, const std::string& name, const std::string& description,
          std::vector<std::string> usage)
      : m_commandOptions(parent.addCommand(name, description, std::move(usage))) {}

  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command() = default;

  /// The word on the command line.
  const std::string& name() const {
    return m_commandOptions.name();
  }

  /// Takes away the arguments that the parser must not see, such as the words of a command line.
  /// @param arguments  behind the name of the command
  virtual void takeWords(std::vector<std::string>& arguments) {
    static_cast<void>(arguments);
  }

  /// Whether the command line names it.
  bool isChosen() const {
    return m_commandOptions.isChosen();
  }

  /// Does the work.
  /// @return the exit status
  /// @throws Error, Failure, OutputClosed
  virtual Status run(Session& session) = 0;

 protected:
  CommandOptions& options() {
    return m_commandOptions;
  }

 private:
  CommandOptions m_commandOptions;
};

}  // namespace velmo::cli

#endif
