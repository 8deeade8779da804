#include "QueueCommand.h"

#include <cstdint>

#include "Failure.h"
#include "QueueList.h"
#include "QueuePlace.h"
#include "QueueWatch.h"

namespace velmo::cli {

namespace {

constexpr const char* kFooter =
    "AGE is the time since the task was created, TASK its number, REL its relative\n"
    "priority. NAME is shown where it fits, and always if the output is not a\n"
    "terminal.\n"
    "\n"
    "On a terminal, --watch shows the queue until Ctrl-C or q. Elsewhere, and with\n"
    "--json, it prints a line for each task that is \"present\" at the start, has\n"
    "\"arrived\", or is \"gone\".";

}  // namespace

QueueCommand::QueueCommand(CommandOptions& parent)
    : Command(parent, kName,
              "Lists the tasks in the queue, in the order in which the service takes them.",
              {"velmo queue [OPTION...]", "velmo queue show [--json] NAME",
               "velmo queue cancel [--json] NAME..."}),
      m_show(options()),
      m_cancel(options()) {
  options().setFooter(kFooter);
  declareOptions();
}

void QueueCommand::declareOptions() {
  options().addFlag("--json", m_options.isJson, "print one object a line");
  const DeclaredOption watch =
      options().addFlag("--watch", m_options.isWatch, "go on as the queue changes");
  options().addText("--job", m_options.job, "only the tasks of this job").valueName("J");
  options().addText("--sub-job", m_options.subJob, "only the tasks of this sub-job").valueName("S");
  options().addText("--type", m_options.type, "only tasks of this type").valueName("T");
  options()
      .addNumber("--older-than", m_options.olderThan, "only tasks that are S seconds old or older")
      .valueName("S")
      .excludes(watch);
  options()
      .addNumber("--limit", m_options.limit, "only the first N of them")
      .valueName("N")
      .excludes(watch);
  options().addFlag("--commands", m_options.hasCommands,
                    "also show each task's command; opens every file");
}

void QueueCommand::checkOptions() {
  if (m_options.limit && (*m_options.limit < 1 || *m_options.limit > INT32_MAX)) {
    throw Failure(Status::invalidArgument, "--limit must be 1 to 2147483647");
  }
  if (m_options.olderThan && (*m_options.olderThan < 0 || *m_options.olderThan > INT32_MAX)) {
    throw Failure(Status::invalidArgument, "--older-than must be 0 to 2147483647 seconds");
  }
  if (!m_show.isChosen() && !m_cancel.isChosen()) {
    return;
  }
  if (const std::optional<std::string> given = options().firstGiven()) {
    throw Failure(Status::invalidArgument, *given + " must follow the word \"show\" or \"cancel\"");
  }
}

Status QueueCommand::run(Session& session) {
  checkOptions();
  if (m_show.isChosen()) {
    return m_show.run(session);
  }
  if (m_cancel.isChosen()) {
    return m_cancel.run(session);
  }
  const Installation installation;
  const std::string directory = queueDirectoryOf(installation);
  if (m_options.isWatch) {
    QueueWatch(directory, m_options, session).run();
  } else {
    QueueList(directory, m_options, session).print();
  }
  return Status::ok;
}

}  // namespace velmo::cli
