#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <string_view>

#include "DoctorCommand.h"
#include "HelpFormatter.h"
#include "JobCommand.h"
#include "OneLine.h"
#include "OptionEnd.h"
#include "ParserMistake.h"
#include "PrioritiesCommand.h"
#include "QueueCommand.h"
#include "Refusal.h"
#include "ServiceCommand.h"
#include "ShellWord.h"
#include "SubmitCommand.h"

namespace velmo::cli {

namespace {

constexpr const char* kFooter = "velmo COMMAND --help describes a command, velmo(1) all of them.";

// A command, which is made when a command line can need it.
struct KnownCommand {
  std::string_view name;
  std::unique_ptr<Command> (*make)(CommandOptions& parent);
};

template <typename Type>
std::unique_ptr<Command> make(CommandOptions& parent) {
  return std::make_unique<Type>(parent);
}

// In the order of --help.
constexpr std::array kCommands{
    KnownCommand{SubmitCommand::kName, make<SubmitCommand>},
    KnownCommand{JobCommand::kName, make<JobCommand>},
    KnownCommand{QueueCommand::kName, make<QueueCommand>},
    KnownCommand{PrioritiesCommand::kName, make<PrioritiesCommand>},
    KnownCommand{ServiceCommand::kName, make<ServiceCommand>},
    KnownCommand{DoctorCommand::kName, make<DoctorCommand>},
};

bool isCommand(std::string_view word) {
  return std::any_of(kCommands.begin(), kCommands.end(),
                     [word](const KnownCommand& command) { return command.name == word; });
}

// The command of an application with that name, or null.
CLI::App* commandNamed(CLI::App& app, const std::string& name) {
  const auto commands =
      app.get_subcommands([&name](const CLI::App* each) { return each->get_name() == name; });
  return commands.empty() ? nullptr : commands.front();
}

// What is wrong with the first word, where a command belongs; empty: nothing.
std::string commandProblem(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    return "a command is missing";
  }
  const std::string& word = arguments.front();
  const bool isOption = !word.empty() && word.front() == '-';
  return isCommand(word) || isOption ? ""
                                     : "not a command: " + tools::shellWord(tools::oneLine(word));
}

bool isFlag(const CLI::App& app, const std::string& option) {
  const CLI::Option* known = app.get_option_no_throw(option);
  return known != nullptr && known->get_items_expected_max() == 0;
}

// "--dry-run=false" must not submit. The parser would take some values of flags, and drop others.
void refuseValuesOfFlags(CLI::App& app, const std::vector<std::string>& arguments) {
  const TakesValue takes = CommandOptions(app).takesValue();
  SplitArguments split = splitAtFirstWord(arguments, takes);
  const bool hasWord = !split.isMarked && !split.words.empty();
  CLI::App* const command = hasWord ? commandNamed(app, split.words.front()) : nullptr;
  if (command == nullptr) {
    split = splitAtMark(arguments, takes);
  }
  for (const GivenOption& option : split.given) {
    if (option.isAssigned && isFlag(app, option.name)) {
      refuse(option.name + " takes no value");
    }
  }
  if (command != nullptr) {
    refuseValuesOfFlags(*command, {split.words.begin() + 1, split.words.end()});
  }
}

}  // namespace

CommandLine::CommandLine() : m_app(std::make_unique<CLI::App>()) {
  m_app->description(
      "Submits tasks to the velmo task service, looks after its queue, and finds out why nothing "
      "happens.");
  m_app->footer(kFooter);
  m_app->formatter(std::make_shared<HelpFormatter>(
      std::vector<std::string>{"velmo COMMAND [OPTION...] [ARGUMENT...]"}));
  m_app->get_help_ptr()->description("print this text");
  m_app->set_version_flag("--version", "velmo " VELMO_TOOL_VERSION, "print the version");
}

CommandLine::~CommandLine() = default;

Status CommandLine::run(std::vector<std::string> arguments, Session& session) {
  if (const std::string problem = commandProblem(arguments); !problem.empty()) {
    refuse(problem);
  }
  declareCommands(arguments);
  takeWords(arguments);
  refuseValuesOfFlags(*m_app, arguments);
  std::reverse(arguments.begin(), arguments.end());  // the order that the parser expects
  try {
    m_app->parse(arguments);
  } catch (const CLI::CallForHelp&) {
    session.out.write(m_app->help());
    return Status::ok;
  } catch (const CLI::CallForVersion& version) {
    session.out.writeLine(version.what());
    return Status::ok;
  } catch (const CLI::ParseError& mistake) {
    refuse(textOf(*m_app, mistake));
  }
  return runChosen(session);
}

// A command at the start is the only one that the arguments can mean. Declaring the options of the
// others too would execute 0.4 million instructions more at each start.
void CommandLine::declareCommands(const std::vector<std::string>& arguments) {
  const bool isFirst = isCommand(arguments.front());
  CommandOptions options(*m_app);
  for (const KnownCommand& command : kCommands) {
    if (!isFirst || command.name == arguments.front()) {
      m_commands.push_back(command.make(options));
    }
  }
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
  if (chosen == m_commands.end()) {  // the arguments are options alone
    refuse("a command is missing");
  }
  return (*chosen)->run(session);
}

}  // namespace velmo::cli
