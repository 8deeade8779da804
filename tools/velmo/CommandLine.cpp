#include "CommandLine.h"

#include <algorithm>

#include "DoctorCommand.h"
#include "Failure.h"
#include "JobCommand.h"
#include "OneLine.h"
#include "PrioritiesCommand.h"
#include "QueueCommand.h"
#include "ServiceCommand.h"
#include "ShellWord.h"
#include "SubmitCommand.h"

namespace velmo::cli {

namespace {

constexpr const char* kFooter = "velmo COMMAND --help describes a command, velmo(1) all of them.";
constexpr const char* kHint = " (--help tells more)";

// What is wrong with the first word, where a command belongs; empty: nothing.
std::string commandProblem(const CLI::App& app, const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    return "a command is missing";
  }
  const std::string& word = arguments.front();
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  const bool isKnown =
      std::any_of(commands.begin(), commands.end(),
                  [&word](const CLI::App* command) { return command->get_name() == word; });
  const bool isOption = !word.empty() && word.front() == '-';
  return isKnown || isOption ? "" : "not a command: " + tools::shellWord(tools::oneLine(word));
}

}  // namespace

CommandLine::CommandLine() {
  m_app.description("Submits tasks to the velmo task service, and shows what becomes of them.");
  m_app.footer(kFooter);
  m_app.formatter(std::make_shared<HelpFormatter>(
      std::vector<std::string>{"velmo COMMAND [OPTION...] [ARGUMENT...]"}));
  m_app.get_help_ptr()->description("print this text");
  m_app.set_version_flag("--version", "velmo " VELMO_TOOL_VERSION, "print the version");
  m_app.require_subcommand(0, 1);  // commandProblem() reports a missing one
  m_commands.push_back(std::make_unique<SubmitCommand>(m_app));
  m_commands.push_back(std::make_unique<JobCommand>(m_app));
  m_commands.push_back(std::make_unique<QueueCommand>(m_app));
  m_commands.push_back(std::make_unique<PrioritiesCommand>(m_app));
  m_commands.push_back(std::make_unique<ServiceCommand>(m_app));
  m_commands.push_back(std::make_unique<DoctorCommand>(m_app));
}

Status CommandLine::run(std::vector<std::string> arguments, Session& session) {
  if (const std::string problem = commandProblem(m_app, arguments); !problem.empty()) {
    throw Failure(Status::invalidArgument, problem + kHint);
  }
  takeWords(arguments);
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
    throw Failure(Status::invalidArgument, tools::oneLine(mistake.what()) + kHint);
  }
  return runChosen(session);
}

void CommandLine::takeWords(std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    return;
  }
  const std::string name = arguments.front();
  for (const auto& command : m_commands) {
    if (command->name() == name) {
      arguments.erase(arguments.begin());
      command->takeWords(arguments);
      arguments.insert(arguments.begin(), name);
    }
  }
}

Status CommandLine::runChosen(Session& session) {
  const auto chosen = std::find_if(m_commands.begin(), m_commands.end(),
                                   [](const auto& command) { return command->isChosen(); });
  return (*chosen)->run(session);
}

}  // namespace velmo::cli
