#ifndef VELMO_COMMANDLINE_H
#define VELMO_COMMANDLINE_H

#include <memory>
#include <string>
#include <vector>

#include "Command.h"

namespace CLI {
class App;
}

namespace velmo::cli {

/// The command line of velmo: its commands and their options.
class CommandLine {
 public:
  /// Declares no command yet: run() declares those that the arguments can need.
  CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  /// Reads the arguments and runs the command that they name. Help and version are printed, and a
  /// mistake is reported, here.
  /// Called once.
  /// @param arguments  without the name of the program
  /// @return the exit status
  /// @throws Error, Failure, OutputClosed
  Status run(std::vector<std::string> arguments, Session& session);

 private:
  void declareCommands(const std::vector<std::string>& arguments);
  void takeWords(std::vector<std::string>& arguments);
  Status runChosen(Session& session);

  std::unique_ptr<CLI::App> m_app;
  std::vector<std::unique_ptr<Command>> m_commands;
};

}  // namespace velmo::cli

#endif
