#include "CancelCommand.h"

#include <unistd.h>

#include "Failure.h"
#include "InputLines.h"
#include "JsonLine.h"
#include "OneLine.h"
#include "QueuePlace.h"

namespace velmo::cli {

namespace {

constexpr std::size_t kLongestLine = std::size_t{1024} * 1024;
constexpr const char* kFooter =
    "NAME is the name of a task, or its number. - reads names from standard input,\n"
    "one a line, or the objects that velmo queue --json prints:\n"
    "  velmo queue --json --job J12 | velmo queue cancel -\n"
    "A name that is not UTF-8 does not fit into JSON: give the number of such a task.\n"
    "\n"
    "Prints the name of each task that it removed. A task that the service has read\n"
    "already still runs.";

}  // namespace

CancelCommand::CancelCommand(CommandOptions& parent)
    : Command(parent, "cancel", "Removes tasks from the queue.",
              {"velmo queue cancel [--json] [--] NAME...", "velmo queue cancel [--json] -"}) {
  options().setFooter(kFooter);
  options().addFlag("--json", m_isJson, "print an object for each NAME");
  options().addTexts("NAME", m_names).required();
}

std::optional<std::string> nameInLine(const std::string& line) {
  if (line.empty()) {
    return std::nullopt;
  }
  if (line.front() != '{') {
    return line;
  }
  const Json object = Json::parse(line, nullptr, false);
  const auto name = object.find("name");
  if (name == object.end() || !name->is_string()) {
    return std::nullopt;
  }
  return name->get<std::string>();
}

Status CancelCommand::run(Session& session) {
  const Installation installation;
  TaskFinder finder(queueDirectoryOf(installation));
  for (const std::string& name : m_names) {
    if (name == "-") {
      cancelListed(session, installation, finder);
    } else {
      cancelOne(session, installation, finder, name);
    }
  }
  return m_worst;
}

void CancelCommand::cancelListed(Session& session, const Installation& installation,
                                 TaskFinder& finder) {
  InputLines lines(STDIN_FILENO, session.interrupt.flag(), kLongestLine);
  while (const std::optional<InputLine> line = lines.next()) {
    const std::optional<std::string> name = nameInLine(std::string(line->text));
    if (name) {
      cancelOne(session, installation, finder, *name);
    } else if (!line->text.empty() || line->isTooLong) {
      report(session, std::string(line->text), Status::invalidArgument,
             "line " + std::to_string(line->number) + " has no name");
    }
  }
  if (!lines.isAtEnd()) {
    throw Failure(Status::stopped, "stopped by a signal");
  }
}

void CancelCommand::cancelOne(Session& session, const Installation& installation,
                              TaskFinder& finder, const std::string& given) {
  std::string name = given;
  try {
    name = finder.nameOf(given);
    const bool isRemoved = installation.cancel(name);
    report(session, name, isRemoved ? Status::ok : Status::notFound,
           isRemoved ? "" : "not in the queue: " + name);
  } catch (const Error& failure) {
    report(session, name, failure.status(), failure.what());
  } catch (const Failure& failure) {
    report(session, name, failure.status(), failure.what());
  }
}

void CancelCommand::report(Session& session, const std::string& name, Status status,
                           const std::string& text) {
  if (status == Status::notFound || m_worst == Status::ok) {
    m_worst = status;
  }
  if (m_isJson) {
    session.out.write(jsonLine({{"name", name},
                                {"status", wordOf(status)},
                                {"message", text.empty() ? Json() : Json(text)}}));
  } else if (status == Status::ok) {
    session.out.writeLine(session.out.isTerminal() ? tools::oneLine(name) : name);
  } else {
    session.err.writeLine("velmo: " + tools::oneLine(text));
  }
}

}  // namespace velmo::cli
