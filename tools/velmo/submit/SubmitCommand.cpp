#include "SubmitCommand.h"

#include <unistd.h>

#include <chrono>
#include <optional>

#include "BulkSubmission.h"
#include "DryRun.h"
#include "Failure.h"
#include "JsonLine.h"
#include "OneLine.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kLongestLine = 16UL * 1024 * 1024;

constexpr const char* kFooter =
    R"(The options end at the first word of COMMAND, or at --. Percent signs stay as
they are.
  One word is the command line itself:   velmo submit -p Normal 'ls | wc -l'
  Several are quoted for the shell:      velmo submit -p Normal ls '/my files'
For a type other than sh, they are joined by blanks.

With --stdin each line is a command, or a JSON object with any of the fields
priority_class, command, type, adjustment, job, sub_job, information and
relative_priority. The options are the defaults. The result of each line is
printed at once: its number, a status, and the task's name or the reason. With
--failed, lines that failed can be submitted again from FILE. Lines that may be
queued are in FILE.in-doubt: look in the queue before you submit them again.

The exit status is 0 if everything is queued, 11 if a task may be queued, and
another number if it is certainly not: see velmo(1).)";

Json fieldsOfName(const std::string& name) {
  const std::optional<TaskName> parts = parseName(name);
  return parts ? fieldsOf(name, *parts) : Json{{"name", name}};
}

}  // namespace

SubmitCommand::SubmitCommand(CommandOptions& parent)
    : Command(parent, kName, "Submits a task, by file or by message, and prints its name.",
              {"velmo submit -p CLASS [OPTION...] [--] COMMAND...",
               "velmo submit --stdin [-p CLASS] [OPTION...]"}),
      m_options(options()) {
  options().setFooter(kFooter);
}

void SubmitCommand::takeWords(std::vector<std::string>& arguments) {
  m_options.takeWords(arguments);
}

Status SubmitCommand::run(Session& session) {
  m_options.check();
  const Task task = m_options.task();
  if (m_options.isDryRun()) {
    return showOnly(task, session);
  }
  return m_options.isBulk() ? submitLines(task, session) : submitOne(task, session);
}

std::unique_ptr<TaskSender> SubmitCommand::makeSender(const Session& session) const {
  if (m_options.isByMessage()) {
    Endpoint endpoint = m_options.endpoint();
    endpoint.stop = &session.interrupt.flag();
    return std::make_unique<MessageSender>(endpoint, m_options.timeout());
  }
  Settings settings = Settings::fromEnvironment();
  settings.stop = &session.interrupt.flag();
  return std::make_unique<FileSender>(Installation(settings), m_options.timeout(),
                                      m_options.durability());
}

Status SubmitCommand::submitOne(const Task& task, Session& session) const {
  std::string name;
  const std::unique_ptr<TaskSender> sender = makeSender(session);
  try {
    name = sender->send(task);
  } catch (const InDoubt& doubt) {
    return reportFailure(doubt, doubt.taskName(), session);
  } catch (const Error& failure) {
    return reportFailure(failure, "", session);
  }
  printName(name, session);
  return Status::ok;
}

// The task is queued: the exit status must not deny it, and its name must be printed.
void SubmitCommand::printName(const std::string& name, Session& session) const {
  try {
    session.out.write(m_options.isJson() ? jsonLine(fieldsOfName(name))
                                         : tools::oneLine(name) + "\n");
  } catch (const OutputClosed&) {
    session.err.tell("velmo: the task is queued as \"" + tools::oneLine(name) + "\"\n");
    throw;
  } catch (const Failure& failure) {
    throw Failure(Status::inDoubt,
                  "the task is queued as \"" + tools::oneLine(name) + "\", but " + failure.what());
  }
}

Status SubmitCommand::reportFailure(const Error& failure, const std::string& name,
                                    Session& session) const {
  const bool isInDoubt = failure.status() == Status::inDoubt;
  session.err.tell(std::string("velmo: ") + (isInDoubt ? "" : "not queued: ") + failure.what() +
                   "\n");
  if (m_options.isJson()) {  // the exit status reports it, too
    session.out.tell(jsonLine({{"name", name.empty() ? Json() : Json(name)},
                               {"status", wordOf(failure.status())},
                               {"message", failure.what()}}));
  }
  return failure.status();
}

Status SubmitCommand::showOnly(const Task& task, Session& session) const {
  const DryRun dryRun =
      m_options.isByMessage() ? dryRunByMessage(task, m_options.endpoint()) : dryRunByFile(task);
  session.out.write(m_options.isJson() ? jsonLine(jsonOf(dryRun)) : textOf(dryRun));
  return dryRun.status();
}

Status SubmitCommand::submitLines(const Task& defaults, Session& session) const {
  const auto start = std::chrono::steady_clock::now();
  const std::unique_ptr<TaskSender> sender = makeSender(session);
  InputLines input(STDIN_FILENO, session.interrupt.flag(), kLongestLine);
  Progress progress(session.err, session.err.isTerminal() && !session.out.isTerminal(), start);
  std::optional<FailedLines> failedLines;
  if (!m_options.failedPath().empty()) {
    failedLines.emplace(m_options.failedPath(), STDIN_FILENO);
  }
  BulkSubmission bulk({input, *sender, session.out, session.err, progress,
                       failedLines ? &*failedLines : nullptr, session.interrupt.flag()},
                      defaults, m_options.isJson());
  const BulkResult result = bulk.run();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  session.err.tell(summaryOf(result, elapsed.count()));
  if (result.isOutputClosed) {
    throw OutputClosed();
  }
  return statusOf(result);
}

}  // namespace velmo::cli
