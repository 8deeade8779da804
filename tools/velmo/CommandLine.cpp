#include "CommandLine.h"

#include <algorithm>

#include "Failure.h"
#include "PrioritiesCommand.h"

namespace velmo::cli {

namespace {

constexpr const char* kFooter = "velmo COMMAND --help describes a command, velmo(1) all of them.";

}  // namespace

CommandLine::CommandLine() {
  m_app.description("Submits tasks to the velmo task service, and shows what becomes of them.");
  m_app.footer(kFooter);
  m_app.formatter(std::make_shared<HelpFormatter>(
      std::vector<std::string>{"velmo COMMAND [OPTION...] [ARGUMENT...]"}));
  m_app.get_help_ptr()->description("print this text");
  m_app.set_version_flag("--version", "velmo " VELMO_TOOL_VERSION, "print the version");
  m_app.require_subcommand(1);
  m_commands.push_back(std::make_unique<PrioritiesCommand>(m_app));
}

Status CommandLine::run(std::vector<std::string> arguments, Session& session) {
  std::reverse(arguments.begin(), arguments.end());  // the order that the parser expects
  try {
    m_app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    session.out.write(m_app.help());
    return Status::ok;
  } catch (const CLI::CallForVersion& version) {
    session.out.writeLine(version.what());
    return Status::ok;
  } catch (const CLI::ParseError& mistake) {
    throw Failure(Status::invalidArgument, mistake.what() + std::string(" (--help tells more)"));
  }
  return runChosen(session);
}

Status CommandLine::runChosen(Session& session) {
  const auto chosen = std::find_if(m_commands.begin(), m_commands.end(),
                                   [](const auto& command) { return command->isChosen(); });
  return (*chosen)->run(session);
}

}  // namespace velmo::cli
