#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <system_error>

#include "Report.h"

namespace standin {

namespace {

constexpr int kUsageError = 2;

constexpr const char* kHelp =
    R"(Usage: velmo-standin [OPTION...] [-- COMMAND [ARG...]]

Stands in for the velmo daemon for the time of one COMMAND: makes a private
installation, runs COMMAND in its environment, runs the sh tasks submitted
meanwhile and reports each on standard error. Then it finishes the queue, removes
what it made and ends with the exit status of COMMAND.

  --home DIR    make the installation in DIR and leave it there
  --keep        leave the temporary directory that is used without --home
  --no-run      run no tasks: their files stay in the queue
  --port N      take tasks by message too, on port N of 127.0.0.1; 0: any free one
  -h, --help    print this text
  --version     print the version

Without COMMAND it prints the environment as lines for a shell, closes standard
output and serves until SIGINT, SIGTERM, SIGHUP or SIGQUIT. With COMMAND it
passes these on and waits for COMMAND. A second signal ends everything at once,
with what is left in the queue not run.

Environment of COMMAND and of the tasks:
  CONF, VELMO_HOME, VAR, TMP, DATA, LOCK_VAR         directories, see Files
  SHARED_VELMO_TASKID, SEMAPHORE_VELMO_TASKID        keys of the task counter
  VELMO_MODULES_XML                                  conf/modules.xml, with --port
  TMPDIR is read: place of the temporary directory, /tmp if unset.

Files in DIR (what exists is kept, so they can be edited for the next run):
  conf/priorities.cfg, conf/serverid.cfg             CONF
  conf/modules.xml   with --port: names the port; made anew, removed at the end
  home/priorities.cfg                                VELMO_HOME
  var/taskqueue/NAME, var/log/NAME.log               VAR: tasks, their output
  tmp/, data/velmo/jobid, lock/                      TMP, DATA, LOCK_VAR

Tasks are run one at a time in the order of their names, by /bin/sh in DIR.

Exit status:
  that of COMMAND, or 128+N if signal N ended it; without COMMAND 0
  2      wrong usage
  125    the installation could not be made or served
  126    COMMAND could not be executed
  127    COMMAND was not found
  128+N  a second signal, N, ended everything
)";

bool isSeparator(const std::string& argument) {
  return argument == "--";
}

std::uint16_t parsePort(const std::string& text) {
  std::uint16_t port = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, port);
  if (error != std::errc() || stop != end) {
    throw CLI::ValidationError("--port", "'" + text + "' is no number from 0 to 65535");
  }
  return port;
}

int usageError(const CLI::ParseError& error) {
  report(std::string(error.what()) + " (--help tells more)");
  return kUsageError;
}

std::variant<Options, int> parse(std::vector<std::string> arguments, Options options) {
  CLI::App app;
  app.name("velmo-standin");
  app.formatter_fn([](const CLI::App*, const std::string&, CLI::AppFormatMode) { return kHelp; });
  app.set_version_flag("--version", "velmo-standin " VELMO_STANDIN_VERSION);
  std::string home;
  const CLI::Option* homeOption = app.add_option("--home", home);
  app.add_flag("--keep", options.keep);
  std::string port;
  const CLI::Option* portOption = app.add_option("--port", port);
  bool noRun = false;
  app.add_flag("--no-run", noRun);
  try {
    std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
    app.parse(arguments);
    if (*homeOption && home.empty()) {
      throw CLI::ValidationError("--home", "the directory is empty");
    }
    if (*portOption) {
      options.port = parsePort(port);
    }
  } catch (const CLI::ParseError& outcome) {
    const bool isAnswer = outcome.get_exit_code() == 0;  // the help or the version
    return isAnswer ? app.exit(outcome) : usageError(outcome);
  }
  options.home = home;
  options.run = !noRun;
  return options;
}

}  // namespace

// What follows the separator belongs to COMMAND and is taken as it stands, further separators
// included.
std::variant<Options, int> parseOptions(int argc, const char* const* argv) {
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  const auto separator = std::find_if(arguments.begin(), arguments.end(), isSeparator);
  Options options;
  if (separator != arguments.end()) {
    options.command.assign(separator + 1, arguments.end());
    if (options.command.empty()) {
      return usageError(CLI::RequiredError("COMMAND behind --"));
    }
  }
  return parse({arguments.begin(), separator}, options);
}

}  // namespace standin
