#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <system_error>
#include <utility>

#include "HelpText.h"
#include "Report.h"
#include "ShellWord.h"

namespace velmo::standin {

namespace {

constexpr int kSuccess = 0;
constexpr int kUsageError = 2;

bool isSeparator(const std::string& argument) {
  return argument == "--";
}

// The arguments before the separator; all arguments if there is no separator.
struct OwnArguments {
  std::vector<std::string> texts;
  bool areSeparated = false;
};

bool isOption(const std::string& argument) {
  return argument.size() > 1 && argument.front() == '-';
}

std::string joined(const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    line += " " + tools::shellWord(argument);
  }
  return line;
}

int usageError(const std::string& text) {
  report(text);
  return kUsageError;
}

int usageError(const CLI::ParseError& error) {
  return usageError(std::string(error.what()) + " (--help tells more)");
}

template <typename Number>
std::optional<Number> numberFrom(const std::string& text) {
  Number number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional<Number>(number) : std::nullopt;
}

// If the number is missing, the option takes the program as its value.
std::string portProblem(const std::string& text, bool areSeparated) {
  const std::string problem = text.empty() ? "a number from 0 to 65535 is missing"
                                           : "'" + text + "' is not a number from 0 to 65535";
  const bool mayBeProgram =
      !areSeparated && text.find_first_of("./abcdefghijklmnopqrstuvwxyz") == 0;
  return "--port: " + problem + "; --port 0 takes any free port" +
         (mayBeProgram ? ", and put -- before the program" : "");
}

// What is wrong with a fault together with the other options; empty: nothing.
std::string faultProblem(const Options& options) {
  const bool isInstallation = options.fault->place == FaultPlace::kInstallation;
  if (isInstallation && options.port) {
    return labelOf(*options.fault) + " is for programs that submit by file; leave out --port";
  }
  if (isInstallation && options.faultCount) {
    return labelOf(*options.fault) + " lasts to the end; leave out --faults";
  }
  if (!isInstallation && !options.port) {
    return labelOf(*options.fault) + " is for programs that submit by message; add --port 0";
  }
  return {};
}

// The arguments that are not options. The parser stops at the first word. Without a separator, that
// word and all that follows are the program and its arguments.
std::string leftoverProblem(const OwnArguments& arguments,
                            const std::vector<std::string>& leftover) {
  if (arguments.areSeparated) {
    return "not an option of velmo-standin:" + joined(leftover) +
           "; only options may come before -- (--help tells more)";
  }
  if (isOption(leftover.front())) {
    return "not an option of velmo-standin:" + joined(leftover) +
           "; put -- before the program and its options (--help tells more)";
  }
  const auto own = static_cast<std::ptrdiff_t>(arguments.texts.size() - leftover.size());
  const auto program = arguments.texts.begin() + own;
  return "put -- before the program: velmo-standin" + joined({arguments.texts.begin(), program}) +
         " --" + joined(leftover);
}

// The parser, and the values that it fills in.
class Parser {
 public:
  explicit Parser(Options options) : m_options(std::move(options)) {
    m_app.name("velmo-standin");
    m_app.prefix_command();
    m_app.formatter_fn(
        [](const CLI::App*, const std::string&, CLI::AppFormatMode) { return kHelp; });
    m_app.set_version_flag("--version", "velmo-standin " VELMO_STANDIN_VERSION);
    m_homeOption = m_app.add_option("--home", m_home);
    m_app.add_flag("--keep", m_options.keep);
    m_app.add_flag("--no-run", m_noRun);
    m_app.add_flag("--show-output", m_options.showOutput);
    m_app.add_flag("--fail-on-task", m_options.failOnTask);
    m_portOption = m_app.add_option("--port", m_port)->expected(0, 1);
    m_faultOption = m_app.add_option("--fault", m_fault)->expected(0, 1);
    m_faultsOption = m_app.add_option("--faults", m_faults)->expected(0, 1);
  }

  std::variant<Options, int> parse(const OwnArguments& arguments) {
    try {
      // The parser expects them in reverse order.
      m_app.parse(std::vector<std::string>(arguments.texts.rbegin(), arguments.texts.rend()));
      if (*m_homeOption && m_home.empty()) {
        throw CLI::ValidationError("--home", "the directory is empty");
      }
    } catch (const CLI::ParseError& outcome) {
      const bool isRequest = outcome.get_exit_code() == 0;  // for the help or the version
      return isRequest ? m_app.exit(outcome) : usageError(outcome);
    }
    return check(arguments);
  }

 private:
  std::variant<Options, int> check(const OwnArguments& arguments) {
    m_options.port = numberFrom<std::uint16_t>(m_port);
    if (*m_portOption && !m_options.port) {
      return usageError(portProblem(m_port, arguments.areSeparated));
    }
    if (*m_faultOption && m_fault == "help") {
      std::fputs(faultList().c_str(), stdout);
      return kSuccess;
    }
    if (const std::string problem = readFault(); !problem.empty()) {
      return usageError(problem);
    }
    if (const std::vector<std::string> leftover = m_app.remaining(); !leftover.empty()) {
      return usageError(leftoverProblem(arguments, leftover));
    }
    m_options.home = m_home;
    m_options.run = !m_noRun;
    return m_options;
  }

  // @return what is wrong; empty: nothing
  std::string readFault() {
    m_options.faultCount = numberFrom<std::uint32_t>(m_faults);
    if (*m_faultsOption && m_options.faultCount.value_or(0) == 0) {
      return "--faults: '" + m_faults + "' is not a number from 1 to 4294967295";
    }
    if (!*m_faultOption) {
      return *m_faultsOption ? "--faults needs --fault" : "";
    }
    const std::variant<Fault, std::string> parsed = parseFault(m_fault);
    if (const std::string* problem = std::get_if<std::string>(&parsed)) {
      return "--fault: " + *problem;
    }
    m_options.fault = std::get<Fault>(parsed);
    return faultProblem(m_options);
  }

  Options m_options;
  CLI::App m_app;
  std::string m_home;
  std::string m_port;
  std::string m_fault;
  std::string m_faults;
  bool m_noRun = false;
  const CLI::Option* m_homeOption = nullptr;
  const CLI::Option* m_portOption = nullptr;
  const CLI::Option* m_faultOption = nullptr;
  const CLI::Option* m_faultsOption = nullptr;
};

}  // namespace

// The arguments after the separator are COMMAND, unchanged, with any further separators.
std::variant<Options, int> parseOptions(int argc, const char* const* argv) {
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  const auto separator = std::find_if(arguments.begin(), arguments.end(), isSeparator);
  Options options;
  if (separator != arguments.end()) {
    options.command.assign(separator + 1, arguments.end());
    if (options.command.empty()) {
      return usageError(CLI::RequiredError("COMMAND after --"));
    }
  }
  return Parser(options).parse({{arguments.begin(), separator}, separator != arguments.end()});
}

}  // namespace velmo::standin
